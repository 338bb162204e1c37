#include "player/cli/OwnPlayer.h"

#include "player/cli/About.h"

#include <QEventLoop>
#include <QJsonDocument>

namespace {

/// Keeps a response for the command that waits.
class Waiting : public ResponseSink
{
public:
    explicit Waiting(std::function<void()> answered)
        : m_answered(std::move(answered))
    {
    }
    void respond(HttpResponse response) override
    {
        if (m_response)
            return;
        m_response = std::make_unique<HttpResponse>(std::move(response));
        m_answered();
    }
    bool isOpen() const override { return !m_response; }
    void onGone(const std::function<void()>& /*gone*/) override {}
    const HttpResponse* response() const { return m_response.get(); }

private:
    std::function<void()> m_answered;
    std::unique_ptr<HttpResponse> m_response;
};

} // namespace

OwnPlayer::OwnPlayer(const std::function<QJsonObject()>& about)
    : m_streams(Limits())
    , m_api({QString(), {}, closedPaths(), about, Limits()}, nullptr, &m_streams, nullptr)
{
}

OwnPlayer::~OwnPlayer()
{
    m_api.end();
}

QVector<PlayerAnswer> OwnPlayer::ask(const QVector<PlayerRequest>& requests)
{
    QEventLoop loop;
    int waiting = requests.size();
    std::vector<std::shared_ptr<Waiting>> sinks;
    for (const PlayerRequest& request : requests) {
        sinks.push_back(std::make_shared<Waiting>([&loop, &waiting] {
            if (--waiting == 0)
                loop.quit();
        }));
        HttpRequest http;
        http.method = request.isPost ? "POST" : "GET";
        http.path = request.path;
        http.target = request.path.toUtf8();
        http.params = request.params;
        http.peer = {QByteArrayLiteral("local"), true, true};
        if (request.isPost)
            http.body = QJsonDocument(request.body).toJson(QJsonDocument::Compact);
        m_api.handle(http, sinks.back());
    }
    if (waiting > 0)
        loop.exec();
    QVector<PlayerAnswer> answers;
    for (const auto& sink : sinks)
        answers.append(answer(sink->response()->status, sink->response()->body));
    return answers;
}

bool OwnPlayer::follow(const Watcher& /*watcher*/, QString* error)
{
    *error = QStringLiteral("No player is running.");
    return false;
}
