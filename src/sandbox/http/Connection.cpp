#include "sandbox/http/Connection.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>

namespace sandbox {
namespace {

constexpr int transferTimeoutMs = 30000;
constexpr std::size_t largestHeadBytes = 64 * 1024;
/// Answers up to this size leave with their head in one send.
constexpr std::size_t gatheredBytes = 64 * 1024;
constexpr std::string_view garbage = "220 mail.example is ready\r\n";

void describe(const sockaddr_in& address, std::string& ip, int& port)
{
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    ip = text;
    port = ntohs(address.sin_port);
}

} // namespace

Connection::Connection(int socket, int stopFd)
    : m_socket(socket)
    , m_stopFd(stopFd)
{
}

bool Connection::wait(short events, int timeoutMs) const
{
    pollfd fds[] = {{m_socket, events, 0}, {m_stopFd, POLLIN, 0}};
    int ready = 0;
    do
        ready = ::poll(fds, 2, timeoutMs);
    while (ready < 0 && errno == EINTR);
    return ready > 0 && fds[1].revents == 0;
}

bool Connection::pause(int ms) const
{
    pollfd stop = {m_stopFd, POLLIN, 0};
    return ::poll(&stop, 1, ms) == 0;
}

bool Connection::receive(int timeoutMs)
{
    if (m_inputUsed > 0) {
        m_input.erase(0, m_inputUsed);
        m_inputUsed = 0;
    }
    char block[16384];
    for (;;) {
        const ssize_t got = ::recv(m_socket, block, sizeof block, MSG_DONTWAIT);
        if (got > 0) {
            m_input.append(block, std::size_t(got));
            return true;
        }
        if (got == 0 || (errno != EAGAIN && errno != EINTR) || !wait(POLLIN, timeoutMs))
            return false;
    }
}

bool Connection::awaitRequest(int idleMs)
{
    std::size_t end = std::string::npos;
    while ((end = m_input.find("\r\n\r\n", m_inputUsed)) == std::string::npos) {
        if (m_input.size() - m_inputUsed > largestHeadBytes)
            break; // the server refuses it by itself
        if (!receive(idleMs))
            return false;
    }
    if (!pause(0))
        return false;
    recordId = 0;
    m_head = m_input.substr(m_inputUsed, end == std::string::npos ? 0 : end + 2 - m_inputUsed);
    return true;
}

bool Connection::is_readable() const
{
    return m_inputUsed < m_input.size() || wait(POLLIN, transferTimeoutMs);
}

bool Connection::is_writable() const
{
    return !m_broken;
}

ssize_t Connection::read(char* bytes, size_t size)
{
    if (m_inputUsed == m_input.size() && !receive(transferTimeoutMs))
        return -1;
    const std::size_t count = std::min(size, m_input.size() - m_inputUsed);
    std::memcpy(bytes, m_input.data() + m_inputUsed, count);
    m_inputUsed += count;
    return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* bytes, size_t size)
{
    if (m_fault.kind != WireFault::Kind::None || m_output.size() + size <= gatheredBytes) {
        m_output.append(bytes, size);
    } else {
        if (!send(m_output.data(), m_output.size(), MSG_MORE) || !send(bytes, size, 0))
            return -1;
        m_output.clear();
    }
    return static_cast<ssize_t>(size);
}

bool Connection::send(const char* bytes, std::size_t size, int flags)
{
    while (size > 0) {
        const ssize_t sent = ::send(m_socket, bytes, size, flags | MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            bytes += sent;
            size -= std::size_t(sent);
        } else if (sent == 0 || (errno != EAGAIN && errno != EINTR) || !wait(POLLOUT, transferTimeoutMs)) {
            m_broken = true;
            return false;
        }
    }
    return true;
}

bool Connection::finishAnswer()
{
    const bool kept =
        m_fault.kind == WireFault::Kind::None ? send(m_output.data(), m_output.size(), 0) : sendFaulty();
    m_output.clear();
    m_fault = {};
    return kept && !m_broken;
}

bool Connection::sendFaulty()
{
    const std::size_t blank = m_output.find("\r\n\r\n");
    const std::size_t headBytes = blank == std::string::npos ? m_output.size() : blank + 4;
    const std::size_t bodyBytes = m_output.size() - headBytes;
    const std::size_t allowed = std::min(bodyBytes, std::size_t(std::max<std::int64_t>(m_fault.bytes, 0)));
    switch (m_fault.kind) {
    case WireFault::Kind::None:
    case WireFault::Kind::Drop:
        return false;
    case WireFault::Kind::Truncate:
        send(m_output.data(), headBytes + allowed, 0);
        return false;
    case WireFault::Kind::Reset:
        if (m_fault.bytes >= 0)
            send(m_output.data(), headBytes + allowed, 0);
        resetOnClose();
        return false;
    case WireFault::Kind::Stall:
        send(m_output.data(), headBytes + allowed, 0);
        wait(POLLIN, -1);
        return false;
    case WireFault::Kind::Garbage:
        send(garbage.data(), garbage.size(), 0);
        return false;
    case WireFault::Kind::Drip:
        break;
    }
    const std::size_t slice = std::max<std::size_t>(std::size_t(std::max<std::int64_t>(m_fault.bytes, 1)), 1);
    if (!send(m_output.data(), headBytes, 0))
        return false;
    for (std::size_t at = headBytes; at < m_output.size(); at += slice) {
        if (!pause(m_fault.intervalMs) ||
            !send(m_output.data() + at, std::min(slice, m_output.size() - at), 0))
            return false;
    }
    return true;
}

void Connection::resetOnClose() const
{
    const linger now = {1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getpeername(m_socket, reinterpret_cast<sockaddr*>(&address), &size);
    describe(address, ip, port);
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size);
    describe(address, ip, port);
}

} // namespace sandbox
