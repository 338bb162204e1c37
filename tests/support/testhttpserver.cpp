#include "testhttpserver.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QHash>
#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

[[noreturn]] void fail(const char* what)
{
    qFatal("test server: %s: %s", what, std::strerror(errno));
}

int listenOn(const QByteArray& address, quint16& port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        fail("socket");
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    if (inet_pton(AF_INET, address.constData(), &name.sin_addr) != 1)
        fail("address");
    socklen_t size = sizeof(name);
    auto* generic = reinterpret_cast<sockaddr*>(&name);
    if (bind(fd, generic, size) != 0 || getsockname(fd, generic, &size) != 0)
        fail("bind");
    port = ntohs(name.sin_port);
    return fd;
}

QByteArray reasonOf(int status)
{
    switch (status) {
    case 200:
        return QByteArrayLiteral("OK");
    case 304:
        return QByteArrayLiteral("Not Modified");
    case 404:
        return QByteArrayLiteral("Not Found");
    default:
        return QByteArrayLiteral("Status");
    }
}

/// Splits a request head; false when it is not HTTP/1.x.
bool parseHead(const QByteArray& head, TestHttpServer::Request& request)
{
    const int lineEnd = head.indexOf("\r\n");
    const QList<QByteArray> words = head.left(lineEnd).split(' ');
    if (words.size() != 3 || !words.at(2).startsWith("HTTP/1."))
        return false;
    request.method = words.at(0);
    request.target = words.at(1);
    const int mark = request.target.indexOf('?');
    request.path = mark < 0 ? request.target : request.target.left(mark);
    request.query = mark < 0 ? QByteArray() : request.target.mid(mark + 1);
    int at = lineEnd + 2;
    while (at < head.size()) {
        const int end = head.indexOf("\r\n", at);
        const int colon = head.indexOf(':', at);
        if (colon < 0 || colon > end)
            return false;
        request.headers.append({head.mid(at, colon - at), head.mid(colon + 1, end - colon - 1).trimmed()});
        at = end + 2;
    }
    return true;
}

} // namespace

class TestHttpServer::Private
{
public:
    explicit Private(const QByteArray& listenAddress);
    ~Private();

    void acceptLoop();
    void serve(int fd, int number);
    bool receive(int fd, QByteArray& buffer, Request& request);
    Handler answerFor(const QByteArray& path);
    bool respond(int fd, const Request& request, const Response& response, int releasesBefore);
    bool sendAll(int fd, const char* data, int size);
    bool pause(int ms);

    QByteArray address;
    quint16 port = 0;
    int listener = -1;

    mutable std::mutex mutex;
    mutable std::condition_variable changed; ///< a request came, answers were released, or the end began
    bool stopping = false;
    int releases = 0;
    QHash<QByteArray, QList<Response>> queued;
    QHash<QByteArray, Response> fixed;
    Handler handler;
    QList<Request> received;
    int accepted = 0;
    std::vector<int> open;
    std::map<int, std::thread> workers; ///< by the number of their connection
    std::vector<int> ended;             ///< those whose connection is over
    std::thread acceptor;
};

TestHttpServer::Private::Private(const QByteArray& listenAddress)
    : address(listenAddress)
{
    listener = listenOn(address, port);
    if (listen(listener, SOMAXCONN) != 0)
        fail("listen");
    acceptor = std::thread([this] { acceptLoop(); });
}

TestHttpServer::Private::~Private()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
        shutdown(listener, SHUT_RDWR);
        for (const int fd : open)
            shutdown(fd, SHUT_RDWR);
    }
    changed.notify_all();
    acceptor.join();
    for (auto& worker : workers)
        worker.second.join();
    close(listener);
}

void TestHttpServer::Private::acceptLoop()
{
    for (;;) {
        const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        const std::lock_guard<std::mutex> lock(mutex);
        if (stopping || (fd < 0 && errno != EINTR && errno != ECONNABORTED)) {
            if (fd >= 0)
                close(fd);
            return;
        }
        if (fd < 0)
            continue;
        // A thread that is not joined keeps its stack, and there may be thousands of connections.
        for (const int number : ended) {
            workers[number].join();
            workers.erase(number);
        }
        ended.clear();
        open.push_back(fd);
        ++accepted;
        workers[accepted] = std::thread([this, fd, number = accepted] { serve(fd, number); });
    }
}

void TestHttpServer::Private::serve(int fd, int number)
{
    QByteArray buffer;
    Request request;
    request.connection = number;
    while (receive(fd, buffer, request)) {
        int releasesBefore = 0;
        Handler answer;
        {
            // Once a request is recorded, its response is taken from the queue, and the next request gets the
            // next one.
            const std::lock_guard<std::mutex> lock(mutex);
            received.append(request);
            releasesBefore = releases;
            answer = answerFor(request.path);
        }
        changed.notify_all();
        if (!respond(fd, request, answer(request), releasesBefore))
            break;
        request = Request();
        request.connection = number;
    }
    const std::lock_guard<std::mutex> lock(mutex);
    open.erase(std::remove(open.begin(), open.end(), fd), open.end());
    ended.push_back(number);
    close(fd);
}

bool TestHttpServer::Private::receive(int fd, QByteArray& buffer, Request& request)
{
    char chunk[16384];
    int head = -1;
    int wanted = 0;
    for (;;) {
        if (head < 0) {
            head = buffer.indexOf("\r\n\r\n");
            if (head >= 0) {
                if (!parseHead(buffer.left(head + 2), request))
                    return false;
                head += 4;
                wanted = request.header("Content-Length").toInt();
                if (!request.header("Expect").isEmpty())
                    sendAll(fd, "HTTP/1.1 100 Continue\r\n\r\n", 25);
            }
        }
        if (head >= 0 && buffer.size() >= head + wanted) {
            request.body = buffer.mid(head, wanted);
            buffer.remove(0, head + wanted);
            return true;
        }
        const ssize_t got = recv(fd, chunk, sizeof(chunk), 0);
        if (got <= 0)
            return false;
        buffer.append(chunk, static_cast<int>(got));
        // No method begins so: a client that speaks TLS, say, would wait for an answer forever.
        if (buffer.at(0) < 'A' || buffer.at(0) > 'Z')
            return false;
    }
}

/// How a request for the path is answered. Called under the lock; what it gives is called without.
TestHttpServer::Handler TestHttpServer::Private::answerFor(const QByteArray& path)
{
    const auto always = [](const Response& response) {
        return [response](const Request&) { return response; };
    };
    const auto queue = queued.find(path);
    if (queue != queued.end() && !queue->isEmpty())
        return always(queue->takeFirst());
    const auto found = fixed.constFind(path);
    if (found != fixed.constEnd())
        return always(*found);
    return handler ? handler : always(text(QByteArrayLiteral("nothing here"), 404));
}

/// Sends the answer; false when the connection is to be closed.
bool TestHttpServer::Private::respond(int fd, const Request& request, const Response& response,
                                      int releasesBefore)
{
    const auto held = [this, releasesBefore] {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [this, releasesBefore] { return stopping || releases != releasesBefore; });
    };
    if (response.hold)
        held();
    if (!pause(response.delayMs))
        return false;
    if (response.reset) {
        const linger hard = {1, 0};
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &hard, sizeof(hard));
        return false;
    }
    QByteArray body = response.body;
    if (response.bare) {
        sendAll(fd, body.constData(), body.size());
        return false;
    }
    QByteArray head =
        "HTTP/1.1 " + QByteArray::number(response.status) + ' ' + reasonOf(response.status) + "\r\n";
    for (const Pair& header : response.headers)
        head += header.first + ": " + header.second + "\r\n";
    if (response.close)
        head += "Connection: close\r\n";
    if (response.chunked) {
        head += "Transfer-Encoding: chunked\r\n";
        body.clear();
        for (int at = 0; at < response.body.size(); at += 1000) {
            const QByteArray part = response.body.mid(at, 1000);
            body += QByteArray::number(part.size(), 16) + "\r\n" + part + "\r\n";
        }
        body += "0\r\n\r\n";
    } else if (response.status != 304 && response.status != 204) {
        head += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    }
    head += "\r\n";
    if (request.method == "HEAD")
        body.clear();
    const bool cut = response.truncateAfter >= 0 && response.truncateAfter < body.size();
    if (cut)
        body.truncate(response.truncateAfter);
    if (response.holdAfter >= 0 && response.holdAfter < body.size()) {
        head += body.left(response.holdAfter);
        body.remove(0, response.holdAfter);
        if (!sendAll(fd, head.constData(), head.size()))
            return false;
        head.clear();
        held();
    }
    if (response.dripBytes <= 0) {
        head += body;
        return sendAll(fd, head.constData(), head.size()) && !cut && !response.close;
    }
    if (!sendAll(fd, head.constData(), head.size()))
        return false;
    for (int at = 0; at < body.size(); at += response.dripBytes) {
        if (!sendAll(fd, body.constData() + at, std::min(response.dripBytes, body.size() - at)) ||
            !pause(response.dripPauseMs))
            return false;
    }
    return !cut && !response.close;
}

bool TestHttpServer::Private::sendAll(int fd, const char* data, int size)
{
    while (size > 0) {
        const ssize_t sent = send(fd, data, static_cast<size_t>(size), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        data += sent;
        size -= static_cast<int>(sent);
    }
    return true;
}

/// Waits; false when the server ends meanwhile.
bool TestHttpServer::Private::pause(int ms)
{
    std::unique_lock<std::mutex> lock(mutex);
    return !changed.wait_for(lock, std::chrono::milliseconds(ms), [this] { return stopping; });
}

QByteArray TestHttpServer::Request::header(const QByteArray& name) const
{
    for (const Pair& pair : headers) {
        if (pair.first.compare(name, Qt::CaseInsensitive) == 0)
            return pair.second.isNull() ? QByteArrayLiteral("") : pair.second;
    }
    return {};
}

TestHttpServer::Pairs TestHttpServer::Request::queryItems() const
{
    Pairs items;
    const QList<QByteArray> parts = query.isEmpty() ? QList<QByteArray>() : query.split('&');
    for (const QByteArray& part : parts) {
        const int equals = part.indexOf('=');
        const QByteArray name = equals < 0 ? part : part.left(equals);
        const QByteArray value = equals < 0 ? QByteArray() : part.mid(equals + 1);
        items.append({QByteArray::fromPercentEncoding(name), QByteArray::fromPercentEncoding(value)});
    }
    return items;
}

QByteArray TestHttpServer::Request::queryValue(const QByteArray& name) const
{
    const Pairs items = queryItems();
    for (const Pair& pair : items) {
        if (pair.first == name)
            return pair.second.isNull() ? QByteArrayLiteral("") : pair.second;
    }
    return {};
}

TestHttpServer::TestHttpServer(const QByteArray& address)
    : d(std::make_unique<Private>(address))
{
}

TestHttpServer::~TestHttpServer() = default;

quint16 TestHttpServer::port() const
{
    return d->port;
}

QString TestHttpServer::url(const QString& path, const QString& host) const
{
    const QString name = host.isEmpty() ? QString::fromLatin1(d->address) : host;
    return QStringLiteral("http://") + name + QLatin1Char(':') + QString::number(d->port) + path;
}

void TestHttpServer::answer(const QByteArray& path, const Response& response)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->fixed.insert(path, response);
}

void TestHttpServer::answerOnce(const QByteArray& path, const Response& response)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->queued[path].append(response);
}

void TestHttpServer::setHandler(Handler handler)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->handler = std::move(handler);
}

void TestHttpServer::release()
{
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        ++d->releases;
    }
    d->changed.notify_all();
}

QList<TestHttpServer::Request> TestHttpServer::requests() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->received;
}

int TestHttpServer::requestCount() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->received.size();
}

void TestHttpServer::clearRequests()
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->received.clear();
}

int TestHttpServer::connectionCount() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->accepted;
}

bool TestHttpServer::waitForRequests(int count, int timeoutMs) const
{
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        if (QCoreApplication::instance())
            QCoreApplication::processEvents();
        std::unique_lock<std::mutex> lock(d->mutex);
        const auto enough = [this, count] { return d->received.size() >= count; };
        // Short, since the client of this very thread may need its event loop again.
        if (d->changed.wait_for(lock, std::chrono::milliseconds(2), enough))
            return true;
        if (deadline.hasExpired())
            return false;
    }
}

TestHttpServer::Response TestHttpServer::json(const QByteArray& body, int status)
{
    Response response;
    response.status = status;
    response.headers = {{QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json")}};
    response.body = body;
    return response;
}

TestHttpServer::Response TestHttpServer::text(const QByteArray& body, int status)
{
    Response response;
    response.status = status;
    response.headers = {{QByteArrayLiteral("Content-Type"), QByteArrayLiteral("text/plain; charset=utf-8")}};
    response.body = body;
    return response;
}

TestHttpServer::Response TestHttpServer::redirect(const QString& location, int status)
{
    Response response;
    response.status = status;
    response.headers = {{QByteArrayLiteral("Location"), location.toUtf8()}};
    return response;
}

quint16 TestHttpServer::unusedPort()
{
    quint16 port = 0;
    close(listenOn(QByteArrayLiteral("127.0.0.1"), port));
    return port;
}
