#include "tests/support/enginemodel.h"

namespace {

const QString skip = QStringLiteral("userSkip");

} // namespace

int EngineModel::around(int step) const
{
    const int count = order.size();
    const int index = order.indexOf(current);
    if (count == 0)
        return 0;
    if (index < 0)
        return order.at(step > 0 ? 0 : count - 1);
    if (repeat == RepeatMode::All)
        return order.at((index + step + count) % count);
    return order.value(index + step);
}

QString EngineModel::dataState() const
{
    if (track != 0)
        return m_reported;
    return QString::fromLatin1(resolving != 0 ? "opening" : "stopped");
}

int EngineModel::next(bool byItself) const
{
    return byItself && repeat == RepeatMode::One && current != 0 ? current : around(1);
}

void EngineModel::report(const char* state, const QString& error)
{
    m_reported = QString::fromLatin1(state);
    reports << QStringLiteral("%1 %2 %3").arg(names.value(track), m_reported, error).trimmed();
}

void EngineModel::reportSilence()
{
    if (m_reported != QLatin1String("paused"))
        report("paused");
}

void EngineModel::start(int entry)
{
    current = resolving = entry;
    wantsPause = waiting = false;
    shown = PelkPlayLogicState::Opening;
    stalled = false;
}

void EngineModel::end(const QString& error)
{
    if (track != 0)
        report("stopped", error);
    track = resolving = 0;
    heard = stalled = renewing = mustOpen = outputLost = outputGone = false;
    heldMs.reset();
    silentSinceMs.reset();
}

void EngineModel::goOn(int entry)
{
    const bool active = shown != PelkPlayLogicState::Stopped || waiting;
    if (entry != 0) {
        const bool paused = wantsPause; // meant for this one, too
        start(entry);
        wantsPause = paused;
    } else if (growing > 0 && active) {
        waiting = true;
        shown = PelkPlayLogicState::Stopped;
    } else {
        current = 0;
        halt();
    }
}

void EngineModel::halt()
{
    if (shown != PelkPlayLogicState::Stopped || waiting)
        ++finishes;
    shown = PelkPlayLogicState::Stopped;
    stalled = waiting = wantsPause = false;
}

void EngineModel::failed(const QString& error)
{
    end(error);
    goOnAfterFailure();
}

void EngineModel::goOnAfterFailure()
{
    if (++failures < 3)
        goOn(next(false));
    else
        halt();
}

bool EngineModel::isTooOld() const
{
    return maxIdleMs > 0 && nowMs - m_addressSinceMs > maxIdleMs;
}

void EngineModel::reopen(qint64 at)
{
    heldMs = at;
    outputLost = false;
    renewing = isTooOld();
    mustOpen = !renewing;
}

void EngineModel::play(qint64 positionMs)
{
    failures = 0;
    if (!isActive()) {
        const int entry = current != 0 ? current : order.value(0);
        if (entry != 0)
            start(entry);
        return;
    }
    wantsPause = false;
    if (track != 0 && !heldMs && silentSinceMs && maxIdleMs > 0 && nowMs - *silentSinceMs > maxIdleMs)
        reopen(positionMs);
}

void EngineModel::pause()
{
    if (isActive())
        wantsPause = true;
}

void EngineModel::stop()
{
    end(QStringLiteral("userStop"));
    halt();
}

void EngineModel::goNext()
{
    failures = 0;
    end(skip);
    wantsPause = false;
    goOn(next(false));
}

void EngineModel::goPrevious(bool canSeek, qint64 positionMs)
{
    failures = 0;
    const int entry = previous();
    if (entry == 0 || (canSeek && positionMs > 3000))
        return; // a seek, which the test makes
    end(skip);
    start(entry);
}

bool EngineModel::jump(int entry)
{
    if (!order.contains(entry))
        return false;
    failures = 0;
    end(skip);
    start(entry);
    return true;
}

void EngineModel::seek(qint64 to, bool canSeek, bool streamTakesIt)
{
    if (canSeek && (heldMs || !streamTakesIt))
        reopen(to);
}

void EngineModel::removed(const QVector<int>& ids)
{
    const bool wasCurrent = current != 0 && ids.contains(current);
    if (wasCurrent) {
        int heir = 0;
        for (int i = order.indexOf(current); i < order.size() && heir == 0; ++i)
            if (!ids.contains(order.at(i)))
                heir = order.at(i);
        current = heir;
    }
    for (const int id : ids) {
        order.removeAll(id);
        own.removeAll(id);
    }
    if (wasCurrent && current == 0 && repeat == RepeatMode::All)
        current = order.value(0);
}

void EngineModel::queueChanged()
{
    const int playing = track != 0 ? track : resolving;
    if (playing != 0 && !order.contains(playing)) {
        const int heir = current;
        end(skip);
        goOn(heir);
    } else if (waiting) {
        goOn(next(true));
    }
}

void EngineModel::opened(int entry)
{
    track = entry;
    resolving = 0;
    m_addressSinceMs = resolvedAtMs.value(entry);
    report("opening");
}

void EngineModel::reopened()
{
    mustOpen = false;
}

void EngineModel::resolved(int entry, bool good)
{
    if (good)
        resolvedAtMs.insert(entry, nowMs);
    if (good && renewing && track == entry) {
        renewing = false;
        mustOpen = true;
        m_addressSinceMs = nowMs;
    } else if (!good && resolving == entry) {
        failed(QString());
    }
}

void EngineModel::streamPlays()
{
    if (m_reported != QLatin1String("playing"))
        report("playing");
    shown = PelkPlayLogicState::Playing;
    stalled = outputGone = false;
    heard = outputWorked = true;
    heldMs.reset();
    silentSinceMs.reset();
}

void EngineModel::streamSilent(bool isStall)
{
    reportSilence();
    if (!silentSinceMs && !heldMs)
        silentSinceMs = nowMs;
    stalled = isStall;
    shown = isStall ? PelkPlayLogicState::Playing : PelkPlayLogicState::Paused;
}

void EngineModel::streamEnded()
{
    failures = 0;
    const int entry = next(true);
    end(QString());
    goOn(entry);
}

void EngineModel::streamWentOver(int prepared)
{
    failures = 0;
    const int wanted = next(true);
    const bool paused = wantsPause;
    end(QString());
    if (prepared != wanted) {
        goOn(wanted);
        return;
    }
    start(prepared);
    wantsPause = paused;
    opened(prepared);
}

void EngineModel::streamFailed(qint64 positionMs)
{
    if (!heard) {
        failed(QStringLiteral("streamFailed"));
        return;
    }
    if (!heldMs && isTooOld()) {
        streamSilent(true);
        reopen(positionMs);
        return;
    }
    report("stopped", QStringLiteral("streamFailed"));
    end(QString());
    goOnAfterFailure();
}

void EngineModel::outputFailed(qint64 positionMs)
{
    if (!outputWorked) {
        failures = 2;
        failed(QStringLiteral("streamFailed"));
        return;
    }
    streamSilent(false);
    silentSinceMs.reset();
    heldMs = positionMs;
    retryAtMs = nowMs + (outputGone ? 1000 : 0);
    outputLost = outputGone = true;
    renewing = mustOpen = false;
}

void EngineModel::outputRetried()
{
    reopen(*heldMs);
}
