#include "sandbox/control/Faults.h"

#include <algorithm>

namespace sandbox {
namespace {

struct KindHelp
{
    const char* kind;
    const char* parameters;
};

constexpr KindHelp kinds[] = {
    {"delay", "ms: delays the normal response"},
    {"status", "status, form (json, html or empty), message: an error response"},
    {"truncate", "bytes: the body ends there and the connection is closed; the full length is announced"},
    {"drop", "the connection is closed without a response"},
    {"reset", "bytes: the connection is reset after so many bytes of the body; default: before the response"},
    {"drip", "bytes, interval_ms: the body is sent in slices"},
    {"stall", "bytes: nothing is sent after so many bytes of the body; the connection stays open"},
    {"garbage", "the response is not HTTP"},
    {"oversize", "bytes, chunked (true: without a length): a JSON response with a body of that size"},
    {"not-json", "a response with status 200 that is not JSON"},
    {"body", "body (text, or any JSON), content_type, status (default 200): a response with that body"},
    {"redirect", "location, or host (the same target there); default: to itself, endlessly; status"},
    {"rate-limit", "retry_after: status 429, with that many seconds in Retry-After"},
    {"expired-token", "status 401, as for a token that has expired"},
    {"header", "name (default X-PelkEfectiveUrl), value: an additional header in the normal response"},
};

void answer(httplib::Response& response, int status, const std::string& body,
            const char* type = "application/json")
{
    response.status = status;
    response.set_content(body, type);
}

std::string errorBody(int status, const std::string& message)
{
    return Json{{"status", "error"}, {"code", status}, {"message", message}}.dump();
}

void oversize(httplib::Response& response, std::size_t bytes, bool chunked)
{
    const std::string head = "{\"padding\":\"";
    const std::string tail = "\"}";
    const std::size_t padding = bytes - std::min(bytes, head.size() + tail.size());
    std::string body = head + std::string(padding, 'x') + tail;
    response.status = 200;
    if (!chunked) {
        response.set_content(body, "application/json");
        return;
    }
    response.set_chunked_content_provider("application/json", [body](std::size_t, httplib::DataSink& sink) {
        sink.write(body.data(), body.size());
        sink.done();
        return true;
    });
}

void redirect(const Fault& fault, const httplib::Request& request, httplib::Response& response)
{
    std::string location = fault.text("location", request.target);
    const std::string host = fault.text("host", "");
    if (!host.empty()) {
        const std::string here = request.get_header_value("Host");
        const bool hasPort = host.find(':') != std::string::npos || here.find(':') == std::string::npos;
        location = "http://" + host + (hasPort ? "" : here.substr(here.find(':'))) + request.target;
    }
    answer(response, fault.number("status", 302), "");
    response.set_header("Location", location);
}

} // namespace

int Fault::number(const char* key, int otherwise) const
{
    const auto found = parameters.find(key);
    return found != parameters.end() && found->is_number_integer() ? found->get<int>() : otherwise;
}

std::string Fault::text(const char* key, const std::string& otherwise) const
{
    const auto found = parameters.find(key);
    return found != parameters.end() && found->is_string() ? found->get<std::string>() : otherwise;
}

WireFault Fault::wire() const
{
    using Kind = WireFault::Kind;
    if (kind == "drop")
        return {Kind::Drop, 0, 0};
    if (kind == "truncate")
        return {Kind::Truncate, number("bytes", 0), 0};
    if (kind == "reset")
        return {Kind::Reset, number("bytes", -1), 0};
    if (kind == "drip")
        return {Kind::Drip, number("bytes", 1), std::max(number("interval_ms", 10), 0)};
    if (kind == "stall")
        return {Kind::Stall, number("bytes", 0), 0};
    if (kind == "garbage")
        return {Kind::Garbage, 0, 0};
    return {};
}

std::string Faults::add(const Json& description)
{
    if (!description.is_object())
        return "A fault is a JSON object with endpoint, kind, count and the parameters of the kind.";
    Fault fault{"", "", 1, description};
    fault.endpoint = fault.text("endpoint", "*");
    fault.kind = fault.text("kind", "");
    fault.left = fault.number("count", 1);
    const bool known = std::any_of(std::begin(kinds), std::end(kinds),
                                   [&](const KindHelp& help) { return fault.kind == help.kind; });
    if (!known)
        return "There is no fault of the kind \"" + fault.kind + "\". The kinds are:\n" + help();
    const int status = fault.number("status", 500);
    if (status < 100 || status > 599)
        return "A status is a number from 100 to 599.";
    if (fault.left == 0)
        return "A count of 0 hits nothing. Give 1 or more, or a negative count for a fault that lasts.";
    const std::lock_guard lock(m_mutex);
    m_faults.push_back(std::move(fault));
    return {};
}

std::optional<Fault> Faults::take(const std::string& endpoint, bool api)
{
    const std::lock_guard lock(m_mutex);
    const auto hit = std::find_if(m_faults.begin(), m_faults.end(), [&](const Fault& fault) {
        return fault.endpoint == endpoint || (api && fault.endpoint == "*");
    });
    if (hit == m_faults.end())
        return std::nullopt;
    Fault fault = *hit;
    if (hit->left > 0 && --hit->left == 0)
        m_faults.erase(hit);
    return fault;
}

Json Faults::list() const
{
    const std::lock_guard lock(m_mutex);
    Json list = Json::array();
    for (const Fault& fault : m_faults) {
        list.push_back(fault.parameters);
        list.back()["endpoint"] = fault.endpoint;
        list.back()["left"] = fault.left;
    }
    return {{"faults", std::move(list)}};
}

void Faults::clear()
{
    const std::lock_guard lock(m_mutex);
    m_faults.clear();
}

std::string Faults::help()
{
    std::string text;
    for (const KindHelp& help : kinds)
        text += std::string("  ") + help.kind + ": " + help.parameters + "\n";
    return text;
}

bool applyFault(const Fault& fault, const httplib::Request& request, httplib::Response& response,
                Connection& connection)
{
    connection.setWireFault(fault.wire());
    if (fault.kind == "delay") {
        connection.pause(std::max(fault.number("ms", 0), 0));
        return false;
    }
    if (fault.kind == "header") {
        response.set_header(fault.text("name", "X-PelkEfectiveUrl"), fault.text("value", ""));
        return false;
    }
    if (fault.kind == "status") {
        const int status = fault.number("status", 500);
        const std::string form = fault.text("form", "json");
        if (form == "html")
            answer(response, status, "<html><body><h1>Bad Gateway</h1></body></html>", "text/html");
        else
            answer(response, status,
                   form == "empty" ? "" : errorBody(status, fault.text("message", "Made to fail")));
        return true;
    }
    if (fault.kind == "oversize") {
        oversize(response, std::size_t(std::max(fault.number("bytes", 1 << 20), 0)),
                 fault.parameters.value("chunked", false));
        return true;
    }
    if (fault.kind == "not-json") {
        answer(response, 200, "<!doctype html><p>Welcome to the hotel's network</p>");
        return true;
    }
    if (fault.kind == "body") {
        const Json body = fault.parameters.value("body", Json());
        answer(response, fault.number("status", 200),
               body.is_string() ? body.get<std::string>() : body.dump(),
               fault.text("content_type", "application/json").c_str());
        return true;
    }
    if (fault.kind == "redirect") {
        redirect(fault, request, response);
        return true;
    }
    if (fault.kind == "rate-limit") {
        answer(response, 429, errorBody(429, "Too many requests"));
        response.set_header("Retry-After", std::to_string(fault.number("retry_after", 1)));
        return true;
    }
    if (fault.kind == "expired-token") {
        answer(response, 401,
               errorBody(401, "User authentication is required. (Invalid or expired user_auth_token)"));
        return true;
    }
    return false; // damaged on the wire only
}

} // namespace sandbox
