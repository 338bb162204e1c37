#pragma once

#include "api/http/httpclientheaders.h"
#include "api/http/httpclientresult.h"

#include <QByteArray>
#include <curl/curl.h>

/// One HTTP request and its answer on a libcurl handle, redirects not followed. Internal to the HTTP client,
/// on its thread; used again for later requests, since setting up a handle costs more than a request.
class Exchange
{
public:
    struct Request
    {
        QByteArray url;
        bool isPost = false;
        QByteArray body;
        HttpClientHeaders headers;
        qint64 timeoutMs = 0;  ///< 0: no bound
        int readSizeLimit = 0; ///< 0 or less: no bound
    };

    /// As in HttpClientResult; `redirect` is the absolute URL named by a redirecting response, otherwise
    /// empty.
    struct Answer
    {
        HttpClientResult::Status status = HttpClientResult::Complete;
        int code = 0;
        QByteArray body;
        HttpClientHeaders headers;
        QByteArray redirect;
        QString errorText;
    };

    Exchange(long httpVersion, bool keepConnections);
    ~Exchange();
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    CURL* handle() const { return m_handle; }
    /// Makes the handle ready to be started.
    void prepare(const Request& request);
    /// Takes the answer out, once the handle has ended with this code.
    Answer take(CURLcode code);

private:
    static size_t onBody(char* data, size_t size, size_t count, void* self);
    HttpClientHeaders receivedHeaders() const;
    QString describe(CURLcode code) const;

    CURL* m_handle;
    curl_slist* m_headerLines = nullptr;
    Request m_request;
    QByteArray m_body;
    bool m_tooLarge = false;
    char m_error[CURL_ERROR_SIZE] = {};
};
