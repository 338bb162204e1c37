#pragma once

#include <cstdint>
#include <httplib.h>
#include <string>
#include <string_view>

namespace sandbox {

/// A fault in the transmission of a response, which itself is complete and correct.
struct WireFault
{
    enum class Kind
    {
        None,
        Drop,     ///< the connection closes before the first byte
        Truncate, ///< it closes in order after `bytes` of the body
        Reset, ///< it is reset (RST) after `bytes` of the body; before the first byte of all when `bytes` is
               ///< negative
        Drip,  ///< the body is sent in slices of `bytes`, `intervalMs` apart
        Stall, ///< nothing follows `bytes` of the body, and the connection stays open until the client has
               ///< had enough
        Garbage, ///< the response is not HTTP
    };
    Kind kind = Kind::None;
    std::int64_t bytes = 0;
    int intervalMs = 0;
};

/// One accepted connection, used by one thread. Reads a whole request head in advance, so that it can be
/// recorded exactly, and collects a response so that it is sent in one piece, or in the pieces of a fault.
/// Every wait ends when the stop descriptor becomes readable.
class Connection : public httplib::Stream
{
public:
    /// Owns neither descriptor.
    Connection(int socket, int stopFd);

    /// Waits for the head of the next request; false if the client disconnects or is silent for `idleMs`, or
    /// at shutdown.
    bool awaitRequest(int idleMs);
    /// The request line and header fields of the request being answered, up to the empty line.
    std::string_view head() const { return m_head; }

    void setWireFault(const WireFault& fault) { m_fault = fault; }
    const WireFault& wireFault() const { return m_fault; }
    /// Sends the rest of the response; false if the connection cannot be used again.
    bool finishAnswer();
    /// Waits; false if the server was stopped first.
    bool pause(int ms) const;

    std::uint64_t recordId =
        0; ///< of the request being answered, for the recorder's use; 0 when it is not recorded

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* bytes, size_t size) override;
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return m_socket; }

private:
    bool wait(short events, int timeoutMs) const;
    bool receive(int timeoutMs);
    bool send(const char* bytes, std::size_t size, int flags);
    bool sendFaulty();
    void resetOnClose() const;

    int m_socket;
    int m_stopFd;
    std::string m_head;
    std::string m_input;
    std::size_t m_inputUsed = 0;
    std::string m_output;
    WireFault m_fault;
    bool m_broken = false;
};

} // namespace sandbox
