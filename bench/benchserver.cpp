#include "bench/benchserver.h"

#include "bench/pages.h"

#include <QCoreApplication>
#include <arpa/inet.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <sched.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

/// Puts the calling thread, and those it starts, on the last processor, or on all others.
void takeProcessors(bool last)
{
    cpu_set_t all;
    if (sched_getaffinity(0, sizeof all, &all) != 0 || CPU_COUNT(&all) < 2)
        return;
    int highest = CPU_SETSIZE - 1;
    while (!CPU_ISSET(highest, &all))
        --highest;
    if (last) {
        CPU_ZERO(&all);
        CPU_SET(highest, &all);
    } else {
        CPU_CLR(highest, &all);
    }
    if (sched_setaffinity(0, sizeof all, &all) != 0)
        qFatal("a processor cannot be chosen: %s", std::strerror(errno));
}

/// A prepared response, as sent on the wire.
std::string answer(const std::string& body, const char* status = "200 OK")
{
    return std::string("HTTP/1.1 ") + status +
           "\r\nContent-Type: application/json\r\nCache-Control: no-store\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

const std::string& answerTo(const std::string& request)
{
    static const std::string page = answer(Page::albums50().body.toStdString());
    static const std::string blob = answer(std::string(BenchServer::blobBytes, 'x'));
    static const std::string stream = answer(
        R"({"track_id":3116514,"duration":241,"url":"http://127.0.0.1/streams/3116514?format=6&etsp=1700000000&)"
        R"(hmac=0123456789abcdef0123456789abcdef","format_id":6,"mime_type":"audio/flac","sampling_rate":44.1,)"
        R"("bit_depth":16})");
    static const std::string nothing = answer("nothing here", "404 Not Found");
    const std::string line = request.substr(0, request.find('\r'));
    const auto asksFor = [&line](const char* name) { return line.find(name) != std::string::npos; };
    if (asksFor("/blob "))
        return blob;
    if (asksFor("/getUserFavorites?"))
        return page;
    return asksFor("/getFileUrl?") ? stream : nothing;
}

/// Answers the requests of a connection, one after the other, until the client closes it. Only GETs, which
/// have no body.
void serveConnection(int socket)
{
    std::string waiting;
    char block[4096];
    ssize_t got = 0;
    while ((got = recv(socket, block, sizeof block, 0)) > 0) {
        waiting.append(block, size_t(got));
        size_t end = 0;
        while ((end = waiting.find("\r\n\r\n")) != std::string::npos) {
            const std::string& bytes = answerTo(waiting);
            waiting.erase(0, end + 4);
            // A blocking socket takes everything.
            if (send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0)
                break;
        }
    }
    close(socket);
}

} // namespace

BenchServer::BenchServer()
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--serve")});
    while (!m_process.canReadLine())
        if (!m_process.waitForReadyRead(20000))
            qFatal("the server did not start");
    m_url = QString::fromUtf8(m_process.readLine().trimmed());
}

BenchServer::~BenchServer()
{
    m_process.closeWriteChannel();
    m_process.waitForFinished();
}

double BenchServer::processorSeconds() const
{
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(static_cast<pid_t>(m_process.processId()), &clock) != 0 ||
        clock_gettime(clock, &used) != 0)
        qFatal("the server's time cannot be read");
    return double(used.tv_sec) + double(used.tv_nsec) / 1e9;
}

void BenchServer::leaveProcessorToServer()
{
    takeProcessors(false);
}

void BenchServer::serve()
{
    takeProcessors(true);
    answerTo({}); // makes them
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof name;
    auto* generic = reinterpret_cast<sockaddr*>(&name);
    if (listener < 0 || bind(listener, generic, size) != 0 || getsockname(listener, generic, &size) != 0 ||
        listen(listener, SOMAXCONN) != 0)
        qFatal("the server cannot listen: %s", std::strerror(errno));
    std::thread([listener] {
        for (;;) {
            const int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (socket >= 0)
                std::thread(serveConnection, socket).detach();
        }
    }).detach();
    std::printf("http://127.0.0.1:%d/api.json/0.2/\n", ntohs(name.sin_port));
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    std::_Exit(0); // with whatever is open
}
