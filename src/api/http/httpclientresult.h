#pragma once

#include "api/http/httpclientheaders.h"
#include "api/http/pelkurl.h"

#include <QByteArray>
#include <QString>

#include <utility>

/// The outcome of a request. A plain value, re-entrant.
///
/// If a complete HTTP response was received, with any status code, status() is Complete. Otherwise status()
/// says what failed, code() is 0, body and headers are empty, and errorText() is a sentence for logs.
class HttpClientResult
{
public:
    enum Status : int
    {
        Complete = 0,
        TimedOut = 1,
        TooLarge = 2,    ///< the body passed the read-size limit
        Unreachable = 3, ///< the name did not resolve, or the connection was refused
        TlsFailed = 4,   ///< no secure connection, or a certificate that does not verify
        Interrupted = 5, ///< the connection broke, or the response was incomplete or not HTTP
        RedirectRefused = 6,
        InvalidUrl = 7, ///< not an absolute http or https URL
    };

    HttpClientResult() = default;
    HttpClientResult(PelkUrl url, Status status, int code, QByteArray body, HttpClientHeaders headers,
                     QString errorText = QString())
        : m_url(std::move(url))
        , m_status(status)
        , m_code(code)
        , m_body(std::move(body))
        , m_headers(std::move(headers))
        , m_errorText(std::move(errorText))
    {
    }

    /// The requested URL, before redirects.
    const PelkUrl& url() const { return m_url; }
    Status status() const { return m_status; }
    /// The HTTP status code, 0 without an answer.
    int code() const { return m_code; }
    /// The body, decompressed.
    const QByteArray& body() const { return m_body; }
    /// The header fields of the response; values of repeated names are joined with ", ". After redirects to
    /// another URL, "X-PelkEfectiveUrl" (this spelling) contains that URL and replaces such a header from the
    /// server.
    const HttpClientHeaders& headers() const { return m_headers; }
    const QString& errorText() const { return m_errorText; }

private:
    PelkUrl m_url;
    Status m_status = Complete;
    int m_code = 0;
    QByteArray m_body;
    HttpClientHeaders m_headers;
    QString m_errorText;
};
