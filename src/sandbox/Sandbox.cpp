#include "sandbox/Sandbox.h"

#include "sandbox/control/Control.h"
#include "sandbox/http/Query.h"
#include "sandbox/http/WireServer.h"
#include "sandbox/media/MediaPaths.h"
#include "sandbox/service/StreamUrls.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <optional>
#include <thread>

namespace sandbox {
namespace {

const std::string apiPath = "/api.json/0.2/";

bool startsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

/// "album/get", "stream", "cover", or "control/…".
std::string endpointOf(const std::string& path)
{
    if (startsWith(path, "/streams/"))
        return "stream";
    if (startsWith(path, "/covers/"))
        return "cover";
    return startsWith(path, apiPath) ? path.substr(apiPath.size())
                                     : path.substr(std::min<std::size_t>(path.size(), 1));
}

/// The target for the log, with secret values masked.
std::string masked(std::string target)
{
    for (const char* key : {"password=", "request_sig=", "signature=", "user_auth_token="}) {
        for (auto at = target.find(key); at != std::string::npos; at = target.find(key, at)) {
            at += std::strlen(key);
            target.replace(at, std::min(target.find('&', at), target.size()) - at, "***");
        }
    }
    return target;
}

void send(httplib::Response& response, const Answer& answer)
{
    response.status = answer.status;
    // A query text with broken UTF-8 is given back in search answers.
    response.set_content(answer.body.dump(-1, ' ', false, Json::error_handler_t::replace),
                         "application/json");
}

} // namespace

class Sandbox::Private
{
public:
    explicit Private(const Options& given)
        : options(given)
        , catalogue(given.seed)
        , access(given)
    {
    }

    void arrived(httplib::Request& request, Connection& connection);
    void respond(const httplib::Request& request, httplib::Response& response);
    void answered(const httplib::Request& request, const httplib::Response& response);

    /// Created once the port is known, because addresses contain it.
    struct Service
    {
        Service(const Catalogue& catalogue, Access& access, const Options& options,
                const std::string& siteUrl)
            : streams(catalogue, siteUrl, options.streamTtlSeconds)
            , endpoints(catalogue, access, streams, siteUrl, options.featuredAlbums)
            , media(catalogue, streams)
        {
        }
        StreamUrls streams;
        Endpoints endpoints;
        MediaPaths media;
    };

    Options options;
    Catalogue catalogue;
    Access access;
    Recorder recorder;
    Faults faults;
    Control control{catalogue, access, recorder, faults};
    std::optional<Service> service;
    WireServer server;
    int port = 0;
    std::thread thread;
    std::thread preparation;
};

void Sandbox::Private::arrived(httplib::Request& request, Connection& connection)
{
    RequestRecord record;
    record.method = request.method;
    record.target = request.target;
    record.endpoint = endpointOf(request.path);
    record.api = service->endpoints.knows(record.endpoint);
    record.query = queryItems(request.target);
    record.headers = headerFields(connection.head());
    record.atMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                      std::chrono::system_clock::now().time_since_epoch())
                      .count();
    connection.recordId = recorder.arrived(std::move(record));
    // Our own code answers ranges. Nothing is compressed, which would only cost time on loopback.
    request.ranges.clear();
    request.headers.erase("Accept-Encoding");
}

void Sandbox::Private::respond(const httplib::Request& request, httplib::Response& response)
{
    const std::string endpoint = endpointOf(request.path);
    const QueryItems query = queryItems(request.target);
    if (startsWith(request.path, "/control/")) {
        send(response, control.answer(request.method, endpoint.substr(8), query, request.body));
        return;
    }
    Connection& connection = WireServer::connection();
    const bool media = endpoint == "stream" || endpoint == "cover";
    const auto fault = faults.take(endpoint, !media);
    if (fault && applyFault(*fault, request, response, connection))
        return;
    if (request.method != "GET" && request.method != "HEAD") {
        send(response, refusal(405, "Only GET is understood here"));
        response.set_header("Allow", "GET, HEAD");
    } else if (endpoint == "stream") {
        service->media.stream(request, query, response);
    } else if (endpoint == "cover") {
        service->media.cover(request, response);
    } else {
        send(response, service->endpoints.answer({endpoint, query, request.get_header_value("X-App-Id"),
                                                  request.get_header_value("X-User-Auth-Token"),
                                                  request.get_header_value("Host")}));
    }
}

void Sandbox::Private::answered(const httplib::Request& request, const httplib::Response& response)
{
    const Connection& connection = WireServer::connection();
    const bool silent =
        connection.wireFault().kind == WireFault::Kind::Drop ||
        connection.wireFault().kind == WireFault::Kind::Garbage ||
        (connection.wireFault().kind == WireFault::Kind::Reset && connection.wireFault().bytes < 0);
    const int status = silent ? 0 : response.status;
    recorder.answered(connection.recordId, status);
    if (options.verbose)
        std::fprintf(stderr, "%s %s %d\n", request.method.c_str(), masked(request.target).c_str(), status);
}

Sandbox::Sandbox(const Options& options)
    : m_d(std::make_unique<Private>(options))
{
    WireServer& server = m_d->server;
    server.setArrivalHandler([d = m_d.get()](httplib::Request& request, Connection& connection) {
        d->arrived(request, connection);
    });
    // Requests without a body are answered before the library's routing, which tries one regular expression
    // after another.
    server.set_pre_routing_handler(
        [d = m_d.get()](const httplib::Request& request, httplib::Response& response) {
            if (request.method == "POST" || request.method == "PUT" || request.method == "PATCH")
                return httplib::Server::HandlerResponse::Unhandled;
            d->respond(request, response);
            return httplib::Server::HandlerResponse::Handled;
        });
    server.Post(".*", [d = m_d.get()](const httplib::Request& request, httplib::Response& response) {
        d->respond(request, response);
    });
    server.set_post_routing_handler(
        [d = m_d.get()](const httplib::Request& request, httplib::Response& response) {
            d->answered(request, response);
        });
    server.set_exception_handler(
        [](const httplib::Request&, httplib::Response& response, const std::exception_ptr& error) {
            try {
                std::rethrow_exception(error);
            } catch (const std::exception& problem) {
                send(response, refusal(500, problem.what()));
            }
        });
}

Sandbox::~Sandbox()
{
    stop();
}

bool Sandbox::start()
{
    m_d->port = m_d->server.open(m_d->options.address, m_d->options.port);
    if (m_d->port == 0)
        return false;
    m_d->service.emplace(m_d->catalogue, m_d->access, m_d->options, siteUrl());
    m_d->preparation = std::thread([d = m_d.get()] { d->service->endpoints.prepareSearch(); });
    m_d->thread = std::thread([d = m_d.get()] { d->server.run(); });
    // The port is already open, but a stop before the loop runs would have no effect.
    while (!m_d->server.is_running())
        std::this_thread::yield();
    return true;
}

void Sandbox::stop()
{
    if (!m_d->thread.joinable())
        return;
    m_d->server.close();
    m_d->thread.join();
    m_d->preparation.join();
}

int Sandbox::port() const
{
    return m_d->port;
}

std::string Sandbox::siteUrl() const
{
    return "http://" + m_d->options.address + ":" + std::to_string(m_d->port);
}

std::string Sandbox::baseUrl() const
{
    return siteUrl() + apiPath;
}

} // namespace sandbox
