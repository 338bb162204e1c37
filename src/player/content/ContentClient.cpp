#include "player/content/ContentClient.h"

#include "api/core/model/cmabstractworker.h"
#include "player/content/WhenFinished.h"

namespace {

const QString errorCode = QStringLiteral("ErrorCode");

TrString contentText(const char* source, const QList<TrArg>& arguments)
{
    return {TrCharData{"ContentClient", source}, arguments};
}

} // namespace

void RowPage::take(const PelkRowsRoles& reply, RowPaging* paging)
{
    const QVector<PelkRoles> more = ContentClient::rowsOf(reply);
    rows += more.mid(0, paging->take(more.size(), reply.rowsCount()));
    total = paging->total();
    version = reply.rowsVersion();
}

QStringList ContentClient::allRoles()
{
    return {PelkRoles::Title(),
            PelkRoles::Path(),
            PelkRoles::Type(),
            PelkRoles::ContainerType(),
            PelkRoles::ContainerPlayable(),
            PelkRoles::AudioType(),
            PelkRoles::Icon(),
            PelkRoles::MediaData(),
            PelkRoles::SearchPath(),
            PelkRoles::Query(),
            PelkRoles::QueryPath()};
}

QVector<PelkRoles> ContentClient::rowsOf(const PelkRowsRoles& reply)
{
    const QStringList roles = allRoles();
    QVector<PelkRoles> rows;
    const QVariantList list = reply.rows().toList();
    rows.reserve(list.size());
    for (const QVariant& item : list) {
        const QVariantList values = item.toList();
        PelkRoles row;
        for (int i = 0; i < values.size() && i < roles.size(); ++i)
            if (values.at(i).isValid())
                row.insert(roles.at(i), values.at(i));
        rows.append(row);
    }
    return rows;
}

TrString ContentClient::noAnswer(const CMPath& path, int limitMs)
{
    return contentText(QT_TRANSLATE_NOOP("ContentClient", "\"%1\" did not respond within %2 seconds."),
                       {path.toString(), QString::number(limitMs / 1000)});
}

bool ContentClient::isNetworkFault(const CMError& error)
{
    // Modules that use HTTP store the status code here; 0 means no response or an incomplete one.
    const QVariant code = error.data().value(errorCode);
    return code.isValid() && code.toInt() == 0;
}

TrString ContentClient::userMessage(const CMError& error)
{
    if (isNetworkFault(error))
        return contentText(
            QT_TRANSLATE_NOOP("ContentClient",
                              "No complete response from the service. Check your network connection."),
            {});
    return error.message().toString().trimmed().isEmpty() ? TrString(error.name()) : error.message();
}
