#include "api/play/pelkplaylogicerrorname.h"
#include "api/play/playlogicinterface.h"
#include "api/types/pelkroles.h"

#include <QtTest>

namespace {

class Player : public PlayLogicInterface
{
public:
    PelkPlayLogicData data() const override
    {
        PelkPlayLogicData data;
        data.setState(PelkPlayLogicState::Playing);
        return data;
    }
    CMVoidReply stop(PelkPlayLogicStopReason::Enum /*reason*/) override
    {
        return CMReply<QVariant>::create();
    }
};

} // namespace

class PlayLogicInterfaceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutAPlayerThereIsASilentOne()
    {
        PlayLogicInterface* const silent = PlayLogicInterface::playerInstance();
        QVERIFY(silent);
        QCOMPARE(int(silent->data().state()), int(PelkPlayLogicState::Stopped));
        QCOMPARE(silent->data().error(), QString());
        const CMVoidReply stopped = silent->stop(PelkPlayLogicStopReason::ContentGone);
        QVERIFY(stopped.isFinished());
        QVERIFY(!stopped.error().isSet());
    }

    void theCreatedPlayerIsUsedUntilItIsDeleted()
    {
        {
            Player player;
            QCOMPARE(PlayLogicInterface::playerInstance(), &player);
            QCOMPARE(int(PlayLogicInterface::playerInstance()->data().state()),
                     int(PelkPlayLogicState::Playing));
        }
        QVERIFY(PlayLogicInterface::playerInstance());
        QCOMPARE(int(PlayLogicInterface::playerInstance()->data().state()), int(PelkPlayLogicState::Stopped));
    }

    void anEarlierPlayerThatEndsLeavesTheLaterOneAlone()
    {
        auto first = std::make_unique<Player>();
        Player second;
        first.reset();
        QCOMPARE(PlayLogicInterface::playerInstance(), &second);
    }

    void theStatesAndReasonsHaveTheirTexts()
    {
        QCOMPARE(PelkPlayLogicState::toString(PelkPlayLogicState::Paused), QStringLiteral("paused"));
        QCOMPARE(int(PelkPlayLogicState::fromString(QStringLiteral("unknown"))), -1);
        QCOMPARE(PelkPlayLogicStopReason::toString(PelkPlayLogicStopReason::Shutdown),
                 QStringLiteral("shutdown"));
    }

    void theErrorNamesAreDifferentAndNotEmpty()
    {
        const QSet<QString> names = {PelkPlaylogicErrorName::PelkPlaylogicUserSkip(),
                                     PelkPlaylogicErrorName::PelkPlaylogicUserStop(),
                                     PelkPlaylogicErrorName::PelkPlaylogicResolveFailed(),
                                     PelkPlaylogicErrorName::PelkPlaylogicStreamFailed()};
        QCOMPARE(names.size(), 4);
        QVERIFY(!names.contains(QString()));
    }

    void theDataCarryTheRowOfTheTrack()
    {
        PelkRoles row;
        row.setTitle(TrString(QStringLiteral("Song")));
        PelkPlayLogicData data;
        data.setTrackRoles(row);
        QCOMPARE(data.trackRoles().title().toString(), QStringLiteral("Song"));
        QCOMPARE(QVariant(data.variant()).value<PelkPlayLogicData>(), data);
    }
};

QTEST_GUILESS_MAIN(PlayLogicInterfaceTest)
#include "playlogicinterface_test.moc"
