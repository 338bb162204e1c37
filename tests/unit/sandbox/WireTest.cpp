#include "Client.h"

#include <QtTest>

#include <thread>

using sandbox::Json;

namespace {

const char* const genreList =
    "GET /api.json/0.2/genre/list HTTP/1.1\r\nHost: x\r\nX-App-Id: 100000001\r\n\r\n";

std::size_t announcedBytes(const RawAnswer& answer)
{
    const std::string name = "Content-Length: ";
    const auto at = answer.bytes.find(name);
    return at == std::string::npos ? 0 : std::stoul(answer.bytes.substr(at + name.size()));
}

} // namespace

/// The effect of each fault on a response, observed with a plain socket or a client.
class WireTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_client.started()); }
    void cleanup() { m_client.http().Delete("/control/faults"); }

    void aKeptConnectionAnswersManyRequests()
    {
        RawClient client(m_client.port());
        QVERIFY(client.connected());
        std::string last = genreList;
        last.insert(last.size() - 2, "Connection: close\r\n");
        client.send(std::string(genreList) + genreList + last);
        const RawAnswer answer = client.receive();
        QVERIFY(!answer.reset);
        int answers = 0;
        for (std::size_t at = 0; (at = answer.bytes.find("HTTP/1.1 200", at)) != std::string::npos; ++at)
            ++answers;
        QCOMPARE(answers, 3);
    }

    void aSlowlySentRequestIsAnswered()
    {
        RawClient client(m_client.port());
        std::string request = genreList;
        request.insert(request.size() - 2, "Connection: close\r\n");
        for (const char byte : request)
            client.send(std::string(1, byte));
        QVERIFY(client.receive().bytes.find("HTTP/1.1 200") == 0);
    }

    void invalidDataIsRefused()
    {
        RawClient client(m_client.port());
        client.send("rubbish\r\n\r\n");
        client.send(""); // the answer ends the connection
        QVERIFY(client.receive().bytes.find("HTTP/1.1 400") == 0);
    }

    void dropClosesWithoutAnAnswer()
    {
        QCOMPARE(arm({{"kind", "drop"}}), 200);
        const RawAnswer answer = raw();
        QVERIFY(answer.bytes.empty());
        QVERIFY(!answer.reset);
    }

    void resetHappensBeforeTheResponse()
    {
        QCOMPARE(arm({{"kind", "reset"}}), 200);
        const RawAnswer answer = raw();
        QVERIFY(answer.bytes.empty());
        QVERIFY(answer.reset);
    }

    void resetHappensWithinTheBody()
    {
        QCOMPARE(arm({{"kind", "reset"}, {"bytes", 100}}), 200);
        const RawAnswer answer = raw();
        QVERIFY(answer.reset);
        QCOMPARE(answer.body().size(), std::size_t(100));
        QVERIFY(announcedBytes(answer) > 100);
    }

    void truncateAnnouncesMoreThanItSends()
    {
        QCOMPARE(arm({{"kind", "truncate"}, {"bytes", 77}}), 200);
        const RawAnswer answer = raw();
        QVERIFY(!answer.reset);
        QCOMPARE(answer.body().size(), std::size_t(77));
        QVERIFY(announcedBytes(answer) > 77);
    }

    void stallSendsAPartAndKeepsTheConnectionOpen()
    {
        QCOMPARE(arm({{"kind", "stall"}, {"bytes", 20}}), 200);
        RawClient client(m_client.port());
        client.send(genreList);
        RawAnswer answer;
        std::string some;
        while (answer.body().size() < 20 && !(some = client.receiveSome()).empty())
            answer.bytes += some;
        QCOMPARE(answer.body().size(), std::size_t(20));
        QVERIFY(announcedBytes(answer) > 20);
        // The client's next request is not answered, and ends the connection.
        client.send(genreList);
        QVERIFY(client.receive().bytes.empty());
    }

    void garbageIsNotHttp()
    {
        QCOMPARE(arm({{"kind", "garbage"}}), 200);
        const RawAnswer answer = raw();
        QVERIFY(!answer.bytes.empty());
        QVERIFY(answer.bytes.find("HTTP/") == std::string::npos);
        QVERIFY(!m_client.api("genre/list?limit=1")->body.empty());
    }

    void dripSendsTheWholeBodyInPieces()
    {
        const std::string whole = m_client.api("genre/list")->body;
        QCOMPARE(arm({{"kind", "drip"}, {"bytes", 100}, {"interval_ms", 5}}), 200);
        QElapsedTimer timer;
        timer.start();
        const auto answer = m_client.api("genre/list");
        QCOMPARE(answer->body, whole);
        QVERIFY(timer.elapsed() >= qint64(whole.size() / 100) * 5);
        // The connection is good for more.
        QCOMPARE(m_client.api("genre/list")->body, whole);
    }

    void delayHoldsTheRightAnswerBack()
    {
        QCOMPARE(arm({{"kind", "delay"}, {"ms", 80}}), 200);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(m_client.api("genre/list")->status, 200);
        QVERIFY(timer.elapsed() >= 80);
    }

    void statusComesInThreeForms_data()
    {
        QTest::addColumn<QByteArray>("form");
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<QByteArray>("start");
        QTest::newRow("JSON") << QByteArray("json") << QByteArray("application/json")
                              << QByteArray("{\"code\":503");
        QTest::newRow("HTML") << QByteArray("html") << QByteArray("text/html") << QByteArray("<html>");
        QTest::newRow("empty") << QByteArray("empty") << QByteArray("application/json") << QByteArray();
    }

    void statusComesInThreeForms()
    {
        QFETCH(QByteArray, form);
        QFETCH(QByteArray, type);
        QFETCH(QByteArray, start);
        QCOMPARE(
            arm({{"kind", "status"}, {"status", 503}, {"form", form.toStdString()}, {"message", "Closed"}}),
            200);
        const auto answer = m_client.api("genre/list");
        QCOMPARE(answer->status, 503);
        QVERIFY(answer->body.compare(0, std::size_t(start.size()), start.constData()) == 0);
        QCOMPARE(answer->body.empty(), start.isEmpty());
        if (form == "json")
            QCOMPARE(Client::json(answer)["message"], Json("Closed"));
        else if (form == "html")
            QCOMPARE(answer->get_header_value("Content-Type"), type.toStdString());
    }

    void oversizeHasExactlyTheRequestedSize_data()
    {
        QTest::addColumn<bool>("chunked");
        QTest::newRow("with a length") << false;
        QTest::newRow("in chunks") << true;
    }

    void oversizeHasExactlyTheRequestedSize()
    {
        QFETCH(bool, chunked);
        QCOMPARE(arm({{"kind", "oversize"}, {"bytes", 524289}, {"chunked", chunked}}), 200);
        const auto answer = m_client.api("genre/list");
        QCOMPARE(answer->status, 200);
        QCOMPARE(answer->body.size(), std::size_t(524289));
        QVERIFY(Client::json(answer).is_object());
        QCOMPARE(answer->has_header("Content-Length"), !chunked);
    }

    void aSuccessfulResponseCanBeInvalidJson()
    {
        QCOMPARE(arm({{"kind", "not-json"}}), 200);
        const auto answer = m_client.api("genre/list");
        QCOMPARE(answer->status, 200);
        QVERIFY(Client::json(answer).is_discarded());
    }

    void anyBodyCanBeSet()
    {
        QCOMPARE(arm({{"kind", "body"}, {"body", {{"genres", nullptr}}}}), 200);
        QCOMPARE(m_client.api("genre/list")->body, std::string("{\"genres\":null}"));
        QCOMPARE(arm({{"kind", "body"}, {"body", "\xEF\xBB\xBF[1"}}), 200);
        QCOMPARE(m_client.api("genre/list")->body, std::string("\xEF\xBB\xBF[1"));
        QCOMPARE(arm({{"kind", "body"}, {"body", {1, 2}}, {"status", 503}}), 200);
        const auto failed = m_client.api("genre/list");
        QCOMPARE(failed->status, 503);
        QCOMPARE(failed->body, std::string("[1,2]"));
    }

    void redirectNamesItsTarget_data()
    {
        QTest::addColumn<QByteArray>("fault");
        QTest::addColumn<QByteArray>("location");
        const QByteArray port = QByteArray::number(m_client.port());
        QTest::newRow("location") << QByteArray(R"({"location":"/user/get"})") << QByteArray("/user/get");
        QTest::newRow("itself") << QByteArray("{}") << QByteArray("/api.json/0.2/genre/list?limit=2");
        QTest::newRow("other host") << QByteArray(R"({"host":"127.0.0.2"})")
                                    << "http://127.0.0.2:" + port + "/api.json/0.2/genre/list?limit=2";
        QTest::newRow("other host and port")
            << QByteArray(R"({"host":"127.0.0.2:81"})")
            << QByteArray("http://127.0.0.2:81/api.json/0.2/genre/list?limit=2");
    }

    void redirectNamesItsTarget()
    {
        QFETCH(QByteArray, fault);
        QFETCH(QByteArray, location);
        Json json = Json::parse(fault.toStdString());
        json["kind"] = "redirect";
        QCOMPARE(arm(json), 200);
        const auto answer = m_client.api("genre/list?limit=2");
        QCOMPARE(answer->status, 302);
        QCOMPARE(answer->get_header_value("Location"), location.toStdString());
    }

    void anotherAddressOfLoopbackCanBeServed()
    {
        sandbox::Options options;
        options.address = "127.0.0.2";
        options.port = m_client.port();
        sandbox::Sandbox other(options);
        QVERIFY(other.start());
        httplib::Client http("127.0.0.2", other.port());
        QCOMPARE(http.Get("/genre/list", m_client.headers())->status, 200);
    }

    void rateLimitSaysWhenToComeBack()
    {
        QCOMPARE(arm({{"kind", "rate-limit"}, {"retry_after", 7}}), 200);
        const auto answer = m_client.api("genre/list");
        QCOMPARE(answer->status, 429);
        QCOMPARE(answer->get_header_value("Retry-After"), std::string("7"));
    }

    void expiredTokenIsAnError401()
    {
        QCOMPARE(arm({{"kind", "expired-token"}}), 200);
        QCOMPARE(m_client.api("genre/list")->status, 401);
    }

    void theServingHostHeaderIsInTheNormalResponse()
    {
        QCOMPARE(arm({{"kind", "header"}, {"value", "http://play.qobuz.com/"}}), 200);
        const auto answer = m_client.api("genre/list");
        QCOMPARE(answer->get_header_value("X-PelkEfectiveUrl"), std::string("http://play.qobuz.com/"));
        QCOMPARE(Client::json(answer)["genres"]["total"], Json(8));
    }

    void aFaultAffectsAsManyRequestsAsSet()
    {
        QCOMPARE(arm({{"kind", "status"}, {"status", 500}, {"count", 2}}), 200);
        QCOMPARE(m_client.api("genre/get?genre_id=10")->status, 200); // another endpoint
        QCOMPARE(m_client.api("genre/list")->status, 500);
        QCOMPARE(m_client.json(m_client.http().Get("/control/faults"))["faults"][0]["left"], Json(1));
        QCOMPARE(m_client.api("genre/list")->status, 500);
        QCOMPARE(m_client.api("genre/list")->status, 200);
        QCOMPARE(m_client.json(m_client.http().Get("/control/faults"))["faults"].size(), std::size_t(0));
    }

    void aFaultCanLastAndHitEverything()
    {
        QCOMPARE(m_client.fault({{"endpoint", "*"}, {"kind", "status"}, {"count", -1}}), 200);
        for (const char* call : {"genre/list", "user/login", "no/such"})
            QCOMPARE(m_client.api(call)->status, 500);
        QCOMPARE(m_client.http().Get("/covers/albums/1_50.png")->status, 200);
        m_client.http().Delete("/control/faults");
        QCOMPARE(m_client.api("genre/list")->status, 200);
    }

    void faultsReachAudio()
    {
        m_client.login();
        const Json json = m_client.json(m_client.signedCall(m_client.trackOfKind("mp3"), 5));
        QCOMPARE(m_client.fault({{"endpoint", "stream"}, {"kind", "truncate"}, {"bytes", 5000}}), 200);
        RawClient client(m_client.port());
        client.send("GET " + m_client.local(json["url"]) + " HTTP/1.1\r\nHost: x\r\n\r\n");
        const RawAnswer answer = client.receive();
        QCOMPARE(answer.body().size(), std::size_t(5000));
        QVERIFY(announcedBytes(answer) > 100000);
    }

    void faultsThatMakeNoSenseAreRefused_data()
    {
        QTest::addColumn<QByteArray>("body");
        for (const char* body : {R"({"kind":"fire"})", R"({})", "[]", "{", R"({"kind":"drop","count":0})",
                                 R"({"kind":"status","status":9})"})
            QTest::newRow(body) << QByteArray(body);
    }

    void faultsThatMakeNoSenseAreRefused()
    {
        QFETCH(QByteArray, body);
        const auto answer = m_client.http().Post("/control/faults", body.toStdString(), "application/json");
        QCOMPARE(answer->status, 400);
        QVERIFY(!Client::json(answer)["message"].get<std::string>().empty());
        QCOMPARE(m_client.json(m_client.http().Get("/control/faults"))["faults"].size(), std::size_t(0));
    }

    void manyClientsAreServedAtOnce()
    {
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < 60; ++i)
            clients.push_back(std::make_unique<RawClient>(m_client.port()));
        std::string request = genreList;
        request.insert(request.size() - 2, "Connection: close\r\n");
        // Backwards, so that none can be answered only after the ones before it.
        for (auto client = clients.rbegin(); client != clients.rend(); ++client) {
            QVERIFY((*client)->connected());
            (*client)->send(request);
            QVERIFY((*client)->receive().bytes.find("HTTP/1.1 200") == 0);
        }
    }

    void aPortInUseIsDetected()
    {
        sandbox::Options options;
        options.port = m_client.port();
        sandbox::Sandbox second(options);
        QVERIFY(!second.start());
    }

    void stoppingEndsOpenConnectionsAndDelaysAtOnce()
    {
        auto client = std::make_unique<Client>();
        QVERIFY(client->started());
        QCOMPARE(client->fault({{"endpoint", "genre/list"}, {"kind", "delay"}, {"ms", 60000}}), 200);
        RawClient idle(client->port());
        RawClient delayed(client->port());
        delayed.send(genreList);
        while (client->json(client->http().Get("/control/requests"))["requests"].empty())
            QThread::yieldCurrentThread();
        QElapsedTimer timer;
        timer.start();
        client->sandbox().stop();
        QVERIFY(timer.elapsed() < 30000); // half of the delay
        idle.receive();
    }

private:
    int arm(Json fault)
    {
        fault["endpoint"] = "genre/list";
        return m_client.fault(fault);
    }

    RawAnswer raw()
    {
        RawClient client(m_client.port());
        client.send(genreList);
        return client.receive();
    }

    Client m_client;
};

QTEST_GUILESS_MAIN(WireTest)
#include "WireTest.moc"
