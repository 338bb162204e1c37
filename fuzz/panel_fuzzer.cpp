// Requests of browsers: a route, its parameters and its body. The response is always a success or a problem
// with a sentence; it contains no secret, and blocked values are not changed.

#include "api/core/model/cmlistrowsnode.h"
#include "api/core/model/cmnodesworker.h"
#include "api/core/model/cmrootworker.h"
#include "api/core/model/cmvaluenode.h"
#include "fuzz/input.h"
#include "player/play/AudioOutput.h"
#include "player/play/PlayEngine.h"
#include "player/server/api/Api.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <gst/gst.h>

namespace {

const char* const secret = "s3cret-marker";

PelkValue login()
{
    PelkQobuzUserSession session;
    session.setUserName(QStringLiteral("listener"));
    session.setUserAuthToken(QString::fromLatin1(secret));
    PelkValue value;
    value.setQobuzUserSession(session);
    return value;
}

class Store : public CMValueStore
{
public:
    PelkValue read(const CMPath& /*path*/) const override { return login(); }
    bool write(const CMPath& path, const PelkValue& /*value*/, QString* /*error*/) override
    {
        require(path.base() == QLatin1String("open"), "What is closed is not set.");
        return true;
    }
};

/// Keeps the response to a request.
class Sink : public ResponseSink
{
public:
    void respond(HttpResponse response) override
    {
        require(!isAnswered, "A request has one response.");
        isAnswered = true;
        answer = std::move(response);
    }
    bool isOpen() const override { return !isAnswered; }
    void onGone(const std::function<void()>& gone) override { whenGone = gone; }

    bool isAnswered = false;
    HttpResponse answer;
    std::function<void()> whenGone;
};

Access::Options accessOf(const QTemporaryDir& folder)
{
    Access::Options options;
    options.folder = folder.path();
    return options;
}

/// The player without sound: its tracks lead nowhere.
struct Player
{
    Player()
        : worker({}, QStringLiteral("test"))
        , engine((gst_init(nullptr, nullptr), &output))
        , streams(Limits())
        , access(accessOf(folder), Limits())
        , api({QString(), {}, {CMPath(QStringLiteral("settings:closed"))}, {}, Limits()}, &engine, &streams,
              &access)
    {
        root.addWorker(&worker);
        root.keep(CMPath(QStringLiteral("settings:closed")), std::make_shared<Store>());
        root.keep(CMPath(QStringLiteral("settings:open")), std::make_shared<Store>());
        auto* list = CMListRowsNode::create(worker.nodes(), CMPath(QStringLiteral("test:")));
        list->rowsAppend(CMListRowsNode::create(worker.nodes(), CMPath(QStringLiteral("test:list")))->path());
        CMValueNode::create(worker.nodes(), CMPath(QStringLiteral("account:test")), nullptr)
            ->setValue(login());
    }

    QTemporaryDir folder;
    CMRootWorker root;
    CMNodesWorker worker;
    DeviceOutput output;
    PlayEngine engine;
    EventStreams streams;
    Access access;
    Api api;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    static auto* const player = new Player;
    const Route& route = player->api.routes().at(input.choice(player->api.routes().size()));
    HttpRequest request;
    request.method = route.method;
    request.peer.isLoopback = true;
    request.path = QString::fromLatin1(route.path);
    for (const QByteArray& param : input.line().split('&'))
        request.params.append(
            {QString::fromUtf8(QByteArray::fromPercentEncoding(param.split('=').value(0))),
             QString::fromUtf8(QByteArray::fromPercentEncoding(param.split('=').value(1)))});
    request.body = input.rest();
    QVector<PelkRoles> rows(3);
    player->engine.queue().add(rows, PlayQueue::Where::Replace);
    const auto sink = std::make_shared<Sink>();
    player->api.handle(request, sink);
    // By then the content model has replied; unanswered requests are abandoned.
    QCoreApplication::processEvents();
    if (!sink->isAnswered && sink->whenGone)
        sink->whenGone();
    const HttpResponse& answer = sink->answer;
    require(answer.status >= 200 && answer.status < 600, "A response is a success or a problem.");
    require(answer.status < 400 || answer.body.contains("\"detail\":\""), "A problem has a sentence.");
    require(!answer.body.contains(secret) || request.body.contains(secret), "No secret leaves.",
            QString::fromUtf8(answer.body));
    return 0;
}
