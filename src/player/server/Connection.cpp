#include "player/server/Connection.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds requestLimit(10);
constexpr std::chrono::seconds answerLimit(30);
/// Answers up to this size leave with their head in one send.
constexpr std::size_t gatheredBytes = 64 * 1024;

} // namespace

Connection::Connection(int socket)
    : m_socket(socket)
{
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Connection::~Connection()
{
    ::close(m_socket);
}

bool Connection::wait(short events, Clock::time_point until) const
{
    pollfd poll = {m_socket, events, 0};
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now());
        const int ready = ::poll(&poll, 1, int(std::max<std::int64_t>(left.count(), 0)));
        if (ready >= 0 || errno != EINTR)
            return ready > 0;
    }
}

bool Connection::receive()
{
    m_input.erase(0, m_inputUsed);
    m_inputUsed = 0;
    char block[16384];
    for (;;) {
        const ssize_t got = ::recv(m_socket, block, sizeof block, MSG_DONTWAIT);
        if (got > 0) {
            m_input.append(block, std::size_t(got));
            return true;
        }
        if (got == 0 || (errno != EAGAIN && errno != EINTR) || !wait(POLLIN, m_requestUntil))
            return false;
    }
}

Connection::Head Connection::readHead()
{
    m_requestUntil = Clock::now() + requestLimit;
    closes = false;
    takeOver = nullptr;
    for (;;) {
        const std::size_t end = m_input.find("\r\n\r\n", m_inputUsed);
        if (end != std::string::npos && end - m_inputUsed <= largestHeadBytes)
            return Head::Complete;
        if (m_input.size() - m_inputUsed > largestHeadBytes)
            return Head::TooLarge;
        if (!receive())
            return Head::None;
    }
}

std::string Connection::peek(std::size_t bytes) const
{
    if (hasInput())
        return m_input.substr(m_inputUsed, bytes);
    std::string text(bytes, '\0');
    const ssize_t got = ::recv(m_socket, text.data(), bytes, MSG_PEEK | MSG_DONTWAIT);
    text.resize(std::size_t(std::max<ssize_t>(got, 0)));
    return text;
}

bool Connection::finishAnswer()
{
    const bool sent = send(m_output.data(), m_output.size());
    m_output.clear();
    return sent;
}

void Connection::endAnswer() const
{
    ::shutdown(m_socket, SHUT_WR);
}

bool Connection::discard() const
{
    char block[4096];
    for (;;) {
        const ssize_t got = ::recv(m_socket, block, sizeof block, MSG_DONTWAIT);
        if (got <= 0)
            return got < 0 && (errno == EAGAIN || errno == EINTR);
    }
}

bool Connection::isOpen() const
{
    char byte = 0;
    const ssize_t got = ::recv(m_socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return got > 0 || (got < 0 && (errno == EAGAIN || errno == EINTR));
}

void Connection::interrupt() const
{
    ::shutdown(m_socket, SHUT_RD);
}

bool Connection::is_readable() const
{
    return hasInput() || wait(POLLIN, m_requestUntil);
}

ssize_t Connection::read(char* bytes, size_t size)
{
    // The client may wait for a word before it sends the body.
    if (!hasInput() && ((!m_output.empty() && !finishAnswer()) || !receive()))
        return -1;
    const std::size_t count = std::min(size, m_input.size() - m_inputUsed);
    std::memcpy(bytes, m_input.data() + m_inputUsed, count);
    m_inputUsed += count;
    return ssize_t(count);
}

ssize_t Connection::write(const char* bytes, size_t size)
{
    if (m_output.size() + size <= gatheredBytes) {
        m_output.append(bytes, size);
        return ssize_t(size);
    }
    const bool sent = send(m_output.data(), m_output.size()) && send(bytes, size);
    m_output.clear();
    return sent ? ssize_t(size) : -1;
}

bool Connection::send(const char* bytes, std::size_t size)
{
    const Clock::time_point until = Clock::now() + answerLimit;
    while (size > 0 && !m_broken) {
        const ssize_t sent = ::send(m_socket, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            bytes += sent;
            size -= std::size_t(sent);
        } else if ((errno != EAGAIN && errno != EINTR) || !wait(POLLOUT, until)) {
            m_broken = true;
        }
    }
    return !m_broken;
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const
{
    ip.clear(); // nobody asks who it is
    port = 0;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const
{
    ip.clear();
    port = 0;
}
