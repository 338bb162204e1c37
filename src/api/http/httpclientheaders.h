#pragma once

#include "api/http/export.h"

#include <QList>
#include <QPair>
#include <QString>

/// HTTP header fields in the order of insertion; names are compared case-insensitively (RFC 9110, section
/// 5.1). A plain value, re-entrant. Texts are UTF-8 on the wire.
class PELK_HTTP_EXPORT HttpClientHeaders
{
public:
    using Items = QList<QPair<QString, QString>>;

    /// Sets a header, replacing one with the same name. Carriage returns, line feeds and null characters are
    /// removed from the value, so that no value can add a header; a name that is not a token (RFC 9110,
    /// section 5.6.2) is ignored.
    void insert(const QString& name, const QString& value);

    bool contains(const QString& name) const;
    QString value(const QString& name, const QString& defaultValue = QString()) const;
    bool isEmpty() const { return m_items.isEmpty(); }
    /// Names as inserted, with their values.
    const Items& items() const { return m_items; }

private:
    int indexOf(const QString& name) const;

    Items m_items;
};
