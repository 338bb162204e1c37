#pragma once

#include "player/server/http/Connections.h"
#include "player/server/http/HttpMessage.h"

#include <microhttpd.h>

class HttpServer;

/// One request and its response. The library holds it from the request line to the end of the response;
/// handlers may hold it longer, but then their calls are no-ops.
class HttpExchange : public ResponseSink, public std::enable_shared_from_this<HttpExchange>
{
public:
    HttpExchange(HttpServer* server, MHD_Connection* connection, const char* target);

    void respond(HttpResponse response) override;
    bool isOpen() const override;
    void onGone(const std::function<void()>& gone) override { m_gone = gone; }

    /// The library's calls while the request is read: its head, each piece of its body, its end, and its end
    /// again once it was resumed.
    MHD_Result proceed(const char* url, const char* method, const char* version, const char* piece,
                       size_t* pieceBytes);
    /// The other end has disconnected.
    void disconnect();
    /// The library no longer uses it.
    void finish();
    int socket() const { return m_socket; }

private:
    enum class Stage
    {
        Start,     ///< nothing but the first line was looked at
        Body,      ///< the head is accepted
        Refused,   ///< m_response is sent once the body is over
        Handled,   ///< the handler has the request, within its call
        Suspended, ///< the handler has the request
        Answered,  ///< m_response is to be sent
        Sent,
        Gone
    };

    HttpHandler::Fault readHead(const char* url, const char* method, const char* version);
    MHD_Result onHead(const char* url, const char* method, const char* version);
    MHD_Result onEnd();
    MHD_Result send();
    MHD_Response* makeResponse();
    void resume();

    HttpServer* m_server; // null once the library has done with it
    MHD_Connection* m_connection;
    int m_socket;
    Stage m_stage = Stage::Start;
    HttpRequest m_request;
    HttpResponse m_response;
    std::function<void()> m_gone;
};
