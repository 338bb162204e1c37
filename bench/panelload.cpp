// Clients of the panel's server, as many as wanted, on one thread:
//   panelload requests PORT TARGET CONNECTIONS COUNT   prints requests per second
//   panelload hold PORT STREAMS IDLE USED              opens them, prints "ready", and holds them until its
//   input ends; of
//                                                      the idle connections, so many have had a response
//   panelload reach PORT STREAMS ROUNDS                prints the µs from a change of the volume until the
//   last of the
//                                                      streams has it: the median and the longest of the
//                                                      rounds
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

std::string host(int port)
{
    return "127.0.0.1:" + std::to_string(port);
}

int connected(int port)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("the server cannot be reached");
    return socket;
}

void send(int socket, const std::string& bytes)
{
    if (::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) != ssize_t(bytes.size()))
        throw std::runtime_error("the server takes nothing");
}

/// A connection and its received, unprocessed bytes.
struct Client
{
    int socket;
    std::string input;
};

std::string get(int port, const std::string& target)
{
    return "GET " + target + " HTTP/1.1\r\nHost: " + host(port) + "\r\n\r\n";
}

/// Waits for input on any of the clients, and gives those that have some.
class Watch
{
public:
    explicit Watch(std::vector<Client>* clients)
        : m_clients(clients)
        , m_epoll(::epoll_create1(EPOLL_CLOEXEC))
    {
        for (std::size_t i = 0; i < clients->size(); ++i) {
            epoll_event event{};
            event.events = EPOLLIN;
            event.data.u64 = i;
            ::epoll_ctl(m_epoll, EPOLL_CTL_ADD, clients->at(i).socket, &event);
        }
    }
    ~Watch() { ::close(m_epoll); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    std::vector<Client*> wait()
    {
        std::array<epoll_event, 128> events{};
        const int count = ::epoll_wait(m_epoll, events.data(), int(events.size()), 20000);
        if (count <= 0)
            throw std::runtime_error("the server does not answer");
        std::vector<Client*> ready;
        for (int i = 0; i < count; ++i) {
            Client* const client = &m_clients->at(events.at(std::size_t(i)).data.u64);
            std::array<char, 65536> bytes{};
            const ssize_t got = ::recv(client->socket, bytes.data(), bytes.size(), 0);
            if (got <= 0)
                throw std::runtime_error("the server has ended a connection");
            client->input.append(bytes.data(), std::size_t(got));
            ready.push_back(client);
        }
        return ready;
    }

private:
    std::vector<Client>* m_clients;
    int m_epoll;
};

/// Removes a complete response from the input; false if there is none yet.
bool takeResponse(std::string* input)
{
    const std::size_t head = input->find("\r\n\r\n");
    if (head == std::string::npos)
        return false;
    const std::string lines = input->substr(0, head);
    if (lines.compare(9, 1, "2") != 0)
        throw std::runtime_error("the server says " + lines.substr(0, 30));
    const std::size_t length = lines.find("ontent-Length: ");
    const std::size_t body =
        length == std::string::npos ? 0 : std::strtoul(lines.c_str() + length + 15, nullptr, 10);
    if (input->size() < head + 4 + body)
        return false;
    input->erase(0, head + 4 + body);
    return true;
}

void requests(int port, const std::string& target, int connections, int count)
{
    std::vector<Client> clients;
    for (int i = 0; i < connections; ++i)
        clients.push_back({connected(port), {}});
    Watch watch(&clients);
    const std::string request = get(port, target);
    const Clock::time_point began = Clock::now();
    int sent = 0;
    int answered = 0;
    for (const Client& client : clients) {
        send(client.socket, request);
        ++sent;
    }
    while (answered < count)
        for (Client* const client : watch.wait())
            while (takeResponse(&client->input)) {
                ++answered;
                if (sent < count) {
                    send(client->socket, request);
                    ++sent;
                }
            }
    std::printf("%.0f\n", count / std::chrono::duration<double>(Clock::now() - began).count());
}

std::vector<Client> streams(int port, int count)
{
    std::vector<Client> clients;
    for (int i = 0; i < count; ++i) {
        clients.push_back({connected(port), {}});
        send(clients.back().socket, get(port, "/api/events"));
    }
    Watch watch(&clients);
    const auto isFollowed = [](const Client& client) {
        return client.input.find("event: player") != std::string::npos &&
               client.input.find("event: queue") != std::string::npos;
    };
    while (!std::all_of(clients.cbegin(), clients.cend(), isFollowed))
        watch.wait();
    return clients;
}

void hold(int port, int streamCount, int idle, int used)
{
    const std::vector<Client> followers = streams(port, streamCount);
    std::vector<Client> others;
    for (int i = 0; i < idle; ++i)
        others.push_back({connected(port), {}});
    Watch watch(&others);
    for (int i = 0; i < used; ++i) {
        send(others.at(std::size_t(i)).socket, get(port, "/api/player"));
        while (!takeResponse(&others.at(std::size_t(i)).input))
            watch.wait();
    }
    std::puts("ready");
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
}

void reach(int port, int count, int rounds)
{
    std::vector<Client> followers = streams(port, count);
    Watch watch(&followers);
    const int setter = connected(port);
    std::vector<double> taken;
    for (int round = 0; round < rounds; ++round) {
        for (Client& one : followers)
            one.input.clear();
        const std::string percent = std::to_string(10 + round % 80);
        const std::string body = "{\"percent\":" + percent + "}";
        const std::string wanted = "\"volumePercent\":" + percent;
        const Clock::time_point began = Clock::now();
        send(setter, "POST /api/player/volume HTTP/1.1\r\nHost: " + host(port) +
                         "\r\nContent-Type: application/json\r\nContent-Length: " +
                         std::to_string(body.size()) + "\r\n\r\n" + body);
        while (!std::all_of(followers.cbegin(), followers.cend(), [&wanted](const Client& one) {
            return one.input.find(wanted) != std::string::npos;
        }))
            watch.wait();
        taken.push_back(std::chrono::duration<double, std::micro>(Clock::now() - began).count());
        std::array<char, 4096> answer{};
        if (::recv(setter, answer.data(), answer.size(), 0) <= 0)
            throw std::runtime_error("the volume was not set");
        ::usleep(50000); // changes in a row are reported together
    }
    std::sort(taken.begin(), taken.end());
    std::printf("%.0f %.0f\n", taken.at(taken.size() / 2), taken.back());
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    try {
        const int port = std::stoi(words.at(1));
        if (words.at(0) == "requests")
            requests(port, words.at(2), std::stoi(words.at(3)), std::stoi(words.at(4)));
        else if (words.at(0) == "hold")
            hold(port, std::stoi(words.at(2)), std::stoi(words.at(3)), std::stoi(words.at(4)));
        else
            reach(port, std::stoi(words.at(2)), std::stoi(words.at(3)));
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "panelload: %s\n", problem.what());
        return 1;
    }
    return 0;
}
