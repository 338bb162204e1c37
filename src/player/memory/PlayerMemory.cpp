#include "player/memory/PlayerMemory.h"

#include "player/memory/SavedPlayerText.h"
#include "player/play/PlayEngine.h"

namespace {

QString inFolder(const QString& folder, const char* name)
{
    return folder + QLatin1Char('/') + QLatin1String(name);
}

} // namespace

PlayerMemory::PlayerMemory(PlayEngine* engine, const QString& folder, QObject* parent)
    : QObject(parent)
    , m_engine(engine)
    , m_queueFile(inFolder(folder, "queue.json"), QStringLiteral("queue"), 1)
    , m_restFile(inFolder(folder, "player.json"), QStringLiteral("player"), 1)
{
    m_tick.setInterval(StateFile::intervalMs);
    connect(&m_tick, &QTimer::timeout, this, &PlayerMemory::keep);
    for (StateFile* file : {&m_queueFile, &m_restFile})
        connect(file, &StateFile::failed, this, &PlayerMemory::failed);
    connect(&m_queueFile, &StateFile::settled, this, &PlayerMemory::keep);
}

PlayerMemory::~PlayerMemory()
{
    end();
}

QStringList PlayerMemory::begin()
{
    const PelkHash queue = m_queueFile.read();
    const PelkHash rest = m_restFile.read();
    QStringList notices{m_queueFile.notice(), m_restFile.notice()};
    notices.removeAll(QString());
    if (!queue.isEmpty() || !rest.isEmpty() || !notices.isEmpty())
        restore(queue, rest);
    m_keptRevision = m_engine->queue().revision();
    m_isKeeping = true;
    connect(m_engine, &PlayEngine::statusChanged, this, &PlayerMemory::keep);
    connect(&m_engine->queue(), &PlayQueue::changed, this, &PlayerMemory::keep);
    return notices;
}

void PlayerMemory::restore(const PelkHash& queue, const PelkHash& rest)
{
    m_generation = qMax(SavedPlayerText::generation(queue), SavedPlayerText::generation(rest));
    SavedPlayer saved = SavedPlayerText::read(queue, rest);
    // The data in the queue's file may be much older than the unreadable data.
    if (!m_restFile.notice().isEmpty())
        saved.volumePercent = qMin(saved.volumePercent, SavedPlayerText::cautiousVolumePercent);
    m_engine->restore(saved);
}

void PlayerMemory::end()
{
    if (!m_isKeeping)
        return;
    keep();
    m_queueFile.flush();
    keep();
    m_restFile.flush();
    m_isKeeping = false;
    m_tick.stop();
    disconnect(m_engine, nullptr, this, nullptr);
    disconnect(&m_engine->queue(), nullptr, this, nullptr);
}

/// The rest waits until the queue that it belongs to is on the disk.
void PlayerMemory::keep()
{
    if (!m_isKeeping)
        return;
    const PlayerStatus status = m_engine->status();
    if (m_keptRevision != status.queueRevision) {
        m_keptRevision = status.queueRevision;
        ++m_generation;
        m_restFile.drop();
        m_queueFile.save([this] { return copyOfQueue(); });
    }
    if (!m_queueFile.isBusy())
        m_restFile.save([this] { return copyOfRest(); });
    if (status.state != PelkPlayLogicState::Playing || status.stalled)
        m_tick.stop();
    else if (!m_tick.isActive())
        m_tick.start();
}

StateFile::Writer PlayerMemory::copyOfQueue() const
{
    return [saved = m_engine->saved(), generation = m_generation](QByteArray* text) {
        SavedPlayerText::appendQueue(text, saved, generation);
    };
}

StateFile::Writer PlayerMemory::copyOfRest() const
{
    const PlayerStatus status = m_engine->status();
    SavedPlayer saved; // without the rows
    saved.current = m_engine->queue().indexOf(status.entry);
    saved.positionMs = status.positionMs;
    saved.durationMs = status.durationMs;
    saved.volumePercent = status.volumePercent;
    saved.muted = status.muted;
    saved.repeat = status.repeat;
    return [saved, row = m_engine->queue().row(status.entry), generation = m_generation](QByteArray* text) {
        SavedPlayerText::appendRest(text, saved, row, generation);
    };
}
