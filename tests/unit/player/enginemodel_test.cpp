#include "api/core/model/cmrootworker.h"
#include "player/play/PlayEngine.h"
#include "tests/support/enginemodel.h"
#include "tests/support/scriptedplayworker.h"
#include "tests/support/scriptedstream.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QtTest>

#include <random>

namespace {

constexpr int stepsOfASequence = 60;
/// How often rare events happened in all sequences: events that never happen prove nothing.
QMap<QString, int> happened;

const QString scheme = QStringLiteral("http://");

/// One sequence of random operations and events: the real engine beside the model.
class Sequence
{
public:
    explicit Sequence(unsigned seed)
        : m_random(seed)
    {
        m_root.addWorker(&m_worker);
        m_worker.holdAnswers = true;
        m_worker.maxIdleMs = m_model.maxIdleMs = chance(3) ? 40000 : 0;
        auto clock = std::make_unique<ScriptedClock>();
        m_clock = clock.get();
        auto stream = std::make_unique<ScriptedStream>(m_clock);
        m_stream = stream.get();
        m_stream->seekable = !chance(5);
        m_engine = std::make_unique<PlayEngine>(std::move(stream), std::move(clock), PlayProfile());
        m_engine->queue().seedShuffling(seed);
        m_finished = std::make_unique<QSignalSpy>(m_engine.get(), &PlayEngine::finished);
    }
    Sequence(const Sequence&) = delete;
    Sequence& operator=(const Sequence&) = delete;
    ~Sequence()
    {
        m_engine.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    /// Empty when engine and model agree throughout; else what differs, and the steps that led there.
    QString run()
    {
        add(PlayQueue::Where::End);
        for (int i = 0; i < stepsOfASequence; ++i) {
            step();
            QCoreApplication::sendPostedEvents();
            QString fault = m_fault;
            if (fault.isEmpty())
                fault = takeOpened();
            if (fault.isEmpty())
                fault = difference();
            if (!fault.isEmpty())
                return fault + QStringLiteral("\n  after: ") + m_steps.join(QStringLiteral(", "));
        }
        return QString();
    }

private:
    int below(int count) { return int(m_random() % unsigned(count)); }
    static void count(const char* what, bool has = true)
    {
        happened[QString::fromLatin1(what)] += has ? 1 : 0;
    }
    bool chance(int oneIn) { return below(oneIn) == 0; }
    int anyEntry() { return m_model.order.isEmpty() ? 0 : m_model.order.at(below(m_model.order.size())); }
    void note(const char* step) { m_steps << QString::fromLatin1(step); }
    void expect(bool holds, const char* what)
    {
        if (!holds && m_fault.isEmpty())
            m_fault = QString::fromLatin1(what);
    }

    qint64 position() const { return m_model.heldMs.value_or(m_stream->positionMs()); }
    bool canSeek() const { return m_model.heard && m_stream->canSeek(); }

    int entryOf(const QString& name) const { return m_model.names.key(name); }
    int entryAt(const QString& uri) const { return entryOf(uri.mid(scheme.size())); }

    void step()
    {
        // Half of the sequences contain few operations, so that tracks reach their ends.
        static const int spans[] = {100, 1000, 5000, 30000, 160000};
        static const int calm[] = {20, 20, 25, 25, 30, 30, 35, 35, 36, 32, 2, 4, 5, 17, 18, 33};
        int kind = m_isCalm && !chance(6) ? calm[below(16)] : below(40);
        if (m_soon.isEmpty() && m_isCalm && chance(8))
            m_soon = {20, 20, 25, 40, 20, 20, chance(2) ? 32 : 30}; // through a track to its seam
        if (!m_soon.isEmpty())
            kind = m_soon.takeFirst();
        switch (kind) {
        case 0:
        case 1:
            return add(PlayQueue::Where::End);
        case 2:
            return add(PlayQueue::Where::Next);
        case 3:
            return chance(4) ? add(PlayQueue::Where::Replace) : note("-");
        case 4:
            return remove();
        case 5:
            return move();
        case 6:
            return chance(6) ? clear() : note("-");
        case 7:
            return jump();
        case 8:
            return next();
        case 9:
            return previous();
        case 10:
        case 11:
            return pause();
        case 12:
        case 13:
        case 14:
            return play();
        case 15:
            return chance(3) ? stop() : note("-");
        case 16:
            return seek(below(int(ScriptedStream::lengthMs) + 20000) - 10000);
        case 17:
            return shuffle();
        case 18:
            return repeat();
        case 19:
            return volume();
        case 20:
        case 21:
        case 22:
        case 23:
        case 24:
            return answer();
        case 25:
        case 26:
        case 27:
        case 28:
            return settle();
        case 29:
            return stall();
        case 30:
        case 31:
            return finish();
        case 32:
            return turn();
        case 33:
            return chance(2) ? breakOff() : breakNext();
        case 34:
            return chance(2) ? loseOutput() : note("-");
        case 35:
        case 36:
        case 37:
            return advance(spans[below(5)]);
        case 38:
            return chance(4) ? logOut() : fill();
        case 40:
            return advance(qMax<qint64>(0, ScriptedStream::lengthMs - 10000 - m_stream->positionMs()));
        default:
            note("arrive");
            m_stream->arrive();
        }
    }

    // The queue.

    void add(PlayQueue::Where where)
    {
        note(where == PlayQueue::Where::Next      ? "add next"
             : where == PlayQueue::Where::Replace ? "replace"
                                                  : "add");
        QVector<PelkRoles> rows;
        QStringList names;
        for (int i = 1 + below(4); i > 0; --i) {
            const QString name =
                QStringLiteral("%1%2").arg(QLatin1Char(chance(m_badOneIn) ? 'x' : 'g')).arg(++m_names);
            if (name.startsWith(QLatin1Char('g')))
                m_worker.uris.insert(name, scheme + name);
            names << name;
            rows.append(ScriptedPlayWorker::row(name));
        }
        const QVector<int> ids = m_engine->queue().add(rows, where);
        for (int i = 0; i < ids.size(); ++i)
            m_model.names.insert(ids.at(i), names.at(i));
        if (where == PlayQueue::Where::Replace) {
            m_model.order.clear();
            m_model.own.clear();
            m_model.current = 0;
        }
        const int at = where == PlayQueue::Where::Next ? m_model.order.indexOf(m_model.current) + 1 : 0;
        const int ownAt = where == PlayQueue::Where::Next ? m_model.own.indexOf(m_model.current) + 1 : 0;
        m_model.own =
            ownAt > 0 ? m_model.own.mid(0, ownAt) + ids + m_model.own.mid(ownAt) : m_model.own + ids;
        if (at > 0)
            m_model.order = m_model.order.mid(0, at) + ids + m_model.order.mid(at);
        else if (m_model.shuffled)
            takeSpread(ids);
        else
            m_model.order += ids;
        m_model.queueChanged();
    }

    QVector<int> engineOrder() const
    {
        QVector<int> ids;
        for (const QueueEntry& entry : m_engine->queue().entries())
            ids.append(entry.id);
        return ids;
    }

    /// Chance decides where new entries go: only behind the current one, and all others stay in order.
    void takeSpread(const QVector<int>& fresh)
    {
        const QVector<int> order = engineOrder();
        QVector<int> others;
        const int current = order.indexOf(m_model.current);
        for (int i = 0; i < order.size(); ++i)
            if (!fresh.contains(order.at(i)))
                others.append(order.at(i));
            else
                expect(i > current || !m_model.order.contains(m_model.current),
                       "spread before the current entry");
        expect(others == m_model.order, "what was there changed its order");
        m_model.order = order;
    }

    void remove()
    {
        note("remove");
        QVector<int> ids;
        for (int i = below(3); i >= 0; --i)
            ids.append(chance(3) ? m_model.current : anyEntry());
        const bool isThere =
            std::any_of(ids.begin(), ids.end(), [this](int id) { return m_model.order.contains(id); });
        if (isThere)
            m_model.removed(ids);
        expect(m_engine->queue().remove(ids) == isThere, "remove() said something else");
        if (isThere)
            m_model.queueChanged();
    }

    void move()
    {
        note("move");
        const int id = anyEntry();
        const int before = chance(3) ? 0 : anyEntry();
        const bool moved = m_engine->queue().move({id}, before);
        expect(moved == (id != 0), "move() said something else");
        if (!moved)
            return;
        if (id != before) {
            m_model.order.removeAll(id);
            m_model.order.insert(before == 0 ? m_model.order.size() : m_model.order.indexOf(before), id);
            if (!m_model.shuffled)
                m_model.own = m_model.order;
        }
        m_model.queueChanged();
    }

    void clear()
    {
        note("clear");
        m_engine->queue().clear();
        m_model.order.clear();
        m_model.own.clear();
        m_model.current = 0;
        m_model.queueChanged();
    }

    void shuffle()
    {
        const bool shuffled = chance(2);
        note(shuffled ? "shuffle" : "shuffle off");
        m_engine->setShuffled(shuffled);
        if (shuffled == m_model.shuffled)
            return;
        m_model.shuffled = shuffled;
        QVector<int> order = shuffled ? engineOrder() : m_model.own;
        if (shuffled) {
            m_model.own = m_model.order;
            const bool currentFirst = !order.contains(m_model.current) || order.first() == m_model.current;
            expect(currentFirst, "the current entry is not the first");
            expect(QSet<int>(order.begin(), order.end()) ==
                           QSet<int>(m_model.own.begin(), m_model.own.end()) &&
                       order.size() == m_model.own.size(),
                   "shuffling lost or doubled entries");
        }
        m_model.order = order;
        m_model.queueChanged();
    }

    void fill()
    {
        note(m_turn == 0 ? "begin filling" : "end filling");
        if (m_turn == 0) {
            m_turn = m_engine->queue().turns().begin(false);
            m_model.growing = 1;
            return;
        }
        m_engine->queue().turns().end(m_turn);
        m_turn = m_model.growing = 0;
        m_model.queueChanged();
    }

    // The listener.

    void jump()
    {
        note("jump");
        const int entry = chance(8) ? 0 : anyEntry();
        expect(m_engine->jump(entry) == m_model.jump(entry), "jump() said something else");
    }

    void next()
    {
        note("next");
        m_engine->next();
        m_model.goNext();
    }

    void previous()
    {
        note("previous");
        const bool seekable = canSeek();
        const qint64 at = position();
        const bool isSeek = m_model.previous() == 0 || (seekable && at > 3000);
        const bool taken = isSeek && m_stream->takesSeek();
        m_engine->previous();
        m_model.goPrevious(seekable, at);
        if (isSeek) {
            m_model.seek(0, seekable, taken);
            ++m_epoch;
        }
    }

    void pause()
    {
        note("pause");
        m_engine->pause();
        m_model.pause();
    }

    void play()
    {
        note("play");
        m_model.play(position());
        m_engine->play();
    }

    void stop()
    {
        note("stop");
        m_engine->stop();
        m_model.stop();
    }

    void logOut()
    {
        note("log out");
        const CMVoidReply reply = m_engine->stop(PelkPlayLogicStopReason::ContentGone);
        QCoreApplication::sendPostedEvents();
        expect(reply.isFinished(), "stop(reason) was not answered");
        m_model.stop();
    }

    void seek(qint64 to)
    {
        note("seek");
        const bool seekable = canSeek();
        const bool taken = m_stream->takesSeek();
        const qint64 bounded = qBound<qint64>(0, to, ScriptedStream::lengthMs);
        m_engine->seek(to);
        m_model.seek(bounded, seekable, taken);
        ++m_epoch;
    }

    void repeat()
    {
        note("repeat");
        m_model.repeat = RepeatMode(below(3));
        m_engine->setRepeat(m_model.repeat);
    }

    void volume()
    {
        note("volume");
        const int percent = below(160) - 30;
        m_volumePercent = qBound(0, percent, 100);
        m_muted = chance(2);
        m_engine->setVolume(percent);
        m_engine->setMuted(m_muted);
    }

    // External events.

    void answer()
    {
        if (m_worker.held.isEmpty())
            return note("-");
        const QString name = nameOf(m_worker.held.at(below(m_worker.held.size())));
        note(name.startsWith(QLatin1Char('x')) ? "fail to resolve" : "resolve");
        QList<CMSetDataRequest> answered;
        for (int i = m_worker.held.size() - 1; i >= 0; --i)
            if (nameOf(m_worker.held.at(i)) == name)
                answered.prepend(m_worker.held.takeAt(i));
        m_model.resolved(entryOf(name), m_worker.uris.contains(name));
        for (const CMSetDataRequest& request : qAsConst(answered))
            m_worker.resolve(request);
    }

    static QString nameOf(const CMSetDataRequest& request)
    {
        return request.path().param(QStringLiteral("id"));
    }

    void settle()
    {
        note("settle");
        const bool pauses = m_stream->wantsPause();
        if (!m_stream->settle())
            return;
        if (pauses)
            m_model.streamSilent(false);
        else
            m_model.streamPlays();
    }

    void stall()
    {
        note("stall");
        if (m_stream->stall())
            m_model.streamSilent(true);
    }

    void turn()
    {
        note("turn");
        static const int edits[] = {2, 4, 5, 17, 18};
        if (!m_stream->turn())
            return;
        count("a turn");
        if (chance(2))
            m_soon = {edits[below(5)], 30}; // too late for what is prepared
        else if (chance(2))
            m_soon = {10, 25, 30}; // a pause that overtakes the change
    }

    void finish()
    {
        note("end of track");
        const QString next = m_stream->nextUri();
        if (!m_stream->finish())
            return;
        if (next.isEmpty())
            return m_model.streamEnded();
        count("an end in a pause", m_model.wantsPause);
        const int wanted = m_model.next(true);
        count(wanted == entryAt(next) ? "a seam" : "an edit too late for the seam");
        m_model.streamWentOver(entryAt(next));
        ++m_epoch;
        if (wanted == entryAt(next) && m_stream->isHeard())
            m_model.streamPlays();
        else if (wanted == entryAt(next))
            m_model.streamSilent(false);
        count("a seam in a pause", wanted == entryAt(next) && !m_stream->isHeard());
    }

    void breakOff()
    {
        note("break off");
        const qint64 at = position();
        const bool wasHeard = m_model.heard;
        if (!m_stream->breakOff())
            return;
        m_model.streamFailed(at);
        count("a break after sound", wasHeard);
        count("a break in a pause", m_model.wantsPause);
    }

    void breakNext()
    {
        note("break next");
        m_stream->breakNext();
    }

    void loseOutput()
    {
        note("lose output");
        const qint64 at = position();
        if (m_stream->loseOutput())
            m_model.outputFailed(at);
    }

    void advance(qint64 spanMs)
    {
        m_clock->now += spanMs;
        m_model.nowMs = m_clock->now;
        m_steps << QStringLiteral("at %1 ms").arg(m_clock->now);
        if (m_model.outputLost && m_model.retryAtMs <= m_clock->now)
            m_model.outputRetried();
        m_engine->wake();
    }

    // Must be the same.

    /// The streams that were opened are the wanted ones.
    QString takeOpened()
    {
        const QList<ScriptedStream::Opened> opened = m_stream->opened;
        m_stream->opened.clear();
        for (const ScriptedStream::Opened& stream : opened) {
            const int entry = entryAt(stream.uri);
            if (stream.paused != m_model.wantsPause)
                return QStringLiteral("opened with another wish to pause");
            if (m_model.mustOpen && m_model.track == entry) {
                if (stream.startMs != m_model.heldMs)
                    return QStringLiteral("opened again at %1 ms, not %2 ms")
                        .arg(stream.startMs)
                        .arg(*m_model.heldMs);
                m_model.reopened();
                count("a stream opened again");
            } else if (m_model.resolving == entry && entry != 0) {
                if (stream.startMs != 0)
                    return QStringLiteral("begun at %1 ms").arg(stream.startMs);
                m_model.opened(entry);
                ++m_epoch;
            } else {
                return QStringLiteral("opened %1, which nobody wants").arg(stream.uri);
            }
        }
        const int asked = m_model.renewing ? m_model.track : m_model.resolving;
        if (asked != 0 &&
            std::none_of(m_worker.held.begin(), m_worker.held.end(), [&](const CMSetDataRequest& held) {
                return nameOf(held) == m_model.names.value(asked);
            }))
            return QStringLiteral("nobody asks for the stream of %1").arg(m_model.names.value(asked));
        if (m_model.mustOpen)
            return QStringLiteral("a stream was not opened again");
        const int prepared = entryAt(m_stream->nextUri());
        if (prepared != 0 && prepared != m_model.next(true) && !m_stream->isTurned())
            return QStringLiteral("the wrong track is prepared");
        return QString();
    }

    QString difference()
    {
        const PlayerStatus status = m_engine->status();
        const auto differs = [](const char* what, const QString& engine, const QString& model) {
            return QStringLiteral("%1: the engine has %2, the model %3")
                .arg(QString::fromLatin1(what), engine, model);
        };
        const auto stateText = [](PelkPlayLogicState::Enum state, bool stalled) {
            return PelkPlayLogicState::toString(state) + (stalled ? QStringLiteral(" stalled") : QString());
        };
        if (m_worker.states != m_model.reports)
            return differs("reports", m_worker.states.join(QStringLiteral(", ")),
                           m_model.reports.join(QStringLiteral(", ")));
        if (status.state != m_model.shown || status.stalled != m_model.stalled)
            return differs("state", stateText(status.state, status.stalled),
                           stateText(m_model.shown, m_model.stalled));
        const QString data = PelkPlayLogicState::toString(m_engine->data().state());
        if (data != m_model.dataState())
            return differs("state for modules", data, m_model.dataState());
        if (status.entry != m_model.current)
            return differs("current entry", m_model.names.value(status.entry, QString::number(status.entry)),
                           m_model.names.value(m_model.current, QString::number(m_model.current)));
        if (engineOrder() != m_model.order)
            return QStringLiteral("another order");
        if (status.repeat != m_model.repeat || status.shuffled != m_model.shuffled ||
            status.volumePercent != m_volumePercent || status.muted != m_muted)
            return QStringLiteral("another mode or volume");
        if (m_finished->size() != m_model.finishes)
            return differs("ends of playing", QString::number(m_finished->size()),
                           QString::number(m_model.finishes));
        if (m_model.track != 0 && status.positionMs != position())
            return differs("position", QString::number(status.positionMs), QString::number(position()));
        if (m_model.track != 0 && m_epoch == m_positionEpoch && status.positionMs < m_positionMs)
            return differs("position moved back", QString::number(status.positionMs),
                           QString::number(m_positionMs));
        count("an address asked for again", m_model.renewing);
        count("three failures in a row", m_model.failures >= 3);
        count("a wait for more of the queue", m_model.waiting);
        m_positionEpoch = m_epoch;
        m_positionMs = m_model.track != 0 ? status.positionMs : 0;
        return QString();
    }

    std::mt19937 m_random;
    const bool m_isCalm = chance(2);
    QVector<int> m_soon;                      // steps that come before any other
    const int m_badOneIn = chance(2) ? 2 : 5; // tracks that do not resolve
    CMRootWorker m_root;
    ScriptedPlayWorker m_worker;
    ScriptedClock* m_clock;
    ScriptedStream* m_stream;
    std::unique_ptr<PlayEngine> m_engine;
    std::unique_ptr<QSignalSpy> m_finished;
    EngineModel m_model;
    QStringList m_steps;
    QString m_fault;
    int m_names = 0;
    int m_turn = 0;
    int m_volumePercent = 100;
    bool m_muted = false;
    int m_epoch = 0; // grows when the position may go back
    int m_positionEpoch = 0;
    qint64 m_positionMs = 0;
};

} // namespace

/// Random sequences of operations and events, in any order: the real engine does what the contract says.
/// PELK_TEST_SEED=N runs the one sequence N, PELK_TEST_LONG=1 a million steps.
class EngineModelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theEngineBehavesAsTheModel()
    {
        const bool one = qEnvironmentVariableIsSet("PELK_TEST_SEED");
        const bool isLong = qEnvironmentVariableIsSet("PELK_TEST_LONG");
        const unsigned first = one ? unsigned(qEnvironmentVariableIntValue("PELK_TEST_SEED"))
                                   : QRandomGenerator::system()->bounded(1000000U);
        const unsigned count = one ? 1 : isLong ? 1000000 / stepsOfASequence + 1 : 2000;
        qInfo("%u sequences of %d steps from seed %u", count, stepsOfASequence, first);
        for (unsigned i = 0; i < count; ++i) {
            const QString fault = Sequence(first + i).run();
            QVERIFY2(fault.isEmpty(),
                     qPrintable(QStringLiteral("PELK_TEST_SEED=%1: %2").arg(first + i).arg(fault)));
        }
        for (auto it = happened.begin(); it != happened.end(); ++it)
            qInfo("%s: %d times", qPrintable(it.key()), it.value());
        for (const char* rare :
             {"a turn", "a seam", "an edit too late for the seam", "a stream opened again",
              "an address asked for again", "three failures in a row", "a wait for more of the queue",
              "a break after sound", "a break in a pause", "a seam in a pause"})
            QVERIFY2(one || happened.value(QString::fromLatin1(rare)) > 0, rare);
    }
};

QTEST_GUILESS_MAIN(EngineModelTest)
#include "enginemodel_test.moc"
