#include "api/http/curlloop.h"

#include <QSocketNotifier>

#include <utility>

namespace {

/// Connections kept open. Those in use count too: with more requests at once than this, each would open its
/// own.
constexpr long keptConnections = 64;

} // namespace

CurlLoop::CurlLoop(Finished finished, Settled settled)
    : m_finished(std::move(finished))
    , m_settled(std::move(settled))
    , m_multi(curl_multi_init())
{
    Q_ASSERT(m_multi);
    m_timer.setSingleShot(true);
    // A coarse timer may fire early, and libcurl would have to be woken twice.
    m_timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { onEvent(CURL_SOCKET_TIMEOUT, 0); });
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETFUNCTION, &CurlLoop::onSocket);
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERFUNCTION, &CurlLoop::onTimer);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERDATA, this);
    curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, keptConnections);
}

CurlLoop::~CurlLoop()
{
    curl_multi_cleanup(m_multi);
}

bool CurlLoop::add(CURL* transfer)
{
    return curl_multi_add_handle(m_multi, transfer) == CURLM_OK;
}

void CurlLoop::start()
{
    if (m_timer.isActive() && m_timer.interval() == 0)
        act(CURL_SOCKET_TIMEOUT, 0);
}

void CurlLoop::remove(CURL* transfer)
{
    curl_multi_remove_handle(m_multi, transfer);
}

int CurlLoop::onSocket(CURL*, curl_socket_t socket, int what, void* self, void*)
{
    static_cast<CurlLoop*>(self)->watch(socket, what);
    return 0;
}

int CurlLoop::onTimer(CURLM*, long timeoutMs, void* self)
{
    QTimer& timer = static_cast<CurlLoop*>(self)->m_timer;
    if (timeoutMs < 0)
        timer.stop();
    else
        timer.start(static_cast<int>(timeoutMs));
    return 0;
}

void CurlLoop::watch(curl_socket_t socket, int what)
{
    Watch& watch = m_watches[socket];
    if (!watch.read && what != CURL_POLL_REMOVE) {
        // Kept for the next socket of this number: libcurl lets go of a socket after each request, and this
        // may run inside the signal of the notifier itself. A switched-off notifier is not polled, so it may
        // outlive its socket.
        const auto make = [this, socket](QSocketNotifier::Type type, int event) {
            auto* notifier = new QSocketNotifier(socket, type, &m_notifiers);
            QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                             [this, socket, event] { onEvent(socket, event); });
            return notifier;
        };
        watch.read = make(QSocketNotifier::Read, CURL_CSELECT_IN);
        watch.write = make(QSocketNotifier::Write, CURL_CSELECT_OUT);
    }
    if (!watch.read)
        return;
    watch.read->setEnabled(what == CURL_POLL_IN || what == CURL_POLL_INOUT);
    watch.write->setEnabled(what == CURL_POLL_OUT || what == CURL_POLL_INOUT);
}

void CurlLoop::onEvent(curl_socket_t socket, int events)
{
    act(socket, events);
    const Settled settled = m_settled; // it may delete this
    settled();
}

void CurlLoop::act(curl_socket_t socket, int events)
{
    int running = 0;
    curl_multi_socket_action(m_multi, socket, events, &running);
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(m_multi, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        CURL* transfer = message->easy_handle;
        const CURLcode code = message->data.result;
        curl_multi_remove_handle(m_multi, transfer);
        m_finished(transfer, code);
    }
}
