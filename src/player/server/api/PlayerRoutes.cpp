#include "player/server/api/PlayerRoutes.h"

#include "player/host/ServiceAccount.h"
#include "player/play/PlayEngine.h"
#include "player/server/ServerText.h"
#include "player/server/api/ContentRequests.h"
#include "player/server/api/PlayerJson.h"
#include "player/server/api/QueueFilling.h"

#include <limits>

namespace {

constexpr int mostEntries = 100; // of one response
constexpr qint64 longestTrackMs = 1000LL * 3600 * 1000;
constexpr int mostIds = std::numeric_limits<int>::max();

Problem gone()
{
    return {409, serverText(QT_TRANSLATE_NOOP("PanelServer", "That entry is no longer in the queue."))};
}

Problem wrong(const char* source)
{
    return {400, serverText(source)};
}

void sendQueue(int status, PlayEngine& engine, const ApiResponder& responder)
{
    responder.send(status, PlayerJson::queue(engine.queue().revision(), engine.queue().entries().size()));
}

void status(PlayEngine& engine, const ApiRequest& request, const ApiResponder& responder)
{
    const PlayerStatus status = engine.status();
    responder.send(200, PlayerJson::status(status, status.positionMs, *request.language));
}

void jump(PlayEngine& engine, const ApiRequest& request, const ApiResponder& responder)
{
    if (!engine.jump(int(request.whole("entry"))))
        throw gone();
    responder.done();
}

void seek(PlayEngine& engine, const ApiRequest& request, const ApiResponder& responder)
{
    if (request.has("positionMs") == request.has("byMs"))
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "Either \"positionMs\" or \"byMs\" is required."));
    if (!engine.status().canSeek)
        throw Problem(409, serverText(QT_TRANSLATE_NOOP("PanelServer", "Seeking is not possible now.")));
    if (request.has("byMs"))
        engine.seekBy(request.whole("byMs"));
    else
        engine.seek(request.whole("positionMs"));
    responder.done();
}

void volume(PlayEngine& engine, const ApiRequest& request, const ApiResponder& responder)
{
    if (!request.has("percent") && !request.has("muted"))
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"percent\" or \"muted\" is required."));
    if (request.has("percent"))
        engine.setVolume(int(request.whole("percent")));
    if (request.has("muted"))
        engine.setMuted(request.flag("muted"));
    responder.done();
}

void mode(PlayEngine& engine, const ApiRequest& request, const ApiResponder& responder)
{
    RepeatMode repeat = RepeatMode::Off;
    if (!request.has("repeat") && !request.has("shuffle"))
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"repeat\" or \"shuffle\" is required."));
    if (request.has("repeat") && !PlayerJson::read(request.text("repeat"), &repeat))
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"repeat\" must be off, one or all."));
    if (request.has("repeat"))
        engine.setRepeat(repeat);
    if (request.has("shuffle"))
        engine.setShuffled(request.flag("shuffle"));
    responder.done();
}

void queue(PlayEngine& engine, const ApiRequest& request, const ApiResponder& responder)
{
    const int from = request.number(QStringLiteral("from"), 0, mostIds - mostEntries);
    const int to = request.number(QStringLiteral("to"), from, from + mostEntries - 1);
    responder.send(200, PlayerJson::entries(engine.queue().entries(), engine.queue().revision(), from, to,
                                            *request.language));
}

QVector<int> entriesOf(const ApiRequest& request)
{
    QVector<int> ids;
    const QVariantList items = request.body.value(QStringLiteral("entries")).toList();
    for (const QVariant& item : items)
        ids.append(item.toInt());
    return ids;
}

void move(PlayEngine& engine, const ApiRequest& request, const ApiResponder& responder)
{
    if (request.has("entry") == request.has("entries"))
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "Either \"entry\" or \"entries\" is required."));
    const QVector<int> ids =
        request.has("entry") ? QVector<int>{int(request.whole("entry"))} : entriesOf(request);
    if (!engine.queue().move(ids, int(request.whole("before"))))
        throw gone();
    sendQueue(200, engine, responder);
}

void undo(PlayEngine& engine, const ApiRequest& /*request*/, const ApiResponder& responder)
{
    if (!engine.undo())
        throw Problem(409, serverText(QT_TRANSLATE_NOOP("PanelServer", "There is nothing to undo.")));
    sendQueue(200, engine, responder);
}

void sleep(PlayEngine& engine, const ApiRequest& request, const ApiResponder& responder)
{
    const QString at = request.text("at");
    if (request.has("minutes") == request.has("at"))
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "Either \"minutes\" or \"at\" is required."));
    if (request.has("minutes"))
        engine.sleepAfterMinutes(int(request.whole("minutes")));
    else if (at == QLatin1String("track"))
        engine.sleepAtEndOfTrack();
    else if (at == QLatin1String("queue"))
        engine.sleepAtEndOfQueue();
    else if (at == QLatin1String("off"))
        engine.cancelSleep();
    else
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"at\" must be off, track or queue."));
    responder.done();
}

void remove(PlayEngine& engine, const ApiRequest& request, const ApiResponder& responder)
{
    if (!engine.queue().remove(entriesOf(request)))
        throw gone();
    sendQueue(200, engine, responder);
}

void clear(PlayEngine& engine, const ApiRequest& /*request*/, const ApiResponder& responder)
{
    engine.queue().clear();
    sendQueue(200, engine, responder);
}

/// A track that is named by its path alone.
void addTrack(PlayEngine& engine, const PelkRoles& track, PlayQueue::Where where)
{
    const QVector<int> ids = engine.queue().add({track}, where);
    if (where == PlayQueue::Where::Replace && !ids.isEmpty())
        engine.jump(ids.first());
}

void add(PlayEngine& engine, QueueFilling& filling, const ContentRequests& contentRequests,
         const ApiRequest& request, const ApiResponder& responder)
{
    QueueFilling::Addition addition;
    addition.container = contentRequests.path(request.text("path"));
    addition.row = contentRequests.known(addition.container);
    addition.from = int(request.whole("from"));
    addition.to = int(request.whole("to", addition.to));
    addition.startAt = int(request.whole("startAt"));
    if (addition.to >= 0 && addition.to < addition.from)
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"to\" must not be before \"from\"."));
    const QString where = request.text("where");
    if (where == QLatin1String("replace"))
        addition.where = PlayQueue::Where::Replace;
    else if (where == QLatin1String("next"))
        addition.where = PlayQueue::Where::Next;
    else if (where != QLatin1String("end"))
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"where\" must be replace, next or end."));
    if (const PelkRoles track = ServiceAccount::trackRow(addition.container); !track.isEmpty())
        addTrack(engine, track, addition.where);
    else
        filling.add(addition);
    sendQueue(202, engine, responder);
}

} // namespace

QVector<Route> playerRoutes(PlayEngine* engine, QueueFilling* filling, const ContentRequests* contentRequests)
{
    using Kind = Field::Kind;
    using Operation = void (PlayEngine::*)();
    using Handler = void (*)(PlayEngine&, const ApiRequest&, const ApiResponder&);
    const auto plain = [engine](Operation operation) {
        return [engine, operation](const ApiRequest&, const ApiResponder& responder) {
            (engine->*operation)();
            responder.done();
        };
    };
    const auto with = [engine](Handler handler) {
        return [engine, handler](const ApiRequest& request, const ApiResponder& responder) {
            handler(*engine, request, responder);
        };
    };
    const Field entry{"entry", Kind::Whole, true, 1, mostIds};
    const Field percent{"percent", Kind::Whole, false, 0, 100};
    const Field before{"before", Kind::WholeOrNull, true, 1, mostIds};
    const QVector<Field> addition{{"path", Kind::Text},
                                  {"from", Kind::Whole, false, 0, mostIds - mostEntries},
                                  {"to", Kind::Whole, false, 0, mostIds - mostEntries},
                                  {"startAt", Kind::Whole, false, 0, mostIds - mostEntries},
                                  {"where", Kind::Text}};
    return {
        {"GET", "/api/player", {}, with(status)},
        {"POST", "/api/player/play", {}, plain(&PlayEngine::play)},
        {"POST", "/api/player/pause", {}, plain(&PlayEngine::pause)},
        {"POST", "/api/player/stop", {}, plain(&PlayEngine::stop)},
        {"POST", "/api/player/next", {}, plain(&PlayEngine::next)},
        {"POST", "/api/player/previous", {}, plain(&PlayEngine::previous)},
        {"POST", "/api/player/jump", {entry}, with(jump)},
        {"POST",
         "/api/player/seek",
         {{"positionMs", Kind::Whole, false, 0, longestTrackMs},
          {"byMs", Kind::Whole, false, -longestTrackMs, longestTrackMs}},
         with(seek)},
        {"POST", "/api/player/volume", {percent, {"muted", Kind::Flag, false}}, with(volume)},
        {"POST",
         "/api/player/mode",
         {{"repeat", Kind::Text, false}, {"shuffle", Kind::Flag, false}},
         with(mode)},
        {"GET", "/api/player/queue", {}, with(queue)},
        {"POST", "/api/player/queue/add", addition,
         [=](const ApiRequest& request, const ApiResponder& responder) {
             add(*engine, *filling, *contentRequests, request, responder);
         }},
        {"POST",
         "/api/player/sleep",
         {{"minutes", Kind::Whole, false, 1, SleepTimer::mostMinutes}, {"at", Kind::Text, false}},
         with(sleep)},
        {"POST",
         "/api/player/queue/move",
         {{"entry", Kind::Whole, false, 1, mostIds}, {"entries", Kind::Ids, false, 1, mostIds}, before},
         with(move)},
        {"POST", "/api/player/queue/undo", {}, with(undo)},
        {"POST", "/api/player/queue/remove", {{"entries", Kind::Ids, true, 1, mostIds}}, with(remove)},
        {"POST", "/api/player/queue/clear", {}, with(clear)},
    };
}
