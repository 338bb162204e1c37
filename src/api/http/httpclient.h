#pragma once

#include "api/http/export.h"
#include "api/http/httpclientoptions.h"
#include "api/http/httpclientresult.h"
#include "api/http/pelkurl.h"

#include <QObject>

#include <functional>
#include <memory>

class HttpClientPrivate;

/// Asynchronous HTTP on the event loop of the thread that creates it.
///
/// Call all operations except waitForIdle on that thread; none of them blocks. Each request calls its
/// callback exactly once, on that thread, from the event loop and never from inside get() or post(). A
/// callback may start further requests, and may delete the client. Deleting the client abandons its requests
/// without callbacks.
///
/// TLS certificates are verified against the system's list. Bodies arrive decompressed. Proxies are taken
/// from the environment (http_proxy and similar variables). Up to 10 redirects are followed, from http to
/// https but never back; see HttpClientOptions for the redirects with which the headers are sent. A POST
/// becomes a GET on 301, 302 and 303; on 307 and 308 it is repeated, but not to another scheme, host or port.
class PELK_HTTP_EXPORT HttpClient : public QObject
{
    Q_OBJECT

public:
    enum HttpVersion
    {
        BestVersion = 0, ///< HTTP/2 over TLS if the server offers it, otherwise HTTP/1.1
        Http11 = 1,
    };

    using Callback = std::function<void(const HttpClientResult&)>;

    /// With keepConnections, connections stay open between requests and are reused.
    HttpClient(QObject* parent, HttpVersion version, bool keepConnections);
    ~HttpClient() override;

    void get(const PelkUrl& url, const HttpClientOptions& options, Callback callback);
    /// The body is sent as application/x-www-form-urlencoded unless the options contain a Content-Type.
    void post(const PelkUrl& url, const QByteArray& body, const HttpClientOptions& options,
              Callback callback);

    /// Memory for the response cache of GET requests (RFC 9111, private); 0, the default, turns it off.
    void setCacheSize(unsigned long bytes);
    void clearCache();

    /// Requests whose callback has not returned yet.
    int inFlight() const;

    /// Blocks until no client of this process has an active request; false after the time-out. Not for the
    /// clients' own threads, whose event loops must run meanwhile.
    static bool waitForIdle(int timeoutMs);

Q_SIGNALS:
    /// The last active request has called its callback.
    void idle();

private:
    std::unique_ptr<HttpClientPrivate> d;
};
