#include "api/core/json/pelkjson.h"
#include "player/host/StateFile.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <sys/stat.h>

#include <unistd.h>

namespace {

QByteArray contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray numberText(int value)
{
    return "{\"number\":" + QByteArray::number(value) + "}";
}

StateFile::Copier number(int value)
{
    return [value] { return [value](QByteArray* text) { *text += numberText(value); }; };
}

int numberIn(const PelkHash& data)
{
    return data.value(QStringLiteral("number")).toInt();
}

} // namespace

class StateFileTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;

    QString name() const { return m_folder->filePath(QStringLiteral("state/queue.json")); }
    std::unique_ptr<StateFile> file(int version = 1) const
    {
        return std::make_unique<StateFile>(name(), QStringLiteral("queue"), version);
    }
    void put(const QByteArray& text) const
    {
        QVERIFY(QDir().mkpath(m_folder->filePath(QStringLiteral("state"))));
        QFile target(name());
        QVERIFY(target.open(QIODevice::WriteOnly));
        target.write(text);
    }

private Q_SLOTS:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

    void savedStateSurvivesARestart()
    {
        {
            const auto first = file();
            QVERIFY(first->read().isEmpty());
            QCOMPARE(first->notice(), QString());
            first->save(number(7));
        }
        const auto next = file();
        QCOMPARE(numberIn(next->read()), 7);
        QCOMPARE(next->notice(), QString());
    }

    void theFileIsItsOwnersAlone()
    {
        put("x");
        QFile::setPermissions(name(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
        file()->save(number(7));
        struct stat status = {};
        QCOMPARE(::stat(QFile::encodeName(name()).constData(), &status), 0);
        QCOMPARE(int(status.st_mode & 07777), 0600);
    }

    void aBurstIsWrittenOnceWithItsLastValue()
    {
        int writes = 0;
        const auto target = file();
        const auto save = [&](int value) {
            target->save([&writes, value] {
                ++writes;
                return [value](QByteArray* text) { *text += numberText(value); };
            });
        };
        save(1);
        QTRY_COMPARE(numberIn(PelkHash::fromVariant(parsed()).record(QStringLiteral("data"))), 1);
        for (int i = 2; i <= 50; ++i)
            save(i);
        QTRY_COMPARE(numberIn(PelkHash::fromVariant(parsed()).record(QStringLiteral("data"))), 50);
        QCOMPARE(writes, 2);
    }

    void writingHasItsOwnThread()
    {
        const QThread* thread = nullptr;
        const QThread* copying = nullptr;
        const auto target = file();
        target->save([&thread, &copying] {
            copying = QThread::currentThread();
            return [&thread](QByteArray* text) {
                thread = QThread::currentThread();
                *text += "{}";
            };
        });
        target->flush();
        QCOMPARE(copying, QThread::currentThread());
        QVERIFY(thread && thread != QThread::currentThread());
    }

    void pendingValuesAreWrittenAtTheEnd()
    {
        const auto target = file();
        target->save(number(1));
        target->flush();
        target->save(number(2)); // would wait for the second to be over
        target->flush();
        QCOMPARE(numberIn(file()->read()), 2);
    }

    void anInvalidFileIsSetAside_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("reason");
        const QString damaged = QStringLiteral("it is incomplete or damaged");
        QTest::newRow("empty") << QByteArray() << damaged;
        QTest::newRow("incomplete") << QByteArray("{\"concern\":\"queue\",\"version\":1,\"data\":{\"numb")
                                    << damaged;
        QTest::newRow("not JSON") << QByteArray("\x00\xff", 2) << damaged;
        QTest::newRow("not an object") << QByteArray("[1]") << damaged;
        QTest::newRow("of another concern")
            << QByteArray("{\"concern\":\"history\",\"version\":1,\"data\":{}}") << damaged;
        QTest::newRow("without data") << QByteArray("{\"concern\":\"queue\",\"version\":1}") << damaged;
        QTest::newRow("without a version") << QByteArray("{\"concern\":\"queue\",\"data\":{}}") << damaged;
        QTest::newRow("of a later version")
            << QByteArray("{\"concern\":\"queue\",\"version\":3,\"data\":{\"number\":1}}")
            << QStringLiteral("it was written by a later version of the player");
    }
    void anInvalidFileIsSetAside()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, reason);
        put(text);
        const auto target = file(2);
        QVERIFY(target->read().isEmpty());
        QCOMPARE(
            target->notice(),
            QStringLiteral("%1 cannot be used: %2. It was renamed to %1.bad; the player starts without it.")
                .arg(name(), reason));
        QCOMPARE(contents(name() + QStringLiteral(".bad")), text);
        QVERIFY(!QFile::exists(name()));
        // The next one does not take its place.
        put("x");
        file()->read();
        QCOMPARE(contents(name() + QStringLiteral(".bad")), text);
        QCOMPARE(contents(name() + QStringLiteral(".bad-2")), QByteArray("x"));
    }

    void aFileOfAnEarlierVersionIsRead()
    {
        put("{\"concern\":\"queue\",\"version\":1,\"data\":{\"number\":5}}");
        QCOMPARE(numberIn(file(2)->read()), 5);
    }

    void aFileOfAnotherUserIsSetAside()
    {
        put("{\"concern\":\"queue\",\"version\":1,\"data\":{\"number\":5}}");
        if (::chown(QFile::encodeName(name()).constData(), 4321, 4321) != 0)
            return; // only root can give a file to somebody else
        const auto target = file();
        QVERIFY(target->read().isEmpty());
        QVERIFY2(target->notice().contains(QStringLiteral("it belongs to another user")),
                 qPrintable(target->notice()));
    }

    void aPipeIsSetAside()
    {
        QVERIFY(QDir().mkpath(m_folder->filePath(QStringLiteral("state"))));
        QCOMPARE(::mkfifo(QFile::encodeName(name()).constData(), 0600), 0);
        const auto target = file();
        QVERIFY(target->read().isEmpty());
        QVERIFY2(target->notice().contains(QStringLiteral("it is not a regular file")),
                 qPrintable(target->notice()));
    }

    void aFailedWriteIsReportedOnceAndRetried()
    {
        QFile blocker(m_folder->filePath(QStringLiteral("state"))); // where the folder has to be
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        const auto target = file();
        QSignalSpy failed(target.get(), &StateFile::failed);
        target->save(number(1));
        QTRY_COMPARE(failed.size(), 1);
        QVERIFY(failed.at(0).at(0).toString().startsWith(name() + QStringLiteral(" cannot be written: ")));
        target->save(number(2));
        target->flush();
        QCoreApplication::processEvents();
        QCOMPARE(failed.size(), 1);
        QVERIFY(blocker.remove());
        target->save(number(3));
        target->flush();
        QCOMPARE(numberIn(file()->read()), 3);
    }

    void aRemovedFileStaysRemoved()
    {
        const auto target = file();
        target->save(number(1));
        target->flush();
        target->save(number(2));
        QString error;
        QVERIFY2(target->remove(&error), qPrintable(error));
        target->flush();
        QVERIFY(!QFile::exists(name()));
        QVERIFY(target->remove(&error));
    }

private:
    QVariant parsed() const
    {
        PelkError error;
        return PelkJson::parse(contents(name()), error);
    }
};

QTEST_GUILESS_MAIN(StateFileTest)
#include "statefile_test.moc"
