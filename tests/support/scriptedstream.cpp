#include "tests/support/scriptedstream.h"

void ScriptedStream::play(const QString& uri, qint64 startMs, bool paused)
{
    stop();
    m_uri = uri;
    m_atMs = startMs;
    m_wantsPause = paused;
    opened.append({uri, startMs, paused});
}

bool ScriptedStream::setNext(const QString& uri)
{
    if (!isOpen() || m_nextTurned)
        return false;
    m_next = uri;
    return true;
}

bool ScriptedStream::dropNext()
{
    if (m_nextTurned)
        return false;
    m_next.clear();
    return true;
}

void ScriptedStream::stop()
{
    m_uri.clear();
    m_next.clear();
    m_nextTurned = m_wantsPause = false;
    m_soughtMs.reset();
    m_told = Told::Nothing;
    m_atMs = 0;
}

bool ScriptedStream::seek(qint64 positionMs)
{
    if (!canSeek() || m_nextTurned)
        return false;
    m_soughtMs = positionMs;
    return true;
}

qint64 ScriptedStream::positionMs() const
{
    if (m_soughtMs)
        return *m_soughtMs;
    const qint64 heard = m_told == Told::Playing ? m_clock->now - m_sinceMs : 0;
    return qMin(m_atMs + heard, qMax(m_atMs, lengthMs));
}

void ScriptedStream::tell(Told told)
{
    m_atMs = positionMs();
    m_sinceMs = m_clock->now;
    m_told = told;
}

/// The stream has ended; it reports its position until stop().
void ScriptedStream::over()
{
    m_atMs = positionMs();
    m_told = Told::Nothing;
    m_uri.clear();
    m_next.clear();
    m_nextTurned = false;
    m_soughtMs.reset();
}

bool ScriptedStream::settle()
{
    const Told wanted = m_wantsPause ? Told::Paused : Told::Playing;
    if (!isOpen() || m_told == wanted)
        return false;
    tell(wanted);
    if (m_wantsPause)
        Q_EMIT paused();
    else
        Q_EMIT playing();
    return true;
}

bool ScriptedStream::stall()
{
    if (m_wantsPause || (m_told != Told::Playing && m_told != Told::Paused))
        return false;
    tell(Told::Stalled);
    Q_EMIT stalled();
    return true;
}

bool ScriptedStream::arrive()
{
    if (!m_soughtMs)
        return false;
    m_atMs = *m_soughtMs;
    m_sinceMs = m_clock->now;
    m_soughtMs.reset();
    Q_EMIT moved();
    return true;
}

bool ScriptedStream::turn()
{
    if (m_next.isEmpty() || m_nextTurned || m_told != Told::Playing || m_soughtMs)
        return false;
    m_nextTurned = true;
    return true;
}

bool ScriptedStream::finish()
{
    const bool inPause = m_told == Told::Paused && m_nextTurned;
    if ((m_told != Told::Playing && !inPause) || m_soughtMs)
        return false;
    if (m_next.isEmpty()) {
        over();
        Q_EMIT ended();
        return true;
    }
    m_uri = m_next;
    m_next.clear();
    m_nextTurned = false;
    m_atMs = 0;
    m_sinceMs = m_clock->now;
    const QString uri = m_uri;
    const int times = opened.size();
    Q_EMIT nextStarted();
    if (m_uri != uri || opened.size() != times)
        return true; // the engine did not take it
    if (inPause)
        Q_EMIT paused();
    else
        Q_EMIT playing();
    return true;
}

bool ScriptedStream::breakOff()
{
    if (!isOpen())
        return false;
    over();
    Q_EMIT failed(TrString(QStringLiteral("It broke.")));
    return true;
}

bool ScriptedStream::breakNext()
{
    if (m_next.isEmpty() || m_nextTurned)
        return false;
    m_next.clear();
    Q_EMIT nextFailed(TrString(QStringLiteral("It broke.")));
    return true;
}

bool ScriptedStream::loseOutput()
{
    if (!isOpen())
        return false;
    over();
    Q_EMIT outputFailed(TrString(QStringLiteral("It is gone.")));
    return true;
}
