#pragma once

#include <QHash>
#include <QObject>
#include <QTimer>
#include <curl/curl.h>

#include <functional>

class QSocketNotifier;

/// Runs libcurl transfers on the event loop of the thread that creates it: libcurl names the sockets and the
/// time it waits for, Qt's notifiers and a timer wait for them. Internal to the HTTP client.
class CurlLoop
{
public:
    /// Told of each transfer that ended, when it has left the loop; may add and remove transfers.
    using Finished = std::function<void(CURL*, CURLcode)>;
    /// Told in each round of the event loop in which something happened, at its end; may delete the loop.
    using Settled = std::function<void()>;

    CurlLoop(Finished finished, Settled settled);
    /// Every transfer has to be removed before.
    ~CurlLoop();
    CurlLoop(const CurlLoop&) = delete;
    CurlLoop& operator=(const CurlLoop&) = delete;

    /// Takes a transfer in; false when libcurl refuses the handle.
    bool add(CURL* transfer);
    /// Lets libcurl do at once what it would do at once: a request leaves without a round of the event loop.
    /// May tell of transfers that ended.
    void start();
    /// Stops a transfer without a word.
    void remove(CURL* transfer);

private:
    struct Watch
    {
        QSocketNotifier* read = nullptr;
        QSocketNotifier* write = nullptr;
    };

    static int onSocket(CURL* transfer, curl_socket_t socket, int what, void* self, void* unused);
    static int onTimer(CURLM* multi, long timeoutMs, void* self);
    void watch(curl_socket_t socket, int what);
    void onEvent(curl_socket_t socket, int events);
    void act(curl_socket_t socket, int events);

    Finished m_finished;
    Settled m_settled;
    CURLM* m_multi;
    QTimer m_timer;
    QObject m_notifiers; ///< their parent
    QHash<curl_socket_t, Watch> m_watches;
};
