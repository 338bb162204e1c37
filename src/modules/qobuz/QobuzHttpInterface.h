#pragma once

#include "api/http/httpclient.h"

#include <QObject>

#include <functional>

/// All network access of the module: makes relative URLs absolute, sends requests with fixed limits, and
/// switches to another host of the service when a response names it.
///
/// Used on the thread that it lives on; callbacks run there.
class QobuzHttpInterface : public QObject
{
    Q_OBJECT

public:
    /// Status value and code as HttpClientResult has them, the body and the headers of the answer.
    using Callback = std::function<void(int, int, const QByteArray&, const HttpClientHeaders&)>;

    struct HttpRequest
    {
        PelkUrl url; // relative to the base URL
        int method;  // 0: GET, anything else: POST
        HttpClientOptions options;
        QString body; // sent as Latin-1
        Callback callback;
    };

    /// Takes the base URL from the settings, which have to have one.
    QobuzHttpInterface();

    /// GET with a time-out of 30 s and at most 512 KiB of body, whatever the options say about these two.
    void get(const PelkUrl& url, const HttpClientOptions& options, const Callback& callback);
    /// POST with a time-out of 30 s and at most 1 MiB of body.
    void post(const PelkUrl& url, const QString& body, const Callback& callback);
    void send(const HttpRequest& request);

    /// The base URL with the path of `url` directly behind its own, no slash added or folded, and with query
    /// and fragment of `url`.
    PelkUrl composeUrl(const PelkUrl& url);
    PelkUrl getBaseUrl() const { return m_connectBaseUrl; }

    /// Calls a request's callback early with this code. The transfer continues, and its response calls the
    /// callback again.
    void cancelRequest(const HttpRequest& request, int code);
    void clearCache();

private:
    void httpCallback(HttpRequest request, const HttpClientResult& result);

    PelkUrl m_connectBaseUrl;
    HttpClient* m_client; // a child of this object
};
