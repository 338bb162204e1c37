// Requests of browsers: an endpoint, its parameters and its body. Whatever they are, the answer is one, or a
// problem with a sentence; nothing secret is in it, and what is closed stays as it was.

#include "api/core/model/cmlistrowsnode.h"
#include "api/core/model/cmnodesworker.h"
#include "api/core/model/cmrootworker.h"
#include "api/core/model/cmvaluenode.h"
#include "fuzz/input.h"
#include "player/play/AudioOutput.h"
#include "player/play/PlayEngine.h"
#include "player/server/ContentCalls.h"
#include "player/server/ContentEndpoints.h"
#include "player/server/EventStreams.h"
#include "player/server/PlayerEndpoints.h"
#include "player/server/PlayerLink.h"

#include <QJsonDocument>
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

constexpr int heartbeatMs = 15000;

/// The player without sound: its tracks lead nowhere.
struct Player
{
    Player()
        : worker({}, QStringLiteral("test"))
        , engine((gst_init(nullptr, nullptr), &output))
        , events(heartbeatMs)
        , link(&engine, &events)
        , translations(QStringList())
        , calls({CMPath(QStringLiteral("settings:closed"))}, 0, [] { return true; })
    {
        root.addWorker(&worker);
        root.keep(CMPath(QStringLiteral("settings:closed")), std::make_shared<Store>());
        root.keep(CMPath(QStringLiteral("settings:open")), std::make_shared<Store>());
        auto* list = CMListRowsNode::create(worker.nodes(), CMPath(QStringLiteral("test:")));
        list->rowsAppend(CMListRowsNode::create(worker.nodes(), CMPath(QStringLiteral("test:list")))->path());
        CMValueNode::create(worker.nodes(), CMPath(QStringLiteral("account:test")), nullptr)
            ->setValue(login());
        endpoints = contentEndpoints(&calls) + playerEndpoints(&link, &calls);
    }

    CMRootWorker root;
    CMNodesWorker worker;
    DeviceOutput output;
    PlayEngine engine;
    EventStreams events;
    PlayerLink link;
    Translations translations;
    ContentCalls calls;
    QVector<Endpoint> endpoints;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    static auto* const player = new Player;
    const Endpoint& endpoint = player->endpoints.at(input.choice(player->endpoints.size()));
    ApiRequest request;
    request.language = player->translations.find(QStringLiteral("en"));
    for (const QByteArray& param : input.line().split('&'))
        request.params.append(
            {QString::fromUtf8(QByteArray::fromPercentEncoding(param.split('=').value(0))),
             QString::fromUtf8(QByteArray::fromPercentEncoding(param.split('=').value(1)))});
    QVector<PelkRoles> rows(3);
    player->engine.queue().add(rows, PlayQueue::Where::Replace);
    QByteArray answer;
    try {
        if (endpoint.method == "POST")
            request.readBody(input.rest());
        const ApiAnswer given = endpoint.handler(request);
        require(given.status >= 200 && given.status < 300, "An answer is a success.");
        answer = QJsonDocument(given.body).toJson();
    } catch (const Problem& problem) {
        require(problem.status >= 400 && problem.status < 600, "A problem is one.");
        answer = problem.json(*request.language);
        require(!request.language->text(problem.detail).isEmpty(), "A problem has a sentence.");
    }
    require(!answer.contains(secret) || input.rest().contains(secret), "No secret leaves.",
            QString::fromUtf8(answer));
    QCoreApplication::processEvents();
    return 0;
}
