#pragma once

#include <QHash>
#include <QObject>
#include <QTimer>
#include <curl/curl.h>

#include <functional>

class QSocketNotifier;

/// Runs libcurl transfers on the event loop of its thread: Qt's notifiers and a timer wait for the sockets
/// and times that libcurl requests. Internal to the HTTP client.
class CurlLoop
{
public:
    /// Called for each finished transfer after it was removed; may add and remove transfers.
    using Finished = std::function<void(CURL*, CURLcode)>;
    /// Called at the end of each round of the event loop with activity; may delete the loop.
    using Settled = std::function<void()>;

    CurlLoop(Finished finished, Settled settled);
    /// Remove every transfer first.
    ~CurlLoop();
    CurlLoop(const CurlLoop&) = delete;
    CurlLoop& operator=(const CurlLoop&) = delete;

    /// Adds a transfer; false if libcurl refuses the handle.
    bool add(CURL* transfer);
    /// Runs libcurl now, so that a request is sent without waiting for the event loop. May call Finished.
    void start();
    /// Removes a transfer without calling Finished.
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
