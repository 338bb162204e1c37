#include "player/cli/RunningPlayer.h"

#include "player/host/PlayerLock.h"
#include "player/server/http/SocketFile.h"

#include <QJsonDocument>
#include <QThread>
#include <QUrl>
#include <curl/curl.h>

#include <cerrno>
#include <unistd.h>

namespace {

constexpr int pollMs = 1000;
constexpr int startPollMs = 20;

QByteArray urlOf(const PlayerRequest& request)
{
    QByteArray url = "http://pelk" + request.path.toUtf8();
    char separator = '?';
    for (const auto& [name, value] : request.params) {
        url += separator + name.toUtf8() + '=' + QUrl::toPercentEncoding(value);
        separator = '&';
    }
    return url;
}

size_t append(char* bytes, size_t /*one*/, size_t size, void* closure)
{
    static_cast<QByteArray*>(closure)->append(bytes, int(size));
    return size;
}

} // namespace

/// One request, and what came for it.
class RunningPlayer::Transfer
{
public:
    Transfer(const QByteArray& socketName, const PlayerRequest& request, int limitMs)
        : m_handle(curl_easy_init())
    {
        set(CURLOPT_URL, urlOf(request).constData());
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_PROXY, "");
        set(CURLOPT_UNIX_SOCKET_PATH, socketName.constData());
        set(CURLOPT_WRITEFUNCTION, &append);
        set(CURLOPT_WRITEDATA, &m_body);
        set(CURLOPT_TIMEOUT_MS, long(limitMs));
        if (!request.isPost)
            return;
        m_headers = curl_slist_append(m_headers, "Content-Type: application/json");
        set(CURLOPT_HTTPHEADER, m_headers);
        const QByteArray body = QJsonDocument(request.body).toJson(QJsonDocument::Compact);
        set(CURLOPT_POSTFIELDSIZE, long(body.size()));
        set(CURLOPT_COPYPOSTFIELDS, body.constData());
    }
    ~Transfer()
    {
        curl_easy_cleanup(m_handle);
        curl_slist_free_all(m_headers);
    }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    template <typename Value>
    void set(CURLoption option, Value value)
    {
        curl_easy_setopt(m_handle, option, value);
    }
    CURL* handle() const { return m_handle; }
    long status() const
    {
        long status = 0;
        curl_easy_getinfo(m_handle, CURLINFO_RESPONSE_CODE, &status);
        return status;
    }
    const QByteArray& body() const { return m_body; }

private:
    CURL* m_handle;
    curl_slist* m_headers = nullptr;
    QByteArray m_body;
};

namespace {

/// Takes the stream apart into events.
class EventReader
{
public:
    explicit EventReader(const PlayerConnection::Watcher& watcher)
        : m_watcher(watcher)
    {
    }
    bool wantsMore() const { return m_wantsMore; }

    static size_t read(char* bytes, size_t /*one*/, size_t size, void* closure)
    {
        auto* const reader = static_cast<EventReader*>(closure);
        reader->m_text.append(bytes, int(size));
        for (int end = 0; reader->m_wantsMore && (end = reader->m_text.indexOf("\n\n")) >= 0;) {
            const QByteArray text = reader->m_text.left(end);
            reader->m_text.remove(0, end + 2);
            reader->take(text);
        }
        return reader->m_wantsMore ? size : 0;
    }
    static int pass(void* closure, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
    {
        auto* const reader = static_cast<EventReader*>(closure);
        reader->m_wantsMore = reader->m_wantsMore && reader->m_watcher(QString(), QJsonObject());
        return reader->m_wantsMore ? 0 : 1;
    }

private:
    void take(const QByteArray& text)
    {
        QByteArray event;
        QByteArray data;
        const QList<QByteArray> lines = text.split('\n');
        for (const QByteArray& line : lines) {
            if (line.startsWith("event: "))
                event = line.mid(7);
            else if (line.startsWith("data: "))
                data = line.mid(6);
        }
        if (!event.isEmpty())
            m_wantsMore = m_watcher(QString::fromUtf8(event), QJsonDocument::fromJson(data).object());
    }

    const PlayerConnection::Watcher& m_watcher;
    QByteArray m_text;
    bool m_wantsMore = true;
};

} // namespace

std::unique_ptr<RunningPlayer> RunningPlayer::find(const QString& socketFile, const QString& stateFolder,
                                                   const Patience& patience, QString* error)
{
    const auto at = [&patience](const QString& file) -> std::unique_ptr<RunningPlayer> {
        const int socket = SocketFile::connect(file);
        if (socket < 0)
            return nullptr;
        ::close(socket);
        return std::make_unique<RunningPlayer>(file, patience.answerMs);
    };
    if (!socketFile.isEmpty()) {
        std::unique_ptr<RunningPlayer> player = at(socketFile);
        if (!player)
            *error =
                QStringLiteral("No player can be reached at %1: %2.").arg(socketFile, qt_error_string(errno));
        return player;
    }
    std::optional<PlayerLock::Holder> holder = PlayerLock::holder(stateFolder);
    for (int waited = 0; holder && holder->socketFile.isEmpty() && waited < patience.startMs;
         waited += startPollMs) {
        QThread::msleep(startPollMs);
        holder = PlayerLock::holder(stateFolder);
    }
    if (!holder)
        return at(SocketFile::systemFile());
    std::unique_ptr<RunningPlayer> player = at(holder->socketFile);
    if (!player)
        *error = QStringLiteral("The player is running (%1), but cannot be reached at its socket file "
                                "\"%2\": %3. Start it again.")
                     .arg(holder->toString(), holder->socketFile, qt_error_string(errno));
    return player;
}

RunningPlayer::RunningPlayer(const QString& socketFile, int answerMs)
    : m_folder(SocketFile::openFolder(socketFile))
    , m_socketName(SocketFile::shortName(socketFile, m_folder))
    , m_answerMs(answerMs)
    , m_multi(curl_multi_init())
{
}

RunningPlayer::~RunningPlayer()
{
    curl_multi_cleanup(m_multi);
    ::close(m_folder);
}

QVector<PlayerAnswer> RunningPlayer::ask(const QVector<PlayerRequest>& requests)
{
    std::vector<std::unique_ptr<Transfer>> transfers;
    for (const PlayerRequest& request : requests) {
        transfers.push_back(std::make_unique<Transfer>(m_socketName, request, m_answerMs));
        curl_multi_add_handle(m_multi, transfers.back()->handle());
    }
    int running = 0;
    while (curl_multi_perform(m_multi, &running) == CURLM_OK && running > 0)
        curl_multi_poll(m_multi, nullptr, 0, pollMs, nullptr);
    QVector<PlayerAnswer> answers;
    for (const auto& transfer : transfers) {
        curl_multi_remove_handle(m_multi, transfer->handle());
        answers.append(answer(int(transfer->status()), transfer->body()));
    }
    return answers;
}

bool RunningPlayer::follow(const Watcher& watcher, QString* error)
{
    EventReader reader(watcher);
    Transfer transfer(m_socketName, {QStringLiteral("/api/events")}, 0);
    transfer.set(CURLOPT_WRITEFUNCTION, &EventReader::read);
    transfer.set(CURLOPT_WRITEDATA, &reader);
    transfer.set(CURLOPT_XFERINFOFUNCTION, &EventReader::pass);
    transfer.set(CURLOPT_XFERINFODATA, &reader);
    transfer.set(CURLOPT_NOPROGRESS, 0L);
    curl_easy_perform(transfer.handle());
    if (!reader.wantsMore())
        return true;
    *error = transfer.status() == 0 || transfer.status() == 200
                 ? QStringLiteral("The player has ended.")
                 : QStringLiteral("Too many programs follow the player (%1).").arg(transfer.status());
    return false;
}
