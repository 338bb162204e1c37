#pragma once

#include "api/types/pelkhashdata.h"

#include <QSharedData>

#include <simdjson.h>
#include <string_view>

/// A parsed text. It is shared by the records that read from it and does not change as long as there are any.
struct JsonDocument : QSharedData
{
    simdjson::dom::document document;
};
using JsonDocumentPointer = QExplicitlySharedDataPointer<const JsonDocument>;

/// An object of a parsed text. Reading a key searches the object's keys and creates a variant of that value
/// only, so unread values cost nothing.
class JsonObject final : public PelkHashData
{
public:
    JsonObject(const JsonDocumentPointer& document, const simdjson::dom::object& object)
        : m_document(document)
        , m_object(object)
    {
    }

    bool isEmpty() const override { return m_object.begin() == m_object.end(); }
    bool read(const QString& key, QVariant* value) const override;
    QString text(const QString& key) const override;
    PelkHash record(const QString& key) const override;
    QList<PelkHash> records(const QString& key) const override;
    QHash<QString, QVariant> hash() const override;

    /// Any value of a parsed text as a whole, but an object itself as a PelkHash.
    static QVariant value(const JsonDocumentPointer& document, const simdjson::dom::element& element);

private:
    bool find(const QString& key, simdjson::dom::element* value) const;
    bool find(std::string_view utf8Key, simdjson::dom::element* value) const;

    JsonDocumentPointer m_document;
    simdjson::dom::object m_object;
};
