#include "api/core/model/cmrequest.h"
#include "api/types/pelkqobuzuser.h"
#include "tests/unit/api/core/model/testrecord.h"
#include "tests/unit/api/core/model/virtualslot.h"

#include <QSemaphore>
#include <QtTest>

#include <thread>

namespace {

PelkQobuzUser user(unsigned int id)
{
    return PelkQobuzUser(PelkHash(QVariantHash{{PelkQobuzUser::Id(), id}}));
}

CMError error(const char* text)
{
    return CMError(TrString(QString::fromUtf8(text)));
}

} // namespace

class CMReplyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theVirtualOperationsStandInTheirSlots()
    {
        // Behind the two destructors.
        using Base = CMReplyAbstractData;
        QCOMPARE(virtualSlot(static_cast<QVariant (Base::*)() const>(&Base::value)), 2);
        QCOMPARE(virtualSlot(static_cast<void (Base::*)(const QVariant&)>(&Base::setValue)), 3);
    }

    void aValueIsStoredAndReadInItsType()
    {
        const auto reply = CMReply<PelkQobuzUser>::create();
        QVERIFY(!reply.isFinished());
        reply.setValue(user(5));
        QVERIFY(reply.isFinished());
        QCOMPARE(reply.value().id(), 5U);
        const QVariant variant = reply.d()->value();
        QCOMPARE(variant.userType(), qMetaTypeId<PelkQobuzUser>());
        QCOMPARE(variant.value<PelkQobuzUser>(), user(5));
        QVERIFY(!reply.error().isSet());
        QVERIFY(reply.waitForFinished(0));
    }

    void theTypeIsRegisteredUnderItsOwnName()
    {
        const auto reply = CMReply<PelkQobuzUser>::create();
        reply.setValue(user(5));
        QCOMPARE(reply.d()->value().typeName(), "PelkQobuzUser");
        QCOMPARE(QMetaType::type("PelkQobuzUser"), qMetaTypeId<PelkQobuzUser>());
    }

    void aVariantOfTheExactTypeIsUsedDirectly()
    {
        const CMVoidReply reply = CMReply<PelkQobuzUser>::create();
        int finished = 0;
        reply.addWatcher([&finished](const CMVoidReply&) { ++finished; }, Qt::DirectConnection);
        reply.setValue(QVariant::fromValue(user(9)));
        QCOMPARE(CMReply<PelkQobuzUser>::from(reply).value().id(), 9U);
        QCOMPARE(finished, 1);
    }

    void aVariantWithAHashIsConverted()
    {
        const CMVoidReply reply = CMReply<PelkQobuzUser>::create();
        reply.setValue(QVariantHash{{QStringLiteral("id"), QStringLiteral("9")}});
        QCOMPARE(CMReply<PelkQobuzUser>::from(reply).value().id(), 9U);
        const CMVoidReply number = CMReply<int>::create();
        number.setValue(QVariant(QStringLiteral("12")));
        QCOMPARE(CMReply<int>::from(number).value(), 12);
    }

    void anInconvertibleVariantGivesTheDefault()
    {
        const CMVoidReply reply = CMReply<PelkQobuzUser>::create();
        reply.setValue(QVariant(QStringLiteral("nobody")));
        QVERIFY(reply.isFinished());
        QVERIFY(CMReply<PelkQobuzUser>::from(reply).value().isEmpty());
    }

    void aReplyOfAVariantStoresTheVariantItself()
    {
        const auto reply = CMReply<QVariant>::create();
        QVERIFY(reply.data() != nullptr);
        reply.setValue(QVariant(QStringLiteral("x")));
        QCOMPARE(reply.value(), QVariant(QStringLiteral("x")));
        QCOMPARE(reply.d()->value().userType(), int(QMetaType::QString));
    }

    void anErrorLeavesTheDefaultValue()
    {
        const auto reply = CMReply<PelkQobuzUser>::create();
        reply.setError(error("gone"));
        QVERIFY(reply.isFinished());
        QCOMPARE(reply.error(), error("gone"));
        QVERIFY(reply.value().isEmpty());
        QCOMPARE(reply.d()->value().userType(), qMetaTypeId<PelkQobuzUser>());
        const auto variant = CMReply<QVariant>::create();
        variant.setError(error("gone"));
        QVERIFY(!variant.d()->value().isValid());
    }

    void readingBlocksUntilTheReplyIsFinished_data()
    {
        QTest::addColumn<bool>("fails");
        QTest::newRow("value") << false;
        QTest::newRow("error") << true;
    }

    void readingBlocksUntilTheReplyIsFinished()
    {
        QFETCH(bool, fails);
        const auto reply = CMReply<PelkQobuzUser>::create();
        std::atomic<bool> finishing{false};
        std::atomic<bool> early{false};
        QSemaphore started;
        PelkQobuzUser read;
        std::thread reader([&] {
            started.release();
            read = reply.d()->value().value<PelkQobuzUser>();
            early = !finishing;
        });
        started.acquire();
        QVERIFY(!reply.waitForFinished(20));
        finishing = true;
        if (fails)
            reply.setError(error("gone"));
        else
            reply.setValue(user(3));
        reader.join();
        QVERIFY(!early);
        QCOMPARE(read.id(), fails ? 0U : 3U);
    }

    void waitingEndsAtItsTimeout_data()
    {
        QTest::addColumn<quint64>("ms");
        QTest::newRow("not at all") << quint64(0);
        QTest::newRow("some time") << quint64(30);
    }

    void waitingEndsAtItsTimeout()
    {
        QFETCH(quint64, ms);
        const auto reply = CMReply<QVariant>::create();
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!reply.waitForFinished(ms));
        QVERIFY(timer.elapsed() >= qint64(ms));
    }

    void aHugeTimeoutNeverExpires()
    {
        for (const unsigned long ms : {ULONG_MAX, ULONG_MAX - 1, ULONG_MAX / 2}) {
            const auto reply = CMReply<QVariant>::create();
            QSemaphore started;
            std::atomic<bool> finished{false};
            std::thread waiter([&] {
                started.release();
                finished = reply.waitForFinished(ms);
            });
            started.acquire();
            QVERIFY(!reply.waitForFinished(10));
            reply.setValue(QVariant());
            waiter.join();
            QVERIFY(finished);
        }
    }

    void everyWaitingThreadIsWoken()
    {
        const auto reply = CMReply<int>::create();
        std::atomic<int> sum{0};
        QSemaphore started;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                started.release();
                sum += reply.value();
            });
        started.acquire(4);
        reply.setValue(10);
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(sum.load(), 40);
    }

    void theDataIsDeletedWithTheLastHandle()
    {
        const int before = Counted::alive();
        {
            auto reply = CMReply<Counted>::create();
            CMVoidReply copy = reply;
            CMReply<Counted> same = CMReply<Counted>::from(copy);
            QCOMPARE(Counted::alive() - before, 1);
            reply = CMReply<Counted>();
            same = CMReply<Counted>();
            QCOMPARE(Counted::alive() - before, 1);
            copy.setError(error("x"));
            QCOMPARE(Counted::alive() - before, 1);
            copy = CMVoidReply();
            QCOMPARE(Counted::alive() - before, 0);
        }
        {
            const auto reply = CMReply<Counted>::create();
            reply.addWatcher([](const CMVoidReply&) {});
            reply.setValue(Counted());
        }
        QCOMPARE(Counted::alive() - before, 0);
    }

    void dataCanBeFinishedBeforeItHasAHandle()
    {
        auto* data = new CMReplyData<Counted>;
        Counted value;
        value.number = 4;
        const int alive = Counted::alive();
        data->setValue(value);
        QCOMPARE(Counted::alive().load(), alive);
        const CMReply<Counted> reply(data);
        QCOMPARE(reply.value().number, 4);
    }

    void aHandleWithoutAnAnswerIsNull()
    {
        QVERIFY(CMVoidReply().isNull());
        QVERIFY(CMReply<int>().isNull());
        QVERIFY(!CMReply<int>::create().isNull());
    }
};

QTEST_GUILESS_MAIN(CMReplyTest)
#include "cmreply_test.moc"
