#pragma once

#include <chrono>
#include <functional>
#include <httplib.h>
#include <memory>
#include <string>
#include <string_view>

/// One accepted connection, used by one thread at a time. Reads the head of a request before anything else
/// looks at it, within a size and a time, and gathers an answer so that it leaves in one piece.
class Connection : public httplib::Stream
{
public:
    static constexpr std::size_t largestHeadBytes = 16 * 1024;

    enum class Head
    {
        Complete,
        TooLarge,
        None ///< the client has gone, or took too long
    };

    /// The socket is the connection's from then on.
    explicit Connection(int socket);
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Reads up to the end of a request's head. From now on the request has ten seconds to come whole.
    Head readHead();
    /// The beginning of the next request, as much as has come; does not block.
    std::string peek(std::size_t bytes) const;
    /// Whether the next request has begun to come together with the last one.
    bool hasInput() const { return m_inputUsed < m_input.size(); }
    /// Sends what is left of the answer; false when the connection is of no more use.
    bool finishAnswer();
    /// Nothing more is sent. What the client still sends can be read away with discard().
    void endAnswer() const;
    /// Throws away what has come; false when the client has ended too. Does not block.
    bool discard() const;
    /// Whether the client is still there; while its request is answered. Does not block.
    bool isOpen() const;
    /// Wakes the thread that waits for the client, from another thread.
    void interrupt() const;

    /// Set while a request is answered: takes the connection over once its answer has been sent.
    std::function<void(const std::shared_ptr<Connection>&)> takeOver;
    /// Set while a request is answered: the connection is not to be used for another one.
    bool closes = false;

    bool is_readable() const override;
    bool is_writable() const override { return !m_broken; }
    ssize_t read(char* bytes, size_t size) override;
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return m_socket; }

private:
    using Clock = std::chrono::steady_clock;

    bool wait(short events, Clock::time_point until) const;
    bool receive();
    bool send(const char* bytes, std::size_t size);

    int m_socket;
    std::string m_input;
    std::size_t m_inputUsed = 0;
    std::string m_output;
    Clock::time_point m_requestUntil;
    bool m_broken = false;
};
