#include "player/server/http/HttpExchange.h"

#include "player/server/http/HttpHead.h"
#include "player/server/http/HttpServer.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace {

/// The library keeps as much for each open body; an event has a few hundred bytes.
constexpr size_t sourceBlockBytes = 4 * 1024;

using Headers = QVector<QPair<QByteArray, QByteArray>>;
using Params = QVector<QPair<QString, QString>>;

MHD_Result addCookie(void* closure, MHD_ValueKind /*kind*/, const char* name, size_t nameBytes,
                     const char* value, size_t valueBytes)
{
    static_cast<Headers*>(closure)->append(
        {QByteArray(name, int(nameBytes)), QByteArray(value, int(valueBytes))});
    return MHD_YES;
}

MHD_Result addHeader(void* closure, MHD_ValueKind /*kind*/, const char* name, size_t nameBytes,
                     const char* value, size_t valueBytes)
{
    static_cast<Headers*>(closure)->append(
        {QByteArray(name, int(nameBytes)).toLower(), QByteArray(value, int(valueBytes)).trimmed()});
    return MHD_YES;
}

MHD_Result addParam(void* closure, MHD_ValueKind /*kind*/, const char* name, size_t nameBytes,
                    const char* value, size_t valueBytes)
{
    static_cast<Params*>(closure)->append(
        {QString::fromUtf8(name, int(nameBytes)), QString::fromUtf8(value, int(valueBytes))});
    return MHD_YES;
}

/// A body without end, as the library reads it.
struct OpenBody
{
    std::unique_ptr<ByteSource> source;
    MHD_Connection* connection;
    std::function<void(bool)> suspended; // called whenever that changes
    bool isSuspended = false;
    bool isGone = false;

    static ssize_t read(void* closure, uint64_t /*position*/, char* bytes, size_t size)
    {
        auto* const body = static_cast<OpenBody*>(closure);
        if (body->isGone)
            return MHD_CONTENT_READER_END_WITH_ERROR;
        const int read = body->source->read(bytes, int(std::min<size_t>(size, sourceBlockBytes)));
        if (read == ByteSource::ended)
            return MHD_CONTENT_READER_END_OF_STREAM;
        if (read == 0) {
            body->isSuspended = true;
            MHD_suspend_connection(body->connection);
            body->suspended(true);
        }
        return read;
    }
    void wake()
    {
        if (!isSuspended)
            return;
        isSuspended = false;
        suspended(false);
        MHD_resume_connection(connection);
    }
};

} // namespace

HttpExchange::HttpExchange(HttpServer* server, MHD_Connection* connection, const char* target)
    : m_server(server)
    , m_connection(connection)
    , m_socket(MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd)
{
    m_request.target = target;
    m_request.peer = server->m_connections.peer(m_socket);
}

void HttpExchange::respond(HttpResponse response)
{
    if (m_stage != Stage::Handled && m_stage != Stage::Suspended)
        return;
    m_response = std::move(response);
    m_gone = nullptr;
    const bool isSuspended = m_stage == Stage::Suspended;
    m_stage = Stage::Answered;
    if (isSuspended)
        resume();
}

bool HttpExchange::isOpen() const
{
    if (m_stage != Stage::Handled && m_stage != Stage::Suspended)
        return false;
    char byte = 0;
    const ssize_t got = ::recv(m_socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return got > 0 || (got < 0 && (errno == EAGAIN || errno == EINTR));
}

MHD_Result HttpExchange::proceed(const char* url, const char* method, const char* version, const char* piece,
                                 size_t* pieceBytes)
{
    switch (m_stage) {
    case Stage::Start:
        return onHead(url, method, version);
    case Stage::Body:
    case Stage::Refused:
        if (*pieceBytes == 0)
            return onEnd();
        if (m_stage == Stage::Body)
            m_request.body.append(piece, int(*pieceBytes));
        *pieceBytes = 0;
        return MHD_YES;
    case Stage::Answered:
        return send();
    case Stage::Handled:
    case Stage::Suspended:
        return MHD_YES;
    case Stage::Sent:
    case Stage::Gone:
        break;
    }
    return MHD_NO;
}

HttpHandler::Fault HttpExchange::readHead(const char* url, const char* method, const char* version)
{
    using Fault = HttpHandler::Fault;
    const Limits& limits = m_server->m_limits;
    m_request.method = method;
    m_request.path = QString::fromUtf8(url);
    MHD_get_connection_values_n(m_connection, MHD_HEADER_KIND, addHeader, &m_request.headers);
    MHD_get_connection_values_n(m_connection, MHD_COOKIE_KIND, addCookie, &m_request.cookies);
    MHD_get_connection_values_n(m_connection, MHD_GET_ARGUMENT_KIND, addParam, &m_request.params);
    const size_t headBytes =
        MHD_get_connection_info(m_connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)->header_size;
    if (!isStrictHead(m_connection, url, method, version))
        return Fault::Malformed;
    if (size_t(m_request.target.size()) > limits.urlBytes)
        return Fault::LongUrl;
    if (headBytes > limits.headBytes)
        return Fault::LongHead;
    return m_request.header("content-length").toULongLong() > limits.bodyBytes ? Fault::LongBody
                                                                               : Fault::None;
}

MHD_Result HttpExchange::onHead(const char* url, const char* method, const char* version)
{
    const HttpHandler::Fault fault = readHead(url, method, version);
    std::unique_ptr<HttpResponse> refusal = m_server->m_handler->refusal(m_request, fault);
    m_server->m_connections.enter(m_socket, Connections::State::Body);
    if (!refusal) {
        m_stage = Stage::Body;
        return MHD_YES;
    }
    m_response = std::move(*refusal);
    m_stage = Stage::Refused;
    // A refused body is read and discarded, because closing the connection early may lose the response. A
    // body that is too long or has no certain end is not.
    const bool isBounded =
        m_request.headerCount("transfer-encoding") == 0 &&
        m_request.header("content-length").toULongLong() <= m_server->m_limits.discardedBytes;
    m_response.closes = m_response.closes || fault == HttpHandler::Fault::Malformed || !isBounded;
    if (m_response.closes || (m_request.hasBody() && m_request.headerCount("expect") > 0))
        return send(); // in this place of a request it makes the library close the connection
    return MHD_YES;
}

MHD_Result HttpExchange::onEnd()
{
    if (m_stage == Stage::Refused)
        return send();
    m_stage = Stage::Handled;
    m_server->m_handler->handle(m_request, shared_from_this());
    if (m_stage == Stage::Answered)
        return send();
    m_stage = Stage::Suspended;
    m_server->m_suspended.insert(m_socket, [this] { disconnect(); });
    m_server->m_connections.enter(m_socket, Connections::State::Waiting);
    MHD_suspend_connection(m_connection);
    return MHD_YES;
}

void HttpExchange::resume()
{
    m_server->m_suspended.remove(m_socket);
    MHD_resume_connection(m_connection);
    m_server->runSoon();
}

MHD_Response* HttpExchange::makeResponse()
{
    if (!m_response.source) {
        auto* const body = new QByteArray(m_response.body); // shared, not copied
        return MHD_create_response_from_buffer_with_free_callback_cls(
            size_t(body->size()), const_cast<char*>(body->constData()),
            [](void* closure) { delete static_cast<QByteArray*>(closure); }, body);
    }
    auto* const body = new OpenBody;
    body->source = std::move(m_response.source);
    body->connection = m_connection;
    body->suspended = [body, server = m_server, socket = m_socket](bool isSuspended) {
        if (isSuspended) {
            server->m_connections.enter(socket, Connections::State::Waiting);
            server->m_suspended.insert(socket, [body] {
                body->isGone = true;
                body->wake();
            });
        } else {
            server->m_connections.enter(socket, Connections::State::Sending);
            server->m_suspended.remove(socket);
            server->runSoon();
        }
    };
    body->source->wake = [body] { body->wake(); };
    return MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, sourceBlockBytes, &OpenBody::read, body,
                                             [](void* closure) { delete static_cast<OpenBody*>(closure); });
}

MHD_Result HttpExchange::send()
{
    m_stage = Stage::Sent;
    const bool isOpenEnded = m_response.source != nullptr;
    m_server->m_connections.enter(m_socket, Connections::State::Sending);
    MHD_set_connection_option(m_connection, MHD_CONNECTION_OPTION_TIMEOUT,
                              unsigned(m_server->m_limits.silentReaderSeconds));
    MHD_Response* const response = makeResponse();
    if (!m_response.type.isEmpty())
        MHD_add_response_header(response, "Content-Type", m_response.type.constData());
    for (const auto& header : qAsConst(m_response.headers))
        MHD_add_response_header(response, header.first.constData(), header.second.constData());
    if (isOpenEnded) // not in chunks: it ends with the connection
        MHD_set_response_options(response, MHD_RF_HTTP_1_0_COMPATIBLE_STRICT, MHD_RO_END);
    else if (m_response.closes)
        MHD_add_response_header(response, "Connection", "close");
    const MHD_Result result = MHD_queue_response(m_connection, unsigned(m_response.status), response);
    MHD_destroy_response(response);
    m_response = HttpResponse();
    return result;
}

void HttpExchange::disconnect()
{
    const std::function<void()> gone = std::move(m_gone);
    m_gone = nullptr;
    m_stage = Stage::Gone;
    resume();
    if (gone)
        gone();
}

void HttpExchange::finish()
{
    m_server->m_suspended.remove(m_socket);
    MHD_set_connection_option(m_connection, MHD_CONNECTION_OPTION_TIMEOUT, 0u);
    m_server->m_connections.enter(m_socket, Connections::State::Idle);
    m_stage = Stage::Gone;
    m_server = nullptr;
}
