#include "player/play/PlayState.h"

#include <QtTest>

using namespace PlayState;

namespace {

constexpr qint64 sinceMs = 100;
constexpr qint64 nowMs = 900;
constexpr qint64 placeMs = 5000;

ResolvedTrack resolved(int entry)
{
    ResolvedTrack track;
    track.entry = entry;
    return track;
}

/// A letter for each state; L is idle with a place.
const QString letters = QStringLiteral("IRLOPUSNAQ");

State made(QChar letter, bool wantsPause)
{
    const Track track{resolved(7), true, wantsPause};
    switch (letter.toLatin1()) {
    case 'R':
        return Resolving{7, 0, wantsPause};
    case 'L':
        return Idle{Place{placeMs, 9000}};
    case 'O':
        return Opening{Track{resolved(7), false, wantsPause}};
    case 'P':
        return Playing{track};
    case 'U':
        return Paused{track, sinceMs};
    case 'S':
        return Stalled{track, sinceMs};
    case 'N':
        return Reopening{track, placeMs, false, false};
    case 'A':
        return AwaitingOutput{track, placeMs, 1000};
    case 'Q':
        return AwaitingQueue{wantsPause};
    default:
        return Idle{};
    }
}

QChar letterOf(const State& state)
{
    static const QString byIndex = QStringLiteral("IROPUSNAQ");
    const auto* idle = std::get_if<Idle>(&state);
    return idle && idle->place ? QLatin1Char('L') : byIndex.at(int(state.index()));
}

} // namespace

/// The one function that changes the engine's state, held against the whole table: each state and each event.
class PlayStateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachEventChangesEachStateAsTheTableSays_data()
    {
        QTest::addColumn<int>("event");
        QTest::addColumn<QString>("after");
        // From                          I R L O P U S N A Q
        QTest::newRow("Start") << 0 << "RRRRRRRRRR";
        QTest::newRow("Opened") << 1 << "IOLOPUSNAQ";
        QTest::newRow("Sounds") << 2 << "IRLPPPPPAQ";
        QTest::newRow("Silent, paused") << 3 << "IRLUUUUNAQ";
        QTest::newRow("Silent, stalled") << 4 << "IRLSSSSNAQ";
        QTest::newRow("Closed") << 5 << "IRLRRRRRRQ";
        QTest::newRow("Reopen") << 6 << "IRLNNNNNNQ";
        QTest::newRow("Renewed") << 7 << "IRLOPUSNAQ";
        QTest::newRow("OutputLost") << 8 << "IRLAAAAAAQ";
        QTest::newRow("WantPause") << 9 << "IRLOPUSNAQ";
        QTest::newRow("Dry") << 10 << "IQLOPUSNAQ";
        QTest::newRow("Halt") << 11 << "IIIIIIIIII";
        QTest::newRow("Park") << 12 << "LLLLLLLLLL";
    }
    void eachEventChangesEachStateAsTheTableSays()
    {
        QFETCH(int, event);
        QFETCH(QString, after);
        const Event events[] = {Start{8, 0, false},
                                Opened{resolved(8)},
                                Sounds{},
                                Silent{false, nowMs},
                                Silent{true, nowMs},
                                Closed{},
                                Reopen{placeMs},
                                Renewed{resolved(8)},
                                OutputLost{placeMs, 1000},
                                WantPause{true},
                                Dry{},
                                Halt{},
                                Park{Place{placeMs, 9000}}};
        for (int i = 0; i < letters.size(); ++i) {
            const State state = made(letters.at(i), false);
            QCOMPARE(letterOf(state), letters.at(i));
            const QChar reached = letterOf(PlayState::after(state, events[event]));
            QVERIFY2(
                reached == after.at(i),
                qPrintable(
                    QStringLiteral("from %1 to %2, not %3").arg(letters.at(i)).arg(reached, after.at(i))));
        }
    }

    void aPauseLastsUntilTheListenerResumes()
    {
        const Event others[] = {Opened{resolved(8)},
                                Sounds{},
                                Silent{false, nowMs},
                                Silent{true, nowMs},
                                Closed{},
                                Reopen{placeMs},
                                OutputLost{placeMs, 1000},
                                Renewed{resolved(8)},
                                Dry{}};
        for (const QChar letter : letters) {
            const bool isIdle = letter == QLatin1Char('I') || letter == QLatin1Char('L');
            const State state = after(made(letter, false), WantPause{true});
            QCOMPARE(wantsPause(state), !isIdle);
            for (const Event& event : others)
                QCOMPARE(wantsPause(after(state, event)), !isIdle);
            QVERIFY(!wantsPause(after(state, WantPause{false})));
            QVERIFY(wantsPause(after(state, Start{8, 0, true})));
            QVERIFY(!wantsPause(after(state, Start{8, 0, false})));
        }
    }

    void aTrackIsHeardFromItsFirstSoundOn()
    {
        State state = after(after(State(), Start{8, 3000, false}), Opened{resolved(8)});
        QCOMPARE(entryOf(state), 8);
        QVERIFY(!trackOf(state)->heard);
        state = after(state, Silent{false, nowMs});
        QVERIFY(!trackOf(state)->heard);
        for (const Event& event : {Event(Sounds{}), Event(Silent{true, nowMs}), Event(Reopen{placeMs}),
                                   Event(OutputLost{placeMs, 1000})}) {
            state = after(state, event);
            QVERIFY(trackOf(state)->heard);
        }
        QVERIFY(!trackOf(after(state, Closed{})));
        QCOMPARE(entryOf(after(state, Closed{})), 0);
    }

    void aSilenceIsAsOldAsItsBeginning()
    {
        for (const char letter : {'U', 'S'})
            for (const bool stalled : {false, true}) {
                const State state = after(made(QLatin1Char(letter), false), Silent{stalled, nowMs});
                QCOMPARE(silentSinceMs(state), std::optional<qint64>(sinceMs));
                QCOMPARE(isStalled(state), stalled);
            }
        QCOMPARE(silentSinceMs(after(made(QLatin1Char('P'), false), Silent{false, nowMs})),
                 std::optional<qint64>(nowMs));
        QVERIFY(!silentSinceMs(after(made(QLatin1Char('U'), false), Sounds{})));
    }

    void aReopenedTrackKeepsItsPositionUntilItIsHeard()
    {
        const State stalled = after(made(QLatin1Char('S'), false), Reopen{placeMs});
        QVERIFY(isStalled(stalled));
        QVERIFY(!isStalled(after(stalled, Silent{false, nowMs})));
        QCOMPARE(heldAtMs(stalled), std::optional<qint64>(placeMs));
        QCOMPARE(heldAtMs(after(stalled, Renewed{resolved(8)})), std::optional<qint64>(placeMs));
        QCOMPARE(trackOf(after(stalled, Renewed{resolved(8)}))->resolved.entry, 8);
        QVERIFY(!heldAtMs(after(stalled, Sounds{})));
        const State lost = after(stalled, OutputLost{placeMs + 1, 1000});
        QCOMPARE(heldAtMs(lost), std::optional<qint64>(placeMs + 1));
        // An output that was lost stays lost until the track is heard.
        const State again = after(after(lost, Reopen{placeMs}), Reopen{placeMs});
        QVERIFY(std::get<Reopening>(again).outputGone);
        QVERIFY(!std::get<Reopening>(stalled).outputGone);
    }
};

QTEST_GUILESS_MAIN(PlayStateTest)
#include "playstate_test.moc"
