#include "tests/support/patience.h"
#include "tests/unit/player/server_fixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

const QByteArray addTarget = QByteArrayLiteral("/api/player/queue/add");

QJsonObject addition(const char* where)
{
    return {{text("path"), text("test:list")}, {text("where"), text(where)}};
}

QJsonObject with(QJsonObject object, const char* key, const QJsonValue& value)
{
    object.insert(text(key), value);
    return object;
}

} // namespace

/// The player and its queue over HTTP, with real sound into a file.
class ServerPlayerTest : public QObject
{
    Q_OBJECT

    static QJsonObject player(const ServerFixture& f) { return f.client().get("/api/player").json(); }
    static QString state(const ServerFixture& f) { return player(f).value(text("state")).toString(); }
    static QJsonObject queue(const ServerFixture& f, const QByteArray& range = "from=0&to=99")
    {
        return f.client().get("/api/player/queue?" + range).json();
    }
    /// The entries' numbers, and the ids of their tracks.
    static QList<int> entries(const ServerFixture& f)
    {
        QList<int> ids;
        const QJsonArray list = queue(f).value(text("entries")).toArray();
        for (const QJsonValue& entry : list)
            ids.append(entry.toObject().value(text("id")).toInt());
        return ids;
    }
    static QStringList titles(const ServerFixture& f)
    {
        QStringList texts;
        const QJsonArray list = queue(f).value(text("entries")).toArray();
        for (const QJsonValue& entry : list)
            texts.append(entry.toObject().value(text("row")).toObject().value(text("title")).toString());
        return texts;
    }
    static int post(const ServerFixture& f, const QByteArray& operation, const QJsonObject& body = {})
    {
        return f.client().post("/api/player/" + operation, body).status;
    }
    /// A queue of the tracks 1 to `count`, not playing.
    static void fill(const ServerFixture& f, int count)
    {
        QVector<PelkRoles> rows;
        for (int i = 1; i <= count; ++i)
            rows.append(ScriptedPlayWorker::row(QString::number(i)));
        f.engine->queue().add(rows, PlayQueue::Where::Replace);
    }

private Q_SLOTS:
    void aListReplacesTheQueueAndStartsAtTheRequestedRow_data()
    {
        QTest::addColumn<int>("startAt");
        QTest::addColumn<QString>("title");
        QTest::newRow("not said") << -1 << text("Track 0");
        QTest::newRow("the first") << 0 << text("Track 0");
        QTest::newRow("in the middle") << 2 << text("Track 2");
        QTest::newRow("on a later page") << 65 << text("Track 65");
    }
    void aListReplacesTheQueueAndStartsAtTheRequestedRow()
    {
        QFETCH(int, startAt);
        QFETCH(QString, title);
        ServerFixture f;
        for (int i = 0; i < 70; ++i)
            f.addTrack(QString::number(i), 20000);
        f.start();
        fill(f, 3);
        const PanelReply reply = f.client().post(
            addTarget, startAt < 0 ? addition("replace") : with(addition("replace"), "startAt", startAt));
        QCOMPARE(reply.status, 202);
        QVERIFY(reply.json().contains(text("revision")) && reply.json().contains(text("count")));
        QTRY_COMPARE(state(f), text("playing"));
        const QJsonObject now = player(f);
        QCOMPARE(now.value(text("row")).toObject().value(text("title")).toString(), title);
        QVERIFY(now.value(text("entry")).toInt() > 3);
        QVERIFY(now.value(text("durationMs")).toInt() > 0);
        QTRY_COMPARE(queue(f).value(text("count")).toInt(), 70);
        QCOMPARE(queue(f).value(text("entries")).toArray().size(), 70);
    }

    void theCurrentTrackIsReportedWithoutItsAddress()
    {
        ServerFixture f;
        f.addTrack(text("1"), 20000);
        f.start();
        EventReader reader(f.port);
        QCOMPARE(f.client().post(addTarget, addition("replace")).status, 202);
        QTRY_COMPARE(reader.last(text("player")).value(text("state")).toString(), text("playing"));
        QTRY_COMPARE(reader.last(text("queue")).value(text("count")).toInt(), 1);
        const PanelReply reply = f.client().get("/api/player");
        for (const char* secret : {"file:", "resources", "prePlay", "preplay", "tateChange", "uri"})
            QVERIFY2(!reply.body.contains(secret), secret);
        QVERIFY(reply.json().value(text("row")).toObject().value(text("playable")).toBool());
        for (const EventReader::Event& event : reader.events())
            QVERIFY(!QJsonDocument(event.data).toJson().contains("file:"));
        QVERIFY(!f.client().get("/api/player/queue?from=0&to=9").body.contains("file:"));
    }

    void theListenersOperationsReachThePlayer()
    {
        ServerFixture f;
        for (int i = 1; i <= 3; ++i)
            f.addTrack(QString::number(i), 20000);
        f.start();
        QCOMPARE(f.client().post(addTarget, addition("replace")).status, 202);
        QTRY_COMPARE(state(f), text("playing"));
        QCOMPARE(post(f, "pause"), 204);
        QTRY_COMPARE(state(f), text("paused"));
        QCOMPARE(post(f, "play"), 204);
        QTRY_COMPARE(state(f), text("playing"));
        QTRY_COMPARE(queue(f).value(text("count")).toInt(), 3);
        const QList<int> ids = entries(f);
        QCOMPARE(post(f, "next"), 204);
        QTRY_COMPARE(player(f).value(text("entry")).toInt(), ids.at(1));
        QTRY_COMPARE(state(f), text("playing"));
        QCOMPARE(post(f, "previous"), 204);
        QTRY_COMPARE(player(f).value(text("entry")).toInt(), ids.at(0));
        QCOMPARE(post(f, "jump", {{text("entry"), ids.at(2)}}), 204);
        QTRY_COMPARE(player(f).value(text("entry")).toInt(), ids.at(2));
        QTRY_COMPARE(player(f).value(text("canSeek")).toBool(), true);
        QCOMPARE(post(f, "seek", {{text("positionMs"), 15000}}), 204);
        QTRY_VERIFY(player(f).value(text("positionMs")).toInt() >= 15000);
        QCOMPARE(post(f, "pause"), 204);
        QTRY_COMPARE(state(f), text("paused"));
        QCOMPARE(post(f, "seek", {{text("positionMs"), 15000}}), 204);
        for (int i = 0; i < 3; ++i) // none of them waits until the one before has arrived
            QCOMPARE(post(f, "seek", {{text("byMs"), -4000}}), 204);
        QVERIFY(qAbs(player(f).value(text("positionMs")).toInt() - 3000) <= 100);
        QCOMPARE(post(f, "seek", {{text("byMs"), 1500}}), 204);
        QVERIFY(qAbs(player(f).value(text("positionMs")).toInt() - 4500) <= 200);
        QCOMPARE(post(f, "stop"), 204);
        QTRY_COMPARE(state(f), text("stopped"));
        QCOMPARE(post(f, "seek", {{text("positionMs"), 1}}), 409);
    }

    void volumeAndModesAreSetOneByOneOrTogether()
    {
        ServerFixture f;
        f.start();
        QCOMPARE(post(f, "volume", {{text("percent"), 30}}), 204);
        QCOMPARE(player(f).value(text("volumePercent")).toInt(), 30);
        QCOMPARE(player(f).value(text("muted")).toBool(), false);
        QCOMPARE(post(f, "volume", {{text("muted"), true}}), 204);
        QCOMPARE(player(f).value(text("volumePercent")).toInt(), 30);
        QCOMPARE(player(f).value(text("muted")).toBool(), true);
        QCOMPARE(post(f, "volume", {{text("percent"), 70}, {text("muted"), false}}), 204);
        QCOMPARE(player(f).value(text("volumePercent")).toInt(), 70);
        QCOMPARE(player(f).value(text("muted")).toBool(), false);
        for (const char* word : {"one", "all", "off"}) {
            QCOMPARE(post(f, "mode", {{text("repeat"), text(word)}}), 204);
            QCOMPARE(player(f).value(text("repeat")).toString(), text(word));
        }
        QCOMPARE(post(f, "mode", {{text("shuffle"), true}}), 204);
        QCOMPARE(player(f).value(text("shuffle")).toBool(), true);
        QCOMPARE(player(f).value(text("repeat")).toString(), text("off"));
    }

    void theLastRemovalCanBeUndoneOnce()
    {
        ServerFixture f;
        f.start();
        fill(f, 5);
        QCOMPARE(player(f).value(text("undo")).toInt(), 0);
        QCOMPARE(post(f, "queue/undo"), 409);
        const QList<int> ids = entries(f);
        QCOMPARE(post(f, "queue/remove", {{text("entries"), QJsonArray{ids.at(1), ids.at(3)}}}), 200);
        QCOMPARE(player(f).value(text("undo")).toInt(), 2);
        QCOMPARE(post(f, "queue/undo"), 200);
        QCOMPARE(entries(f), ids);
        QCOMPARE(player(f).value(text("undo")).toInt(), 0);
        QCOMPARE(post(f, "queue/clear"), 200);
        QCOMPARE(player(f).value(text("undo")).toInt(), 5);
        // Whatever else changes the queue ends the offer.
        f.engine->queue().add({ScriptedPlayWorker::row(text("9"))}, PlayQueue::Where::End);
        QCOMPARE(player(f).value(text("undo")).toInt(), 0);
        QCOMPARE(post(f, "queue/undo"), 409);
    }

    void severalEntriesMoveAtOnce()
    {
        ServerFixture f;
        f.start();
        fill(f, 5);
        const QList<int> ids = entries(f);
        EventReader reader(f.port);
        QTRY_COMPARE(reader.last(text("queue")).value(text("count")).toInt(), 5);
        const int revision = reader.last(text("queue")).value(text("revision")).toInt();
        QCOMPARE(post(f, "queue/move",
                      {{text("entries"), QJsonArray{ids.at(4), ids.at(2)}}, {text("before"), ids.at(0)}}),
                 200);
        QCOMPARE(entries(f), (QList<int>{ids.at(2), ids.at(4), ids.at(0), ids.at(1), ids.at(3)}));
        QTRY_COMPARE(reader.last(text("queue")).value(text("revision")).toInt(), revision + 1);
    }

    void thePositionAndTheContainerOfTheCurrentEntryAreReported()
    {
        ServerFixture f;
        for (int i = 1; i <= 3; ++i)
            f.addTrack(QString::number(i), 20000);
        f.start();
        QVERIFY(player(f).value(text("place")).isNull());
        QCOMPARE(f.client().post(addTarget, with(addition("replace"), "startAt", 1)).status, 202);
        QTRY_COMPARE(state(f), text("playing"));
        QCOMPARE(player(f).value(text("place")).toInt(-1), 1);
        f.engine->queue().add({ScriptedPlayWorker::row(text("1"))}, PlayQueue::Where::End);
        const QJsonArray list = queue(f).value(text("entries")).toArray();
        QCOMPARE(list.first().toObject().value(text("source")).toString(), text("test:list"));
        QVERIFY(list.last().toObject().value(text("source")).isNull());
    }

    void recentlyPlayedTracksAreReportedAndCanBeCleared()
    {
        ServerFixture f;
        f.addTrack(text("1"), 20000);
        f.worker.nameList();
        f.start();
        const auto paths = [&f] {
            QStringList found;
            const QJsonArray items = f.client().get("/api/history").json().value(text("items")).toArray();
            for (const QJsonValue& item : items) {
                if (item.toObject().value(text("timeMs")).toDouble() < 1.6e12)
                    found << text("no time");
                found << item.toObject().value(text("row")).toObject().value(text("path")).toString();
            }
            return found;
        };
        QCOMPARE(paths(), QStringList());
        // A container that has a name, as a whole; and then a single track of it.
        QCOMPARE(f.client().get("/api/rows?path=test:menu&from=0&to=9").status, 200);
        QCOMPARE(f.client().post(addTarget, addition("replace")).status, 202);
        QTRY_COMPARE(state(f), text("playing"));
        QCOMPARE(paths(), QStringList(text("test:list")));
        f.history.add(ScriptedPlayWorker::row(text("1")));
        QCOMPARE(paths().first(), text("test:track?id=1"));
        QVERIFY(f.client().get("/api/history").json().value(text("kept")).toBool());
        QCOMPARE(f.client().post("/api/history/clear", QJsonObject()).status, 204);
        QCOMPARE(paths(), QStringList());
        f.history.setKeeping(false);
        QVERIFY(!f.client().get("/api/history").json().value(text("kept")).toBool());
    }

    void theSleepTimerIsSetReportedAndCancelled()
    {
        ServerFixture f;
        f.addTrack(text("1"), 20000);
        f.start();
        QCOMPARE(f.client().post(addTarget, addition("replace")).status, 202);
        QTRY_COMPARE(state(f), text("playing"));
        QVERIFY(player(f).value(text("sleep")).isNull());
        for (const QJsonValue& wrong :
             {QJsonValue(0), QJsonValue(-1), QJsonValue(1441), QJsonValue(1000000000)})
            QCOMPARE(post(f, "sleep", {{text("minutes"), wrong}}), 400);
        QCOMPARE(post(f, "sleep", {{text("at"), text("noon")}}), 400);
        QCOMPARE(post(f, "sleep", {{text("at"), text("track")}, {text("minutes"), 1}}), 400);
        QCOMPARE(post(f, "sleep"), 400);
        QVERIFY(player(f).value(text("sleep")).isNull());
        QCOMPARE(post(f, "sleep", {{text("minutes"), 1440}}), 204);
        const QJsonObject timer = player(f).value(text("sleep")).toObject();
        QCOMPARE(timer.value(text("at")).toString(), text("time"));
        const int leftMs = timer.value(text("leftMs")).toInt();
        QVERIFY(leftMs > 1439 * 60000 && leftMs <= 1440 * 60000);
        for (const char* at : {"track", "queue"}) {
            QCOMPARE(post(f, "sleep", {{text("at"), text(at)}}), 204);
            QCOMPARE(player(f).value(text("sleep")).toObject(), (QJsonObject{{text("at"), text(at)}}));
        }
        QCOMPARE(post(f, "sleep", {{text("at"), text("off")}}), 204);
        QVERIFY(player(f).value(text("sleep")).isNull());
        QCOMPARE(player(f).value(text("volumeLimitPercent")).toInt(), 100);
        f.engine->setVolumeLimit(40);
        QCOMPARE(player(f).value(text("volumeLimitPercent")).toInt(), 40);
    }

    void aWrongTypeIsRefusedAndChangesNothing_data()
    {
        QTest::addColumn<QByteArray>("operation");
        QTest::addColumn<QByteArray>("body");
        const auto row = [](const char* operation, const char* body) {
            QTest::addRow("%s %s", operation, body) << QByteArray(operation) << QByteArray(body);
        };
        row("jump", "{}");
        row("jump", R"({"entry": "1"})");
        row("jump", R"({"entry": null})");
        row("jump", R"({"entry": 1.5})");
        row("jump", R"({"entry": 0})");
        row("jump", R"({"entry": 99999999999999999999})");
        row("jump", R"({"entry": {"a": []}})");
        row("seek", R"({"positionMs": -1})");
        row("seek", R"({"positionMs": "0"})");
        row("seek", "{}");
        row("seek", R"({"byMs": 1.5})");
        row("seek", R"({"byMs": 9e99})");
        row("seek", R"({"positionMs": 1, "byMs": 1})");
        row("volume", "{}");
        row("volume", R"({"percent": 101})");
        row("volume", R"({"percent": -1})");
        row("volume", R"({"percent": true})");
        row("volume", R"({"muted": 1})");
        row("volume", R"({"percent": 5, "muted": "no"})");
        row("mode", "{}");
        row("mode", R"({"repeat": "twice"})");
        row("mode", R"({"repeat": true})");
        row("mode", R"({"shuffle": "yes"})");
        row("mode", R"({"shuffle": true, "repeat": 7})");
        row("queue/add", "{}");
        row("queue/add", R"({"path": "test:list"})");
        row("queue/add", R"({"path": "test:list", "where": "front"})");
        row("queue/add", R"({"path": "%% x", "where": "end"})");
        row("queue/add", R"({"path": "test:list", "where": "end", "from": 5, "to": 2})");
        row("queue/add", R"({"path": "test:list", "where": "end", "from": -5})");
        row("queue/move", R"({"entry": 1})");
        row("queue/move", R"({"before": 1})");
        row("queue/move", R"({"entries": [], "before": null})");
        row("queue/move", R"({"entry": 1, "entries": [1], "before": null})");
        row("queue/move", R"({"entry": 1, "before": "2"})");
        row("queue/remove", "{}");
        row("queue/remove", R"({"entries": []})");
        row("queue/remove", R"({"entries": 1})");
        row("queue/remove", R"({"entries": [1, "2"]})");
        row("queue/remove", R"({"entries": [1, [2]]})");
    }
    void aWrongTypeIsRefusedAndChangesNothing()
    {
        QFETCH(QByteArray, operation);
        QFETCH(QByteArray, body);
        ServerFixture f;
        f.start();
        fill(f, 3);
        const QJsonObject before = player(f);
        const PanelReply reply = f.client().post("/api/player/" + operation, body);
        QCOMPARE(reply.status, 400);
        QVERIFY2(reply.detail().endsWith(QLatin1Char('.')), qPrintable(reply.detail()));
        QCOMPARE(player(f), before);
    }

    void rowsComeNextOrAtTheEnd()
    {
        ServerFixture f;
        for (const char* id : {"a", "b", "-folder", "c", "1", "2"})
            f.addTrack(text(id), 20000);
        f.start();
        fill(f, 2);
        QCOMPARE(f.client().post(addTarget, with(with(addition("end"), "from", 1), "to", 3)).status, 202);
        QTRY_COMPARE(titles(f).join(QLatin1Char(',')), text("Track 1,Track 2,Track b,Track c"));
        f.engine->jump(entries(f).first());
        QCOMPARE(f.client().post(addTarget, with(with(addition("next"), "from", 0), "to", 0)).status, 202);
        QTRY_COMPARE(titles(f).join(QLatin1Char(',')), text("Track 1,Track a,Track 2,Track b,Track c"));
    }

    void aListWithoutTracksOrWithoutAnswerIsANotice()
    {
        ServerFixture f;
        f.worker.script.list << text("-1") << text("-2");
        f.start();
        EventReader reader(f.port);
        QTRY_VERIFY(reader.events().size() >= 2);
        QCOMPARE(f.client().post(addTarget, addition("replace")).status, 202);
        QTRY_COMPARE(reader.last(text("notification")),
                     (QJsonObject{{text("title"), text("Nothing to play")},
                                  {text("message"), text("The list contains no playable track.")}}));
        QCOMPARE(
            f.client()
                .post(addTarget, QJsonObject{{text("path"), text("none:x")}, {text("where"), text("end")}})
                .status,
            202);
        QTRY_COMPARE(reader.last(text("notification")),
                     (QJsonObject{{text("title"), text("The queue is not complete")},
                                  {text("message"), text("No service answers at \"none:x\".")}}));
    }

    void aTrackThatCannotBePlayedIsANotice()
    {
        ServerFixture f;
        f.worker.script.list << text("1");
        f.start();
        EventReader reader(f.port);
        QTRY_VERIFY(reader.events().size() >= 2);
        QCOMPARE(f.client().post(addTarget, addition("replace")).status, 202);
        QTRY_VERIFY(reader.count(text("notification")) > 0);
        QVERIFY(
            reader.last(text("notification")).value(text("message")).toString().contains(text("no track")));
    }

    void aPauseOrStopWhileItsListLoadsKeepsItSilent_data()
    {
        QTest::addColumn<QByteArray>("operation");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("pause") << QByteArray("pause") << text("paused");
        QTest::newRow("stop") << QByteArray("stop") << text("stopped");
    }
    void aPauseOrStopWhileItsListLoadsKeepsItSilent()
    {
        QFETCH(QByteArray, operation);
        QFETCH(QString, outcome);
        ServerFixture f;
        f.addTrack(text("a"), 20000);
        f.addTrack(text("b"), 20000);
        f.worker.silent = true;
        f.start();
        QCOMPARE(f.client().post(addTarget, with(addition("replace"), "startAt", 1)).status, 202);
        QTRY_COMPARE(f.worker.kept.size(), 1);
        QCOMPARE(post(f, operation), 204);
        f.worker.script.getRowsRequest(f.worker.kept.first());
        QTRY_COMPARE(queue(f).value(text("count")).toInt(), 2);
        QTRY_COMPARE(state(f), outcome);
        QCOMPARE(player(f).value(text("row")).toObject().value(text("title")).toString(), text("Track b"));
        QVERIFY(!f.worker.script.states.contains(text("b playing")));
        QCOMPARE(post(f, "play"), 204);
        QTRY_COMPARE(state(f), text("playing"));
        QCOMPARE(player(f).value(text("row")).toObject().value(text("title")).toString(), text("Track b"));
    }

    void aListStartedDuringAPauseIsHeard()
    {
        ServerFixture f;
        f.addTrack(text("a"), 20000);
        f.start();
        QCOMPARE(f.client().post(addTarget, addition("replace")).status, 202);
        QTRY_COMPARE(state(f), text("playing"));
        QCOMPARE(post(f, "pause"), 204);
        QTRY_COMPARE(state(f), text("paused"));
        QCOMPARE(f.client().post(addTarget, addition("replace")).status, 202);
        QTRY_COMPARE(state(f), text("playing"));
    }

    void aListThatFailsLeavesTheQueueAlone()
    {
        ServerFixture f;
        f.start();
        fill(f, 3);
        EventReader reader(f.port);
        QTRY_VERIFY(reader.events().size() >= 2);
        QCOMPARE(f.client()
                     .post(addTarget,
                           QJsonObject{{text("path"), text("none:x")}, {text("where"), text("replace")}})
                     .status,
                 202);
        QTRY_COMPARE(reader.count(text("notification")), 1);
        QCOMPARE(titles(f).join(QLatin1Char(',')), text("Track 1,Track 2,Track 3"));
    }

    void tooManyListsAtOnceAreRefused()
    {
        ServerFixture f;
        f.worker.silent = true;
        f.start();
        for (int i = 0; i < 8; ++i)
            QCOMPARE(f.client().post(addTarget, addition("end")).status, 202);
        QCOMPARE(f.client().post(addTarget, addition("end")).status, 503);
    }

    void theQueueIsReadInRanges()
    {
        ServerFixture f;
        f.start();
        fill(f, 250);
        const QJsonObject page = queue(f, "from=100&to=199");
        QCOMPARE(page.value(text("count")).toInt(), 250);
        QCOMPARE(page.value(text("from")).toInt(), 100);
        const QJsonArray list = page.value(text("entries")).toArray();
        QCOMPARE(list.size(), 100);
        QCOMPARE(list.first().toObject().value(text("row")).toObject().value(text("title")).toString(),
                 text("Track 101"));
        QCOMPARE(queue(f, "from=240&to=339").value(text("entries")).toArray().size(), 10);
        QCOMPARE(queue(f, "from=900&to=901").value(text("entries")).toArray().size(), 0);
        QCOMPARE(f.client().get("/api/player/queue?from=0&to=100").status, 400);
        QCOMPARE(f.client().get("/api/player/queue").status, 400);
    }

    void twoBrowsersMoveTheSameQueue()
    {
        ServerFixture f;
        f.start();
        fill(f, 6);
        const QList<int> ids = entries(f);
        EventReader one(f.port);
        EventReader two(f.port);
        QTRY_VERIFY(one.events().size() >= 2 && two.events().size() >= 2);
        const double revision = queue(f).value(text("revision")).toDouble();
        // Both at once: each is done, in one order or the other, and nothing is lost.
        const auto request = [&](int entry, const QByteArray& before) {
            const QByteArray body = "{\"entry\":" + QByteArray::number(entry) + ",\"before\":" + before + "}";
            return "POST /api/player/queue/move HTTP/1.1\r\nHost: " + f.client().host() +
                   "\r\nContent-Type: application/json\r\nContent-Length: " +
                   QByteArray::number(body.size()) + "\r\n\r\n" + body;
        };
        PendingReply first(f.port, request(ids.at(0), "null"));
        PendingReply second(f.port, request(ids.at(5), QByteArray::number(ids.at(1))));
        QVERIFY(first.wait(patienceMs) && second.wait(patienceMs));
        QCOMPARE(first.reply().status, 200);
        QCOMPARE(second.reply().status, 200);
        QList<int> now = entries(f);
        QCOMPARE(queue(f).value(text("revision")).toDouble(), revision + 2);
        std::sort(now.begin(), now.end());
        QCOMPARE(now, ids);
        QTRY_COMPARE(one.last(text("queue")).value(text("revision")).toDouble(), revision + 2);
        QTRY_COMPARE(two.last(text("queue")).value(text("revision")).toDouble(), revision + 2);
        // An entry that one client has removed cannot be moved by the other, which gets an error.
        QCOMPARE(post(f, "queue/remove", {{text("entries"), QJsonArray{ids.at(2), ids.at(3)}}}), 200);
        const PanelReply gone = f.client().post(
            "/api/player/queue/move", QJsonObject{{text("entry"), ids.at(2)}, {text("before"), ids.at(4)}});
        QCOMPARE(gone.status, 409);
        QCOMPARE(gone.detail(), text("That entry is no longer in the queue."));
        QCOMPARE(post(f, "queue/move", {{text("entry"), ids.at(4)}, {text("before"), ids.at(2)}}), 409);
        QCOMPARE(post(f, "queue/remove", {{text("entries"), QJsonArray{ids.at(2)}}}), 409);
        QCOMPARE(post(f, "queue/remove", {{text("entries"), QJsonArray{ids.at(2), ids.at(4)}}}), 200);
        QCOMPARE(post(f, "jump", {{text("entry"), ids.at(2)}}), 409);
        QCOMPARE(entries(f).size(), 3);
        QCOMPARE(post(f, "queue/clear"), 200);
        QCOMPARE(entries(f).size(), 0);
        QTRY_COMPARE(two.last(text("queue")).value(text("count")).toInt(-1), 0);
    }

    void aHundredOperationsOfFourBrowsersAtOnceLeaveThemAgreed()
    {
        constexpr int browsers = 4;
        constexpr int operations = 100;
        ServerFixture f;
        for (int i = 1; i <= 5; ++i)
            f.addTrack(QString::number(i), 20000);
        f.start();
        fill(f, 12); // of which the first five can be played
        const QList<int> ids = entries(f);
        std::vector<std::unique_ptr<EventReader>> readers;
        for (int i = 0; i < browsers; ++i)
            readers.push_back(std::make_unique<EventReader>(f.port));
        for (const auto& reader : readers)
            QTRY_VERIFY(!reader->last(text("queue")).isEmpty());
        const auto operation = [&ids](int number) -> QPair<QByteArray, QJsonObject> {
            const int entry = ids.at(number * 7 % ids.size());
            const bool isOdd = number / 10 % 2 != 0;
            switch (number % 10) {
            case 0:
                return {isOdd ? "queue/undo" : "queue/add", isOdd ? QJsonObject() : addition("next")};
            case 1:
                return {"queue/remove", {{text("entries"), QJsonArray{entry}}}};
            case 2:
                return {"queue/undo", {}};
            case 3:
                return {"queue/move", {{text("entry"), entry}, {text("before"), ids.at(number % 12)}}};
            case 4:
                return {"volume", {{text("percent"), number}, {text("muted"), isOdd}}};
            case 5:
                return {"mode", {{text("shuffle"), isOdd}, {text("repeat"), text(isOdd ? "all" : "off")}}};
            case 6:
                return {"jump", {{text("entry"), entry}}};
            case 7:
                return {isOdd ? "next" : "previous", {}};
            case 8:
                return {"sleep", {{text("minutes"), number}}};
            default:
                return {isOdd ? "pause" : "play", {}};
            }
        };
        std::vector<std::unique_ptr<PendingReply>> replies;
        for (int i = 0; i < operations; ++i) {
            const auto [name, body] = operation(i);
            const QByteArray json = QJsonDocument(body).toJson();
            replies.push_back(std::make_unique<PendingReply>(
                f.port, "POST /api/player/" + name + " HTTP/1.1\r\nHost: " + f.client().host() +
                            "\r\nContent-Type: application/json\r\nContent-Length: " +
                            QByteArray::number(json.size()) + "\r\n\r\n" + json));
        }
        for (int i = 0; i < operations; ++i) {
            QVERIFY(replies.at(size_t(i))->wait(patienceMs));
            const int status = replies.at(size_t(i))->reply().status;
            // What another browser has removed cannot be used, and what it has changed cannot be undone.
            QVERIFY2(status == 200 || status == 202 || status == 204 || status == 409,
                     qPrintable(QString::fromLatin1(operation(i).first) + QString::number(status)));
        }
        QTRY_VERIFY(!f.engine->queue().turns().isGrowing());
        QCOMPARE(post(f, "stop"), 204);
        QTRY_COMPARE(state(f), text("stopped"));
        // All that a browser shows, but for what goes on by itself.
        const auto shown = [](QJsonObject status) {
            QJsonObject sleep = status.value(text("sleep")).toObject();
            sleep.remove(text("leftMs"));
            status.insert(text("sleep"), sleep);
            return QJsonDocument(status).toJson();
        };
        for (const auto& reader : readers) {
            QTRY_COMPARE(shown(reader->last(text("player"))), shown(player(f)));
            QTRY_COMPARE(reader->last(text("queue")), player(f).value(text("queue")).toObject());
        }
        const QList<int> left = entries(f);
        QCOMPARE(left.size(), f.engine->queue().entries().size());
        QCOMPARE(QSet<int>(left.begin(), left.end()).size(), left.size());
        QVERIFY(left.size() > 1);
    }

    void aLateReaderGetsThePresentPosition()
    {
        ServerFixture f;
        f.addTrack(text("1"), 20000);
        f.start();
        EventReader first(f.port);
        QTRY_COMPARE(first.events().size(), 2);
        QCOMPARE(f.client()
                     .post("/api/player/queue/add",
                           QJsonObject{{text("path"), text("test:list")}, {text("where"), text("replace")}})
                     .status,
                 202);
        QTRY_COMPARE(first.last(text("player")).value(text("state")).toString(), text("playing"));
        const double told = first.last(text("player")).value(text("positionMs")).toDouble();
        QTRY_VERIFY(f.engine->status().positionMs > told + 300);
        const double now = double(f.engine->status().positionMs);
        EventReader second(f.port);
        QTRY_COMPARE(second.last(text("player")).value(text("state")).toString(), text("playing"));
        const double position = second.last(text("player")).value(text("positionMs")).toDouble();
        QVERIFY2(position >= now - 250,
                 qPrintable(QString::number(position) + text(" ") + QString::number(now)));
    }

    void stoppingAnswersEveryRequestWhileTheMainThreadIsBusy()
    {
        ServerFixture f;
        f.start();
        PendingReply waiting(f.port, "GET /api/player HTTP/1.1\r\nHost: " + f.client().host() + "\r\n\r\n");
        // The request may or may not have been processed: this thread, which it needs, stops the server.
        QVERIFY(waiting.socket().waitForConnected(20000));
        QVERIFY(waiting.socket().waitForBytesWritten(20000) || waiting.isFinished());
        f.server->stop();
        QVERIFY(waiting.wait(patienceMs));
        QVERIFY(waiting.reply().status == 503 || waiting.reply().status == 0);
    }
};

QTEST_GUILESS_MAIN(ServerPlayerTest)
#include "server_player_test.moc"
