// The reply in each type that the module uses, and what of it shows at its edges only.

#include "api/core/model/cmrequest.h"
#include "api/types/pelkqobuzalbum.h"
#include "api/types/pelkqobuzalbums.h"
#include "api/types/pelkqobuzarticle.h"
#include "api/types/pelkqobuzartist.h"
#include "api/types/pelkqobuzcatalogfeaturedresponse.h"
#include "api/types/pelkqobuzerrorresponse.h"
#include "api/types/pelkqobuzgenre.h"
#include "api/types/pelkqobuzgenrelistresponse.h"
#include "api/types/pelkqobuzgetfileurlresponse.h"
#include "api/types/pelkqobuzloginresponse.h"
#include "api/types/pelkqobuzplaylist.h"
#include "api/types/pelkqobuzpurchases.h"
#include "api/types/pelkqobuzqueryresponse.h"
#include "api/types/pelkqobuzuser.h"
#include "api/types/pelkqobuzuserfavoritesresponse.h"
#include "api/types/pelkqobuzuserplayistsresponse.h"
#include "tests/support/ownprocess.h"
#include "tests/support/rows.h"

#include <QDeadlineTimer>

#include <functional>
#include <memory>

namespace {

const QVariantHash& content()
{
    static const QVariantHash hash{{"id"_s, 5}, {"more"_s, "x"_s}};
    return hash;
}

template <typename T>
void check(const char* name)
{
    const int type = qMetaTypeId<T>();
    QCOMPARE(QByteArray(QMetaType::typeName(type)), QByteArray(name));

    const CMReply<T> fromRecord = CMReply<T>::create();
    fromRecord.setValue(T(PelkHash(content())));
    QCOMPARE(fromRecord.value().hash(), content());
    const QVariant read = fromRecord.d()->value();
    QCOMPARE(read.userType(), type);
    QCOMPARE(read.value<T>().hash(), content());

    const CMVoidReply fromSame = CMReply<T>::create();
    fromSame.setValue(read);
    QCOMPARE(CMReply<T>::from(fromSame).value().hash(), content());

    const CMVoidReply fromHash = CMReply<T>::create();
    fromHash.setValue(content());
    QCOMPARE(fromHash.d()->value().userType(), type);
    QCOMPARE(CMReply<T>::from(fromHash).value().hash(), content());

    const CMVoidReply failed = CMReply<T>::create();
    failed.setError(CMError(TrString("gone"_s)));
    QVERIFY(failed.isFinished());
    QCOMPARE(failed.d()->value().userType(), type);
    QVERIFY(CMReply<T>::from(failed).value().isEmpty());
}

using Check = void (*)(const char* name);

const QList<QPair<const char*, Check>>& records()
{
#define RECORD(name)                                                                                         \
    {                                                                                                        \
#name, check < name>                                                                                 \
    }
    static const QList<QPair<const char*, Check>> all{RECORD(PelkQobuzLoginResponse),
                                                      RECORD(PelkQobuzUser),
                                                      RECORD(PelkQobuzGenre),
                                                      RECORD(PelkQobuzGenreListResponse),
                                                      RECORD(PelkQobuzAlbum),
                                                      RECORD(PelkQobuzAlbums),
                                                      RECORD(PelkQobuzArtist),
                                                      RECORD(PelkQobuzPlaylist),
                                                      RECORD(PelkQobuzUserPlayistsResponse),
                                                      RECORD(PelkQobuzArticle),
                                                      RECORD(PelkQobuzUserFavoritesResponse),
                                                      RECORD(PelkQobuzCatalogFeaturedResponse),
                                                      RECORD(PelkQobuzPurchases),
                                                      RECORD(PelkQobuzQueryResponse),
                                                      RECORD(PelkQobuzErrorResponse),
                                                      RECORD(PelkQobuzGetFileUrlResponse)};
#undef RECORD
    return all;
}

/// Lets a test hold the lock of a reply.
class LockedData : public CMReplyData<int>
{
public:
    QMutex& lock() { return m_mutex; }
};

} // namespace

namespace {

/// The waits in this program, and what happens meanwhile.
QList<QDeadlineTimer> waits;
std::function<void()> whileWaiting;

} // namespace

// The SDK's library uses this function instead of Qt's, because symbols are looked up in the program first.
bool QWaitCondition::wait(QMutex* mutex, QDeadlineTimer deadline)
{
    waits << deadline;
    mutex->unlock();
    whileWaiting();
    mutex->lock();
    return true;
}

class ReplyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyRecordOfTheServiceWorksInAReply_data()
    {
        Rows<int> row;
        for (int i = 0; i < records().size(); ++i)
            row(records().at(i).first, i);
        QCOMPARE(records().size(), 16);
    }
    void everyRecordOfTheServiceWorksInAReply()
    {
        const auto [index] = fetched<int>();
        records().at(index).second(records().at(index).first);
    }

    void anErrorLeavesAVariantNull()
    {
        const CMReply<QVariant> reply = CMReply<QVariant>::create();
        QVERIFY(!reply.isFinished());
        QVERIFY(!reply.error().isSet());
        reply.setError(CMError(TrString("gone"_s)));
        QVERIFY(!reply.value().isValid());
        QVERIFY(!reply.d()->value().isValid());
    }

    void whetherItIsFinishedIsReadWithoutItsLock()
    {
        auto* const data = new LockedData;
        const CMReply<int> reply(data);
        data->lock().lock();
        QVERIFY(!reply.isFinished());
        data->lock().unlock();
        reply.setValue(1);
        data->lock().lock();
        QVERIFY(reply.isFinished());
        QVERIFY(reply.waitForFinished(ULONG_MAX));
        data->lock().unlock();
    }

    void readingAnUnfinishedReplyWaitsWithoutLimit_data()
    {
        addTexts({"typed", "untyped", "a variant, typed", "a variant, untyped", "the largest time"});
    }
    void readingAnUnfinishedReplyWaitsWithoutLimit()
    {
        const QByteArray way = QTest::currentDataTag();
        const CMReply<int> number = CMReply<int>::create();
        const CMReply<QVariant> variant = CMReply<QVariant>::create();
        waits.clear();
        int woken = 0;
        whileWaiting = [&] {
            if (++woken < 3)
                return; // woken for nothing, it goes on waiting
            number.setValue(5);
            variant.setValue(5);
        };
        if (way == "the largest time")
            QVERIFY(number.waitForFinished(ULONG_MAX));
        else
            QCOMPARE(way == "typed"              ? number.value()
                     : way == "untyped"          ? number.d()->value().toInt()
                     : way == "a variant, typed" ? variant.value().toInt()
                                                 : variant.d()->value().toInt(),
                     5);
        QCOMPARE(waits.size(), 3);
        for (const QDeadlineTimer& deadline : qAsConst(waits))
            QVERIFY(deadline.isForever());
    }

    void aWaitWithATimeoutLastsThatLong()
    {
        const CMReply<int> reply = CMReply<int>::create();
        waits.clear();
        whileWaiting = [&reply] { reply.setValue(5); };
        QVERIFY(reply.waitForFinished(3600000));
        QCOMPARE(waits.size(), 1);
        QVERIFY(!waits.at(0).isForever());
        QVERIFY(waits.at(0).remainingTime() > 3000000 && waits.at(0).remainingTime() <= 3600000);
    }

    void watchersAreCalledAfterTheLockIsReleased()
    {
        auto* const data = new LockedData;
        const CMReply<int> reply(data);
        int released = 0;
        for (int i = 0; i < 2; ++i)
            reply.addWatcher([&](const CMVoidReply& finished) {
                auto* const held = static_cast<LockedData*>(finished.d());
                if (held->lock().tryLock()) {
                    ++released;
                    held->lock().unlock();
                }
            });
        reply.setValue(1);
        QCOMPARE(released, 2);
    }

    void theErrorIsStoredUnchanged()
    {
        CMError error(TrString(TrCharData{"A context", "A text", "a comment", 3}, {1, "b"_s}),
                      QVariantHash{{"code"_s, 5}});
        error.insert("more"_s, 17);
        const CMReply<QVariant> reply = CMReply<QVariant>::create();
        reply.setError(error);
        QVERIFY(reply.error() == error);
        QCOMPARE(reply.error().hash().size(), 5);
    }

    void aTypeWhoseNameIsNotNormalisedIsAnAssertion()
    {
        const OwnProcess process = OwnProcess::play("type"_s);
        QVERIFY(process.crashed);
        QVERIFY2(
            process.errors.contains("qRegisterNormalizedMetaType was called with a not normalized type name, "
                                    "please call qRegisterMetaType instead."),
            process.errors.constData());
    }
};

namespace {

struct Odd
{
};

int play(const QString& /*name*/)
{
    qRegisterNormalizedMetaType<Odd>("const Odd &");
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    return OwnProcess::main<ReplyTest>(argc, argv, play);
}

#include "reply_test.moc"
