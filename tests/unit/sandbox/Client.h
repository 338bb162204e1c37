#pragma once

#include "sandbox/Sandbox.h"
#include "sandbox/service/Access.h"
#include "sandbox/service/Records.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <cerrno>
#include <ctime>
#include <httplib.h>
#include <string>
#include <unistd.h>

/// A sandbox of its own on a free port, and a client that is logged in to it when it asks for a token.
class Client
{
public:
    explicit Client(const sandbox::Options& options = {})
        : m_options(withFreePort(options))
        , m_sandbox(m_options)
        , m_started(m_sandbox.start())
        , m_http("127.0.0.1", m_sandbox.port())
    {
        m_http.set_keep_alive(true);
        m_http.set_tcp_nodelay(true);
        // Audio is encoded when it is first asked for, which takes its time on a busy machine or under an
        // emulator.
        m_http.set_read_timeout(60);
    }

    bool started() const { return m_started; }
    sandbox::Sandbox& sandbox() { return m_sandbox; }
    httplib::Client& http() { return m_http; }
    int port() const { return m_sandbox.port(); }

    std::string login()
    {
        m_token.clear();
        const auto answer = api("user/login?username=demo%40example.com&password=" + sandbox::md5Hex("demo"));
        m_token = json(answer).value("user_auth_token", std::string());
        return m_token;
    }

    httplib::Headers headers() const
    {
        httplib::Headers fields = {{"X-App-Id", m_options.appId}};
        if (!m_token.empty())
            fields.emplace("X-User-Auth-Token", m_token);
        return fields;
    }

    /// A call of the web API below its usual base.
    httplib::Result api(const std::string& call) { return m_http.Get("/api.json/0.2/" + call, headers()); }
    sandbox::Json json(const std::string& call) { return json(api(call)); }
    static sandbox::Json json(const httplib::Result& answer)
    {
        return answer ? sandbox::Json::parse(answer->body, nullptr, false) : sandbox::Json();
    }

    /// The call for a track's address, signed as a client signs it, at a time that far from now.
    std::string signedCall(std::int64_t track, int format, int secondsFromNow = 0) const
    {
        const std::string ts = std::to_string(std::time(nullptr) + secondsFromNow);
        const std::string id = std::to_string(track);
        const std::string text = "trackgetFileUrlformat_id" + std::to_string(format) + "track_id" + id + ts;
        return "track/getFileUrl?track_id=" + id + "&format_id=" + std::to_string(format) +
               "&request_ts=" + ts + "&request_sig=" + sandbox::md5Hex(text + m_options.appSecret);
    }

    /// The path and query of an address of this sandbox.
    std::string local(const std::string& url) const { return url.substr(m_sandbox.siteUrl().size()); }

    int fault(const sandbox::Json& fault)
    {
        const auto answer = m_http.Post("/control/faults", fault.dump(), "application/json");
        return answer ? answer->status : 0;
    }

    /// The ids that the control path names for a kind of track.
    std::int64_t trackOfKind(const std::string& kind, std::size_t which = 0)
    {
        return json(m_http.Get("/control/tracks?kind=" + kind))[kind][which]["id"].get<std::int64_t>();
    }

private:
    static sandbox::Options withFreePort(sandbox::Options options)
    {
        options.port = 0;
        return options;
    }

    sandbox::Options m_options;
    sandbox::Sandbox m_sandbox;
    bool m_started;
    httplib::Client m_http;
    std::string m_token;
};

/// What a plain socket receives for a request until the other side ends the connection.
struct RawAnswer
{
    std::string bytes;
    bool reset = false; ///< ended by RST rather than in order
    int pieces = 0;     ///< how many reads brought something

    std::string body() const
    {
        const auto blank = bytes.find("\r\n\r\n");
        return blank == std::string::npos ? std::string() : bytes.substr(blank + 4);
    }
};

class RawClient
{
public:
    explicit RawClient(int port)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_connected = ::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~RawClient() { ::close(m_socket); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    bool connected() const { return m_connected; }
    void send(const std::string& bytes) { ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    /// What comes next, at least a byte; empty at the end of the connection.
    std::string receiveSome()
    {
        char block[4096];
        const ssize_t got = ::recv(m_socket, block, sizeof block, 0);
        return std::string(block, got > 0 ? std::size_t(got) : 0);
    }
    /// Reads to the end of the connection.
    RawAnswer receive()
    {
        RawAnswer answer;
        char block[4096];
        for (;;) {
            const ssize_t got = ::recv(m_socket, block, sizeof block, 0);
            if (got <= 0) {
                answer.reset = got < 0 && errno == ECONNRESET;
                return answer;
            }
            answer.bytes.append(block, std::size_t(got));
            ++answer.pieces;
        }
    }

private:
    int m_socket;
    bool m_connected;
};
