#include "api/core/json/pelkjson.h"
#include "api/core/model/cmrootworker.h"
#include "player/memory/PlayerMemory.h"
#include "player/play/PlayEngine.h"
#include "tests/support/scriptedplayworker.h"
#include "tests/support/scriptedstream.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

/// The player's two state files: whenever the player is killed, they belong to the same moment.
class PlayerMemoryTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_folder;
    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<ScriptedPlayWorker> m_worker;
    std::unique_ptr<PlayEngine> m_engine;
    ScriptedStream* m_stream = nullptr;
    int m_names = 0;

    PelkHash data(const char* name) const
    {
        QFile file(m_folder + QLatin1Char('/') + QLatin1String(name));
        if (!file.open(QIODevice::ReadOnly))
            return PelkHash();
        PelkError error;
        return PelkHash::fromVariant(PelkJson::parse(file.readAll(), error)).record(QStringLiteral("data"));
    }
    qint64 generation(const char* name) const
    {
        return data(name).value(QStringLiteral("generation")).toLongLong();
    }
    /// With ' for ".
    void put(const char* name, QByteArray data) const
    {
        QFile file(m_folder + QLatin1Char('/') + QLatin1String(name) + QStringLiteral(".json"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        data = QByteArray("{'concern':'") + name + "','version':1,'data':" + data + "}";
        file.write(data.replace('\'', '"'));
    }

    void makeEngine()
    {
        auto clock = std::make_unique<ScriptedClock>();
        auto stream = std::make_unique<ScriptedStream>(clock.get());
        m_stream = stream.get();
        m_engine = std::make_unique<PlayEngine>(std::move(stream), std::move(clock), PlayProfile());
    }

    int add(PlayQueue::Where where)
    {
        const QString name = QString::number(++m_names);
        m_worker->uris.insert(name, QStringLiteral("http://") + name);
        const CMPath source(QStringLiteral("test:list%1").arg(m_names % 2));
        return m_engine->queue().add({ScriptedPlayWorker::row(name)}, where, source).first();
    }

private Q_SLOTS:
    void init()
    {
        m_folder = m_dir.filePath(QString::fromLatin1(QTest::currentTestFunction()) +
                                  QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY(QDir().mkpath(m_folder));
        m_root = std::make_unique<CMRootWorker>();
        m_worker = std::make_unique<ScriptedPlayWorker>();
        m_root->addWorker(m_worker.get());
        makeEngine();
    }
    void cleanup()
    {
        m_engine.reset();
        m_worker.reset();
        m_root.reset();
    }

    void thePlaceIsNeverThatOfALaterQueue()
    {
        PlayerMemory memory(m_engine.get(), m_folder);
        memory.begin();
        m_engine->jump(add(PlayQueue::Where::Replace));
        QVERIFY(m_stream->settle());
        // While the queue changes, the state is saved once a second.
        QElapsedTimer passed;
        passed.start();
        while (!passed.hasExpired(3 * StateFile::intervalMs)) {
            add(PlayQueue::Where::End);
            m_engine->seek(passed.elapsed());
            QTest::qWait(10);
            const qint64 ofPlace = generation("player.json"); // the first of the two: the queue may follow
            QVERIFY(ofPlace <= generation("queue.json"));
        }
        QVERIFY(generation("queue.json") > 1);
        m_engine->seek(42000);
        QTRY_COMPARE(data("player.json").value(QStringLiteral("positionMs")).toInt(), 42000);
        QCOMPARE(generation("queue.json"), generation("player.json"));
        QCOMPARE(data("queue.json").records(QStringLiteral("rows")).size(), m_names);
        const qint64 before = generation("queue.json");
        memory.end();
        // The next run counts on.
        makeEngine();
        PlayerMemory next(m_engine.get(), m_folder);
        QCOMPARE(next.begin(), QStringList());
        QCOMPARE(m_engine->status().positionMs, 42000);
        QCOMPARE(m_engine->queue().entries().at(0).source, CMPath(QStringLiteral("test:list1")));
        QCOMPARE(m_engine->queue().entries().at(1).source, CMPath(QStringLiteral("test:list0")));
        add(PlayQueue::Where::End);
        next.end();
        QCOMPARE(generation("queue.json"), before + 1);
        QCOMPARE(generation("player.json"), before + 1);
    }

    void theStateSavedWithTheQueueTakesPrecedence_data()
    {
        QTest::addColumn<QByteArray>("player");
        QTest::addColumn<qint64>("positionMs");
        QTest::addColumn<int>("volumePercent");
        QTest::addColumn<int>("notices");
        const QByteArray rest = "{'path':'test:track?id=b','volumePercent':20,'current':1,'positionMs':9000";
        const auto row = [&](const char* name, const QByteArray& player, bool ofQueue) {
            QTest::newRow(name) << player << (ofQueue ? 5000LL : 9000LL) << (ofQueue ? 70 : 20) << 0;
        };
        row("written after the queue", rest + ",'generation':7}", false);
        row("written before the queue", rest + ",'generation':6}", true);
        row("written before there were generations", rest + "}", true);
        row("of a queue that could not be written", rest + ",'generation':8}", false);
        row("of an absurd generation", rest + ",'generation':1e300}", true);
        QTest::newRow("that cannot be read: never louder") << QByteArray("{") << 5000LL << 30 << 1;
    }
    void theStateSavedWithTheQueueTakesPrecedence()
    {
        QFETCH(QByteArray, player);
        QFETCH(qint64, positionMs);
        QFETCH(int, volumePercent);
        QFETCH(int, notices);
        QByteArray rows;
        for (const char* id : {"a", "b"})
            rows += QByteArray(rows.isEmpty() ? "" : ",") + "{'path':'test:track?id=" + id +
                    "','mediaData':{'metaData':{'prePlayPath':'test:preplay?id=" + id + "'}}}";
        put("queue", "{'generation':7,'shuffled':false,'unshuffled':[],'rows':[" + rows +
                         "],'player':{'generation':7,'current':1,'path':'test:track?id=b',"
                         "'positionMs':5000,'volumePercent':70}}");
        put("player", player);
        PlayerMemory memory(m_engine.get(), m_folder);
        QCOMPARE(memory.begin().size(), notices);
        const PlayerStatus status = m_engine->status();
        QCOMPARE(status.queueCount, 2);
        QCOMPARE(status.row.path().param(QStringLiteral("id")), QStringLiteral("b"));
        QCOMPARE(status.state, PelkPlayLogicState::Paused);
        QCOMPARE(status.positionMs, positionMs);
        QCOMPARE(status.volumePercent, volumePercent);
    }
};

QTEST_GUILESS_MAIN(PlayerMemoryTest)
#include "playermemory_test.moc"
