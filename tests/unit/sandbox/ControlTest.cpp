#include "Client.h"
#include "sandbox/control/Recorder.h"

#include <QtTest>

#include <set>

using sandbox::Json;

/// The paths by which tests look into the sandbox and steer it.
class ControlTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_client.started());
        QVERIFY(!m_client.login().empty());
    }
    void init() { m_client.http().Delete("/control/requests"); }

    void requestsAreRecordedAsTheyCame()
    {
        RawClient client(m_client.port());
        client.send(
            "GET /api.json/0.2/album/get?limit=2&album_id=%2Fx&limit=3&empty=&t=a+b%2Bc HTTP/1.1\r\nZulu: "
            "1\r\nHost: here\r\n"
            "X-App-Id: 100000001\r\nalpha:  2\r\nConnection: close\r\n\r\n");
        client.receive();
        const Json requests = control("requests")["requests"];
        QCOMPARE(requests.size(), std::size_t(1));
        const Json& request = requests[0];
        QCOMPARE(request["method"], Json("GET"));
        QCOMPARE(request["endpoint"], Json("album/get"));
        QCOMPARE(request["target"],
                 Json("/api.json/0.2/album/get?limit=2&album_id=%2Fx&limit=3&empty=&t=a+b%2Bc"));
        QCOMPARE(
            request["query"],
            Json::parse(R"([["limit","2"],["album_id","/x"],["limit","3"],["empty",""],["t","a b+c"]])"));
        QCOMPARE(
            request["headers"],
            Json::parse(
                R"([["Zulu","1"],["Host","here"],["X-App-Id","100000001"],["alpha","2"],["Connection","close"]])"));
        QCOMPARE(request["status"], Json(401));
        QVERIFY(std::abs(request["at_ms"].get<std::int64_t>() - QDateTime::currentMSecsSinceEpoch()) < 60000);
    }

    void theStatusIsRecordedWithTheResponse()
    {
        m_client.fault({{"endpoint", "genre/list"}, {"kind", "drop"}});
        m_client.api("genre/list"); // dropped; the client may ask a second time by itself
        m_client.api("genre/get?genre_id=1");
        m_client.api("favorite/getUserFavorites?type=tracks&limit=500");
        const Json requests = control("requests")["requests"];
        QVERIFY(requests.size() >= 3);
        QCOMPARE(requests[0]["status"], Json(0));
        QCOMPARE(requests[requests.size() - 2]["status"], Json(404));
        QCOMPARE(requests[requests.size() - 1]["status"], Json(200));
    }

    void onlyApiCallsAreListedByDefault()
    {
        m_client.http().Get("/covers/albums/1_50.png");
        m_client.api("genre/list");
        m_client.http().Get("/genre/list", m_client.headers());
        QCOMPARE(control("requests")["requests"].size(), std::size_t(2));
        QVERIFY(control("requests?all=1")["requests"].size() >= 4);
    }

    void theRecorderForgetsTheOldest()
    {
        sandbox::Recorder recorder;
        sandbox::RequestRecord record;
        record.api = true;
        const auto first = recorder.arrived(record);
        std::uint64_t last = 0;
        for (std::size_t i = 0; i < sandbox::Recorder::capacity; ++i)
            last = recorder.arrived(record);
        recorder.answered(first, 200); // gone already
        recorder.answered(last, 404);
        const Json list = recorder.requests(false)["requests"];
        QCOMPARE(list.size(), sandbox::Recorder::capacity);
        QCOMPARE(list.front()["status"], Json(0));
        QCOMPARE(list.back()["status"], Json(404));
        recorder.clear();
        recorder.answered(last, 500);
        QVERIFY(recorder.requests(true)["requests"].empty());
    }

    void reportsAreListedWithTheirItems()
    {
        const std::string id = std::to_string(m_client.trackOfKind("normal"));
        m_client.http().Delete("/control/requests");
        const std::string items =
            "?user_id=1204577&date=1700000000&duration=0&online=false&intent=streaming&sample=false"
            "&track_id=" +
            id + "&purchase=false&local=false&format_id=6&device_id=1&credential_id=2";
        const Json answer = m_client.json("track/reportStreamingStart" + items);
        QCOMPARE(answer["status"], Json("success"));
        QVERIFY(answer.contains("message"));
        QCOMPARE(m_client.api("track/reportStreamingEnd" + items)->status, 200);
        const Json reports = control("reports")["reports"];
        QCOMPARE(reports.size(), std::size_t(2));
        QCOMPARE(reports[0]["endpoint"], Json("track/reportStreamingStart"));
        QCOMPARE(reports[1]["endpoint"], Json("track/reportStreamingEnd"));
        QCOMPARE(reports[0]["items"]["track_id"], Json(id));
        QCOMPARE(reports[0]["items"]["intent"], Json("streaming"));
        QCOMPARE(reports[0]["items"].size(), std::size_t(12));
    }

    void tokensCanBeMadeToExpire()
    {
        QCOMPARE(m_client.api("user/get")->status, 200);
        QCOMPARE(m_client.http().Post("/control/token-expiry", "", "application/json")->status, 200);
        QCOMPARE(m_client.api("user/get")->status, 401);
        m_client.login();
        QCOMPARE(m_client.api("user/get")->status, 200);
        QCOMPARE(
            m_client.http().Post("/control/token-expiry", R"({"seconds":300})", "application/json")->status,
            200);
        QCOMPARE(m_client.api("user/get")->status, 200);
        QCOMPARE(
            m_client.http().Post("/control/token-expiry", R"({"seconds":"x"})", "application/json")->status,
            400);
    }

    void tracksOfEveryKindAreNamed()
    {
        const Json kinds = control("tracks");
        QCOMPARE(kinds.size(), std::size_t(11));
        for (const auto& [kind, tracks] : kinds.items()) {
            QCOMPARE(tracks.size(), std::size_t(20));
            QVERIFY(m_client.api("album/get?album_id=" + tracks[0]["album_id"].get<std::string>())->status ==
                    200);
        }
        QCOMPARE(control("tracks?kind=cd").size(), std::size_t(1));
        QCOMPARE(m_client.http().Get("/control/tracks?kind=vinyl")->status, 400);
    }

    void theCatalogueReportsItsSizes()
    {
        const Json sizes = control("catalogue");
        QVERIFY(sizes["tracks"] >= 100000);
        const auto id = std::to_string(sizes["long_playlist_id"].get<std::int64_t>());
        QCOMPARE(m_client.json("playlist/get?playlist_id=" + id)["tracks_count"], Json(2000));
    }

    void unknownControlPathsSaySo()
    {
        QCOMPARE(m_client.http().Get("/control/nothing")->status, 404);
        QCOMPARE(m_client.http().Delete("/control/tracks")->status, 404);
    }

private:
    Json control(const std::string& path) { return m_client.json(m_client.http().Get("/control/" + path)); }

    Client m_client;
};

QTEST_GUILESS_MAIN(ControlTest)
#include "ControlTest.moc"
