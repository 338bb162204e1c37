#include "player/mpris/MprisAdaptors.h"

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "player/play/PlayEngine.h"

namespace {

constexpr qlonglong usPerMs = 1000;

void insert(QVariantMap* map, const char* key, const QString& text)
{
    if (!text.isEmpty())
        map->insert(QLatin1String(key), text);
}

void insertList(QVariantMap* map, const char* key, const QString& text)
{
    if (!text.isEmpty())
        map->insert(QLatin1String(key), QStringList{text});
}

} // namespace

MprisPlayerAdaptor::MprisPlayerAdaptor(PlayEngine* engine, QObject* parent)
    : QDBusAbstractAdaptor(parent)
    , m_engine(engine)
{
    connect(engine, &PlayEngine::seeked, this,
            [this](qint64 positionMs) { Q_EMIT Seeked(positionMs * usPerMs); });
}

QString MprisPlayerAdaptor::playbackStatus() const
{
    switch (m_engine->status().state) {
    case PelkPlayLogicState::Opening:
    case PelkPlayLogicState::Playing:
        return QStringLiteral("Playing");
    case PelkPlayLogicState::Paused:
        return QStringLiteral("Paused");
    default:
        return QStringLiteral("Stopped");
    }
}

QString MprisPlayerAdaptor::loopStatus() const
{
    switch (m_engine->status().repeat) {
    case RepeatMode::One:
        return QStringLiteral("Track");
    case RepeatMode::All:
        return QStringLiteral("Playlist");
    default:
        return QStringLiteral("None");
    }
}

void MprisPlayerAdaptor::setLoopStatus(const QString& status)
{
    if (status == QLatin1String("Track"))
        m_engine->setRepeat(RepeatMode::One);
    else if (status == QLatin1String("Playlist"))
        m_engine->setRepeat(RepeatMode::All);
    else if (status == QLatin1String("None"))
        m_engine->setRepeat(RepeatMode::Off);
}

void MprisPlayerAdaptor::setRate(double rate)
{
    if (rate == 0)
        Pause();
}

bool MprisPlayerAdaptor::shuffle() const
{
    return m_engine->status().shuffled;
}

void MprisPlayerAdaptor::setShuffle(bool shuffle)
{
    m_engine->setShuffled(shuffle);
}

QVariantMap MprisPlayerAdaptor::metadata() const
{
    const PlayerStatus status = m_engine->status();
    const PelkMetaData data = status.row.mediaData().metaData();
    QVariantMap map;
    map.insert(QStringLiteral("mpris:trackid"), QVariant::fromValue(trackOf(status.entry)));
    if (status.entry == 0)
        return map;
    if (status.durationMs > 0)
        map.insert(QStringLiteral("mpris:length"), qlonglong(status.durationMs * usPerMs));
    insert(&map, "mpris:artUrl", status.row.icon());
    insert(&map, "xesam:title", status.row.title().toString());
    insert(&map, "xesam:album", data.album());
    insertList(&map, "xesam:artist", data.artist());
    insertList(&map, "xesam:composer", data.composer());
    insertList(&map, "xesam:genre", data.genre());
    if (data.originalTrackNumber() > 0)
        map.insert(QStringLiteral("xesam:trackNumber"), data.originalTrackNumber());
    return map;
}

QDBusObjectPath MprisPlayerAdaptor::trackOf(int entry)
{
    return QDBusObjectPath(entry == 0 ? QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack")
                                      : QStringLiteral("/pelk/track/%1").arg(entry));
}

double MprisPlayerAdaptor::volume() const
{
    const PlayerStatus status = m_engine->status();
    return status.muted ? 0 : status.volumePercent / 100.0;
}

void MprisPlayerAdaptor::setVolume(double volume)
{
    m_engine->setMuted(false);
    m_engine->setVolume(qRound(qBound(0.0, volume, 1.0) * 100));
}

qlonglong MprisPlayerAdaptor::position() const
{
    return m_engine->status().positionMs * usPerMs;
}

bool MprisPlayerAdaptor::hasQueue() const
{
    return m_engine->status().queueCount > 0;
}

bool MprisPlayerAdaptor::canPause() const
{
    return m_engine->status().canPause;
}

bool MprisPlayerAdaptor::canSeek() const
{
    return m_engine->status().canSeek;
}

void MprisPlayerAdaptor::Next()
{
    const bool paused = m_engine->status().state == PelkPlayLogicState::Paused;
    m_engine->next();
    setPaused(paused);
}

void MprisPlayerAdaptor::Previous()
{
    const bool paused = m_engine->status().state == PelkPlayLogicState::Paused;
    m_engine->previous();
    setPaused(paused);
}

/// MPRIS requires that Next and Previous keep a paused player paused.
void MprisPlayerAdaptor::setPaused(bool paused)
{
    if (paused)
        m_engine->pause();
}

void MprisPlayerAdaptor::Pause()
{
    m_engine->pause();
}

void MprisPlayerAdaptor::PlayPause()
{
    if (playbackStatus() == QLatin1String("Playing"))
        m_engine->pause();
    else
        m_engine->play();
}

void MprisPlayerAdaptor::Stop()
{
    m_engine->stop();
}

void MprisPlayerAdaptor::Play()
{
    m_engine->play();
}

void MprisPlayerAdaptor::Seek(qlonglong offset)
{
    const PlayerStatus status = m_engine->status();
    const qint64 to = status.positionMs + offset / usPerMs;
    if (status.durationMs > 0 && to > status.durationMs)
        Next();
    else
        m_engine->seek(to);
}

void MprisPlayerAdaptor::SetPosition(const QDBusObjectPath& track, qlonglong position)
{
    const PlayerStatus status = m_engine->status();
    // Ignores positions in an earlier track and positions beyond the end.
    if (track == trackOf(status.entry) && position >= 0 && position / usPerMs <= status.durationMs)
        m_engine->seek(position / usPerMs);
}

void MprisPlayerAdaptor::OpenUri(const QString& /*uri*/)
{
    // The player opens no URIs, as SupportedUriSchemes says.
}
