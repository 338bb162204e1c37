#pragma once

#include "browsefixture.h"

/// As BrowseFixture, for tests of what a row consists of.
class RowFixture : public BrowseFixture
{
public:
    /// Every role that there is, and one that there is not.
    static QStringList allRoles()
    {
        return {PelkRoles::Title(),         PelkRoles::Path(),       PelkRoles::Type(),
                PelkRoles::ContainerType(), PelkRoles::AudioType(),  PelkRoles::ContainerPlayable(),
                PelkRoles::Icon(),          PelkRoles::MediaData(),  PelkRoles::SearchPath(),
                PelkRoles::Query(),         PelkRoles::QueryPath(),  PelkRoles::Value(),
                PelkRoles::PrePlay(),       QStringLiteral("artist")};
    }

    /// The rows at a path when the service answers so, each with the values it has; a role without a value is
    /// left out. One entry with the error's text if the answer is an error.
    QList<QVariantHash> rowsOf(const QByteArray& body, const QString& path)
    {
        serve(body);
        const ModuleHost::Rows answer = host.rows(path, 0, 49, allRoles());
        if (!answer.finished || answer.error.isSet())
            return {QVariantHash{{QStringLiteral("error"), answer.error.toString()}}};
        QList<QVariantHash> found;
        for (const QVariant& row : answer.rows) {
            QVariantHash hash;
            const QVariantList values = row.toList();
            for (int i = 0; i < values.size(); ++i)
                if (values.at(i).isValid())
                    hash.insert(allRoles().at(i), values.at(i));
            found << hash;
        }
        return found;
    }

    /// The row of the only item of a list named `list`, at a path whose answer has that list.
    QVariantHash rowOf(const QByteArray& item, const char* list, const QString& path)
    {
        const QByteArray key(list);
        return rowsOf("{\"" + key + "\":" + BrowseFixture::list(1, {item}) + "}", path).value(0);
    }

    /// Meta data as it stands in the media data of a row.
    static QVariantHash mediaData(const QVariantHash& metaData)
    {
        return {{QStringLiteral("metaData"), metaData}};
    }

    /// `hash` with the entries of `changes` put in or, where those are invalid, taken out.
    static QVariantHash with(QVariantHash hash, const QVariantHash& changes)
    {
        for (auto it = changes.begin(); it != changes.end(); ++it) {
            if (it.value().isValid())
                hash.insert(it.key(), it.value());
            else
                hash.remove(it.key());
        }
        return hash;
    }
};
