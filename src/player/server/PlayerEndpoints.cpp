#include "player/server/PlayerEndpoints.h"

#include "player/play/PlayEngine.h"
#include "player/server/ContentCalls.h"
#include "player/server/PlayerJson.h"
#include "player/server/PlayerLink.h"
#include "player/server/ServerText.h"

#include <limits>

namespace {

constexpr int mostEntries = 100; // of one answer
constexpr qint64 longestTrackMs = 1000LL * 3600 * 1000;
constexpr int mostIds = std::numeric_limits<int>::max();

using Work = std::function<void(PlayEngine& engine)>;

const QString entryKey = QStringLiteral("entry");

Problem gone()
{
    return {409, serverText(QT_TRANSLATE_NOOP("PanelServer", "That entry is no longer in the queue."))};
}

Problem wrong(const char* source)
{
    return {400, serverText(source)};
}

ApiAnswer done(PlayerLink* player, const Work& work)
{
    player->run(work);
    return {204, {}};
}

/// Has something done with the queue, and tells how it is after that.
ApiAnswer changed(PlayerLink* player, int status, const Work& work)
{
    const auto answer = std::make_shared<QJsonObject>();
    player->run([work, answer](PlayEngine& engine) {
        work(engine);
        *answer = PlayerJson::queue(engine.queue().revision(), engine.queue().entries().size());
    });
    return {status, *answer};
}

int idFrom(const ApiRequest& request, const QString& key)
{
    return int(request.whole(key, 1, mostIds));
}

ApiAnswer queue(PlayerLink* player, const ApiRequest& request)
{
    const int from = request.number(QStringLiteral("from"), 0, mostIds - mostEntries);
    const int to = request.number(QStringLiteral("to"), from, from + mostEntries - 1);
    struct Copy
    {
        QVector<QueueEntry> entries;
        quint64 revision = 0;
    };
    const auto copy = std::make_shared<Copy>();
    player->run([copy](PlayEngine& engine) {
        copy->entries = engine.queue().entries();
        copy->revision = engine.queue().revision();
    });
    return {200, PlayerJson::entries(copy->entries, copy->revision, from, to, *request.language)};
}

ApiAnswer jump(PlayerLink* player, const ApiRequest& request)
{
    const int entry = idFrom(request, entryKey);
    return done(player, [entry](PlayEngine& engine) {
        if (!engine.jump(entry))
            throw gone();
    });
}

ApiAnswer seek(PlayerLink* player, const ApiRequest& request)
{
    const qint64 position = request.whole(QStringLiteral("positionMs"), 0, longestTrackMs);
    return done(player, [position](PlayEngine& engine) {
        if (!engine.status().canSeek)
            throw Problem(409, serverText(QT_TRANSLATE_NOOP("PanelServer", "There is nothing to seek in.")));
        engine.seek(position);
    });
}

ApiAnswer volume(PlayerLink* player, const ApiRequest& request)
{
    const bool hasPercent = request.body.contains(QStringLiteral("percent"));
    const bool hasMuted = request.body.contains(QStringLiteral("muted"));
    if (!hasPercent && !hasMuted)
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"percent\" or \"muted\" has to be given."));
    const int percent = hasPercent ? int(request.whole(QStringLiteral("percent"), 0, 100)) : 0;
    const bool muted = hasMuted && request.boolean(QStringLiteral("muted"));
    return done(player, [=](PlayEngine& engine) {
        if (hasPercent)
            engine.setVolume(percent);
        if (hasMuted)
            engine.setMuted(muted);
    });
}

ApiAnswer mode(PlayerLink* player, const ApiRequest& request)
{
    const bool hasRepeat = request.body.contains(QStringLiteral("repeat"));
    const bool hasShuffle = request.body.contains(QStringLiteral("shuffle"));
    RepeatMode repeat = RepeatMode::Off;
    if (!hasRepeat && !hasShuffle)
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"repeat\" or \"shuffle\" has to be given."));
    if (hasRepeat && !PlayerJson::read(request.text(QStringLiteral("repeat")), &repeat))
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"repeat\" has to be off, one or all."));
    const bool shuffle = hasShuffle && request.boolean(QStringLiteral("shuffle"));
    return done(player, [=](PlayEngine& engine) {
        if (hasRepeat)
            engine.setRepeat(repeat);
        if (hasShuffle)
            engine.setShuffled(shuffle);
    });
}

ApiAnswer add(PlayerLink* player, const ContentCalls* calls, const ApiRequest& request)
{
    PlayerLink::Addition addition;
    addition.container = calls->path(request.text(QStringLiteral("path")));
    addition.row = calls->known(addition.container);
    const QString from = QStringLiteral("from");
    const QString to = QStringLiteral("to");
    const QString startAt = QStringLiteral("startAt");
    if (request.body.contains(from))
        addition.from = int(request.whole(from, 0, mostIds - mostEntries));
    if (request.body.contains(to))
        addition.to = int(request.whole(to, addition.from, mostIds - mostEntries));
    if (request.body.contains(startAt))
        addition.startAt = int(request.whole(startAt, 0, mostIds - mostEntries));
    const QString where = request.text(QStringLiteral("where"));
    if (where == QLatin1String("replace"))
        addition.where = PlayQueue::Where::Replace;
    else if (where == QLatin1String("next"))
        addition.where = PlayQueue::Where::Next;
    else if (where != QLatin1String("end"))
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"where\" has to be replace, next or end."));
    player->add(addition);
    return changed(player, 202, [](PlayEngine&) {});
}

ApiAnswer move(PlayerLink* player, const ApiRequest& request)
{
    const QString beforeKey = QStringLiteral("before");
    const int entry = idFrom(request, entryKey);
    const bool toTheEnd = request.body.contains(beforeKey) && !request.body.value(beforeKey).isValid();
    const int before = toTheEnd ? 0 : idFrom(request, beforeKey);
    return changed(player, 200, [entry, before](PlayEngine& engine) {
        if (!engine.queue().move(entry, before))
            throw gone();
    });
}

ApiAnswer remove(PlayerLink* player, const ApiRequest& request)
{
    const QVariant list = request.body.value(QStringLiteral("entries"));
    QVector<int> ids;
    const QVariantList items = list.toList();
    for (const QVariant& item : items) {
        const bool isNumber = item.userType() == QMetaType::LongLong || item.userType() == QMetaType::Int;
        if (isNumber && item.toLongLong() >= 1 && item.toLongLong() <= mostIds)
            ids.append(item.toInt());
    }
    if (ids.isEmpty() || ids.size() != items.size())
        throw wrong(QT_TRANSLATE_NOOP("PanelServer", "\"entries\" has to be a list of entries' numbers."));
    return changed(player, 200, [ids](PlayEngine& engine) {
        if (!engine.queue().remove(ids))
            throw gone();
    });
}

} // namespace

QVector<Endpoint> playerEndpoints(PlayerLink* player, ContentCalls* calls)
{
    using Handler = ApiAnswer (*)(PlayerLink*, const ApiRequest&);
    using Operation = void (*)(PlayEngine&);
    QVector<Endpoint> list;
    const auto with = [&](const char* method, const char* path, Handler handler) {
        list.append({method, path, [=](const ApiRequest& request) { return handler(player, request); }});
    };
    const auto plain = [&](const char* path, Operation operation) {
        list.append({"POST", path, [=](const ApiRequest&) { return done(player, operation); }});
    };
    list.append({"GET", "/api/player", [=](const ApiRequest& request) {
                     const PlayerStatus status = player->status();
                     return ApiAnswer{200, PlayerJson::status(status, status.positionMs, *request.language)};
                 }});
    plain("/api/player/play", [](PlayEngine& engine) { engine.play(); });
    plain("/api/player/pause", [](PlayEngine& engine) { engine.pause(); });
    plain("/api/player/stop", [](PlayEngine& engine) { engine.stop(); });
    plain("/api/player/next", [](PlayEngine& engine) { engine.next(); });
    plain("/api/player/previous", [](PlayEngine& engine) { engine.previous(); });
    with("POST", "/api/player/jump", jump);
    with("POST", "/api/player/seek", seek);
    with("POST", "/api/player/volume", volume);
    with("POST", "/api/player/mode", mode);
    with("GET", "/api/player/queue", queue);
    list.append({"POST", "/api/player/queue/add",
                 [=](const ApiRequest& request) { return add(player, calls, request); }});
    with("POST", "/api/player/queue/move", move);
    with("POST", "/api/player/queue/remove", remove);
    list.append({"POST", "/api/player/queue/clear", [=](const ApiRequest&) {
                     return changed(player, 200, [](PlayEngine& engine) { engine.queue().clear(); });
                 }});
    return list;
}
