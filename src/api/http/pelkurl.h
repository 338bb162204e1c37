#pragma once

#include "api/http/export.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

#include <iosfwd>

/// A URL or relative reference (RFC 3986) in parts: a plain value, re-entrant.
///
/// Scheme and query items are stored decoded, the scheme in lower case. User info, host, path and fragment
/// are stored exactly as written, with their percent sequences: a host in another letter case is a different
/// host, and slashes and dot segments of a path are not merged. Setters accept any text; invalid characters
/// are encoded when the URL is written.
///
/// Reading percent-decodes query keys and values as UTF-8. A plus sign stays a plus sign: services encode a
/// space as %20. Writing encodes everything except unreserved characters in them, and always writes
/// "key=value".
class PELK_HTTP_EXPORT PelkUrl
{
public:
    using QueryItems = QList<QPair<QString, QString>>;

    /// An empty URL.
    PelkUrl() = default;
    /// Like fromEncoded() with the text's UTF-8.
    explicit PelkUrl(const QString& url);
    /// Parses a URL. The result is empty for control characters, a port that is not a number below 65536,
    /// invalid characters in the host, or brackets around anything except an IPv6 address (RFC 3986, without
    /// a zone). Other unusual text is a relative path without a host.
    static PelkUrl fromEncoded(const QByteArray& url);

    /// True if every part is empty, as after an empty or invalid text.
    bool isEmpty() const;

    QString scheme() const { return m_scheme; }
    void setScheme(const QString& scheme) { m_scheme = scheme.toLower(); }
    QString userInfo() const { return m_userInfo; }
    void setUserInfo(const QString& userInfo) { m_userInfo = userInfo; }
    /// An IPv6 address is returned without its brackets.
    QString host() const { return m_host; }
    void setHost(const QString& host) { m_host = host; }
    /// -1 if there is none.
    int port() const { return m_port; }
    void setPort(int port) { m_port = port; }
    QString path() const { return m_path; }
    void setPath(const QString& path) { m_path = path; }
    /// The query in order, duplicates kept.
    QueryItems queryItems() const { return m_queryItems; }
    void setQueryItems(const QueryItems& items) { m_queryItems = items; }
    void addQueryItem(const QString& key, const QString& value) { m_queryItems.append({key, value}); }
    QString fragment() const { return m_fragment; }
    void setFragment(const QString& fragment) { m_fragment = fragment; }

    /// The URL as ASCII text. Reading it again gives a URL with the same text, and an equal one if nothing
    /// had to be encoded.
    QByteArray toEncoded() const;
    QString toString() const;

    bool operator==(const PelkUrl& other) const;
    bool operator!=(const PelkUrl& other) const { return !(*this == other); }

private:
    bool parseAuthority(const QByteArray& authority);

    QString m_scheme;
    QString m_userInfo;
    QString m_host;
    int m_port = -1;
    QString m_path;
    QueryItems m_queryItems;
    QString m_fragment;
};

/// Writes toString(), for log lines.
PELK_HTTP_EXPORT std::ostream& operator<<(std::ostream& stream, const PelkUrl& url);
