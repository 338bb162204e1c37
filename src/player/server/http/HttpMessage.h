#pragma once

#include <QByteArray>
#include <QPair>
#include <QString>
#include <QVector>

#include <functional>
#include <memory>

/// The other end of a connection.
struct Peer
{
    QByteArray address;      ///< in digits; of the socket file's users "local"
    bool isLoopback = false; ///< on this machine; with a proxy before the player, on somebody's behalf
    bool isLocal = false;    ///< came through the socket file: whoever may open that may do everything
    bool isEncrypted = false;
};

/// A request whose head was read, and later its body.
struct HttpRequest
{
    QByteArray method;
    QByteArray target; ///< as it was sent
    QString path;      ///< of the target, decoded
    QVector<QPair<QString, QString>> params;
    QVector<QPair<QByteArray, QByteArray>> headers; ///< names in lower case
    QVector<QPair<QByteArray, QByteArray>> cookies;
    QByteArray body;
    Peer peer;

    /// The first header with a name in lower case; null if there is none.
    QByteArray header(const char* name) const;
    int headerCount(const char* name) const;
    /// Whether its method only reads: GET or HEAD.
    bool isRead() const { return method == "GET" || method == "HEAD"; }
    bool hasBody() const;
};

/// A response's body that has no end yet.
class ByteSource
{
public:
    virtual ~ByteSource() = default;
    static constexpr int ended = -1;
    /// Copies at most `size` bytes. Returns 0 if there is no data now, or `ended` at the end.
    virtual int read(char* bytes, int size) = 0;
    /// Set by the server: call it when data is available after read() has returned 0.
    std::function<void()> wake;
};

struct HttpResponse
{
    int status = 200;
    QByteArray type; ///< media type
    QByteArray body;
    QVector<QPair<QByteArray, QByteArray>> headers;
    std::unique_ptr<ByteSource> source; ///< instead of the body; deleted when the connection ends
    bool closes = false;                ///< whether the connection ends with it

    void addHeader(const char* name, const QByteArray& value)
    {
        headers.append(qMakePair(QByteArray(name), value));
    }
};

/// Takes the response to one request.
class ResponseSink
{
public:
    virtual ~ResponseSink() = default;
    /// Sends the response; a second one is ignored.
    virtual void respond(HttpResponse response) = 0;
    /// Whether the client is still connected.
    virtual bool isOpen() const = 0;
    /// Called once when the other end disconnects before there is a response.
    virtual void onGone(const std::function<void()>& gone) = 0;
};

/// A handler may keep it for as long as it likes: the request waits.
using Responder = std::shared_ptr<ResponseSink>;

/// Deals with requests, on the thread of the server.
class HttpHandler
{
public:
    virtual ~HttpHandler() = default;
    /// Checks of a head that come before all others.
    enum class Fault
    {
        None,
        Malformed,
        LongUrl,
        LongHead,
        LongBody
    };
    /// Checks a head. A returned response refuses the request, and the body is discarded.
    virtual std::unique_ptr<HttpResponse> refusal(const HttpRequest& request, Fault fault) = 0;
    /// Sends a response now or later.
    virtual void handle(const HttpRequest& request, const Responder& responder) = 0;
};
