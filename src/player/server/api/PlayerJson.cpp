#include "player/server/api/PlayerJson.h"

#include "player/server/api/ApiJson.h"

#include <QJsonArray>

#include <array>
#include <utility>

namespace {

const std::array<std::pair<RepeatMode, const char*>, 3> repeatWords{
    {{RepeatMode::Off, "off"}, {RepeatMode::One, "one"}, {RepeatMode::All, "all"}}};

QJsonValue formatOf(const PlayerStatus& status)
{
    if (status.format.codec.isEmpty())
        return QJsonValue::Null;
    return QJsonObject{{QStringLiteral("mimeType"), status.mimeType},
                       {QStringLiteral("codec"), status.format.codec},
                       {QStringLiteral("bits"), status.format.bits},
                       {QStringLiteral("rateHz"), status.format.rateHz},
                       {QStringLiteral("bitRate"), status.format.bitRate},
                       {QStringLiteral("text"), status.format.toString()},
                       {QStringLiteral("lowerThanAsked"), status.lowerThanAsked}};
}

QJsonValue sleep(const PlayerStatus& status)
{
    switch (status.sleep) {
    case SleepTimer::Kind::Time:
        return QJsonObject{{QStringLiteral("at"), QStringLiteral("time")},
                           {QStringLiteral("leftMs"), status.sleepLeftMs}};
    case SleepTimer::Kind::EndOfTrack:
        return QJsonObject{{QStringLiteral("at"), QStringLiteral("track")}};
    case SleepTimer::Kind::EndOfQueue:
        return QJsonObject{{QStringLiteral("at"), QStringLiteral("queue")}};
    case SleepTimer::Kind::Off:
        break;
    }
    return QJsonValue::Null;
}

} // namespace

QJsonObject PlayerJson::status(const PlayerStatus& status, qint64 positionMs, const Language& language)
{
    const bool hasEntry = status.entry != 0;
    return {
        {QStringLiteral("state"), PelkPlayLogicState::toString(status.state)},
        {QStringLiteral("stalled"), status.stalled},
        {QStringLiteral("entry"), hasEntry ? QJsonValue(status.entry) : QJsonValue::Null},
        {QStringLiteral("row"), hasEntry ? QJsonValue(ApiJson::row(status.row, language)) : QJsonValue::Null},
        {QStringLiteral("positionMs"), positionMs},
        {QStringLiteral("durationMs"), status.durationMs},
        {QStringLiteral("format"), formatOf(status)},
        {QStringLiteral("volumePercent"), status.volumePercent},
        {QStringLiteral("muted"), status.muted},
        {QStringLiteral("repeat"), word(status.repeat)},
        {QStringLiteral("shuffle"), status.shuffled},
        {QStringLiteral("volumeLimitPercent"), status.volumeLimitPercent},
        {QStringLiteral("place"), status.queuePlace >= 0 ? QJsonValue(status.queuePlace) : QJsonValue::Null},
        {QStringLiteral("undo"), status.undoCount},
        {QStringLiteral("sleep"), sleep(status)},
        {QStringLiteral("canSeek"), status.canSeek},
        {QStringLiteral("canPause"), status.canPause},
        {QStringLiteral("queue"), queue(status.queueRevision, status.queueCount)},
    };
}

QJsonObject PlayerJson::queue(quint64 revision, int count)
{
    return {{QStringLiteral("revision"), qint64(revision)}, {QStringLiteral("count"), count}};
}

QJsonObject PlayerJson::entries(const QVector<QueueEntry>& entries, quint64 revision, int from, int to,
                                const Language& language)
{
    QJsonArray list;
    for (int i = from; i <= to && i < entries.size(); ++i) {
        const QueueEntry& entry = entries.at(i);
        list.append(QJsonObject{{QStringLiteral("id"), entry.id},
                                {QStringLiteral("source"), entry.source.isEmpty()
                                                               ? QJsonValue(QJsonValue::Null)
                                                               : QJsonValue(entry.source.toString())},
                                {QStringLiteral("row"), ApiJson::row(entry.row, language)}});
    }
    QJsonObject object = queue(revision, entries.size());
    object.insert(QStringLiteral("from"), from);
    object.insert(QStringLiteral("entries"), list);
    return object;
}

QString PlayerJson::word(RepeatMode mode)
{
    for (const auto& [known, text] : repeatWords)
        if (known == mode)
            return QLatin1String(text);
    return QString();
}

bool PlayerJson::read(const QString& word, RepeatMode* mode)
{
    for (const auto& [known, text] : repeatWords) {
        if (word == QLatin1String(text)) {
            *mode = known;
            return true;
        }
    }
    return false;
}
