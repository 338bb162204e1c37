// The request for a stream and the reports of a track, byte for byte, at a time that the test sets.

#include "tests/conformance/servicecalls.h"
#include "tests/conformance/wallclock.h"
#include "tests/support/testhttpserver.h"

#include <QCryptographicHash>
#include <QtTest>

#include <memory>

class SigningConformanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        WallClock::set(WallClock::standardSeconds);
        m_server = std::make_unique<TestHttpServer>();
        m_server->setHandler([](const TestHttpServer::Request&) { return TestHttpServer::json("{}"); });
        m_host = std::make_unique<ModuleHost>(m_server->url(QStringLiteral("/api/")));
        m_host->setSession();
    }
    void cleanup()
    {
        QVERIFY(isIdle());
        m_host.reset();
        m_server.reset();
    }

    // The digests are those of the md5sum program.
    void aStreamIsAskedForWithItsFormatTheTimeAndASignature_data()
    {
        QTest::addColumn<int>("quality");
        QTest::addColumn<QByteArray>("tail");
        const QByteArray mp3 = "5&request_ts=1700000000&request_sig=111b92edbdb055e4c4bb5e20533e2048";
        QTest::newRow("quality 0") << 0 << mp3;
        QTest::newRow("quality 1")
            << 1 << QByteArray("6&request_ts=1700000000&request_sig=d73350a04650469a6ca26255421bd9b9");
        QTest::newRow("quality 2")
            << 2 << QByteArray("7&request_ts=1700000000&request_sig=f9ff47462452155cade1e0bb4a2a22a4");
        QTest::newRow("quality 3")
            << 3 << QByteArray("27&request_ts=1700000000&request_sig=b6065b0facc27f4b6299521a9c03dd62");
        QTest::newRow("quality 4") << 4 << mp3;
        QTest::newRow("quality -1") << -1 << mp3;
        QTest::newRow("quality 27") << 27 << mp3;
    }
    void aStreamIsAskedForWithItsFormatTheTimeAndASignature()
    {
        QFETCH(int, quality);
        QFETCH(QByteArray, tail);
        m_host->setQuality(static_cast<PelkQobuzSoundQuality::Enum>(quality));
        m_host->start();
        QVERIFY(resolve(*m_host).finished);
        QCOMPARE(targets(), QByteArrayList{"/api/track/getFileUrl?track_id=12345&format_id=" + tail});
    }

    void theTimeThatIsSentIsTheOneThatIsSigned()
    {
        m_host->start();
        WallClock::advanceWithEachReading();
        for (int track = 1; track <= 3; ++track)
            QVERIFY(resolve(*m_host, track).finished);
        QByteArrayList times;
        for (const TestHttpServer::Request& request : m_server->requests()) {
            const QByteArray seconds = request.queryValue("request_ts");
            const QByteArray text =
                "trackgetFileUrlformat_id5track_id" + request.queryValue("track_id") + seconds + "app-secret";
            QCOMPARE(request.queryValue("request_sig"),
                     QCryptographicHash::hash(text, QCryptographicHash::Md5).toHex());
            times << seconds;
        }
        QCOMPARE(times.size(), 3);
        QVERIFY(times.at(0) < times.at(1) && times.at(1) < times.at(2)); // read for each request
    }

    void theSecretIsReadForEveryStreamAndShownNowhere()
    {
        const QString secret = QStringLiteral("geheim-\u00fc\u20ac");
        const QString url = m_server->url(QStringLiteral("/api/"));
        const QByteArray sent = "&request_ts=1700000000&request_sig=";
        m_host->setQuality(PelkQobuzSoundQuality::Cd);
        m_host->start();
        const LogCapture log(QStringLiteral("Qobuz"));
        m_host->setSettings(url, QStringLiteral("app-id"), secret);
        QVERIFY(resolve(*m_host, 1).finished);
        m_host->setSettings(url, QStringLiteral("app-id"), QString());
        QVERIFY(resolve(*m_host, -1).finished);
        QCOMPARE(targets(), (QByteArrayList{"/api/track/getFileUrl?track_id=1&format_id=6" + sent +
                                                "699436f5c445e93e403084528a4f8607",
                                            "/api/track/getFileUrl?track_id=-1&format_id=6" + sent +
                                                "0a9a7ee5115179a5c6f8f1e3e0154f6b"}));
        for (const TestHttpServer::Request& request : m_server->requests())
            for (const TestHttpServer::Pair& header : request.headers)
                QVERIFY(!header.second.contains("geheim"));
        for (const LogCapture::Record& record : log.records())
            QVERIFY2(!record.text.contains(QLatin1String("geheim")), qPrintable(record.text));
    }

    void aRefusedSignatureIsNotMadeAgain_data()
    {
        QTest::addColumn<QString>("message");
        QTest::newRow("a wrong signature") << QStringLiteral("Invalid Request Signature parameter");
        QTest::newRow("a time that is over") << QStringLiteral("Request signature expired");
    }
    void aRefusedSignatureIsNotMadeAgain()
    {
        QFETCH(QString, message);
        m_server->answer("/api/track/getFileUrl",
                         TestHttpServer::json("{\"message\":\"" + message.toUtf8() + "\"}", 400));
        m_host->start();
        const ModuleHost::Data answer = resolve(*m_host);
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.message().toString(), message);
        QCOMPARE(requestsInAll(*m_server), 1);
    }

    void aReportCarriesTheseItemsInThisOrder_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("format");
        QTest::addColumn<QByteArray>("endpoint");
        const auto row = [](const char* name, PelkPlayLogicState::Enum state, int format) {
            QTest::newRow(name) << int(state) << format
                                << QByteArray(state == PelkPlayLogicState::Playing
                                                  ? "track/reportStreamingStart"
                                                  : "track/reportStreamingEnd");
        };
        row("a start, MP3", PelkPlayLogicState::Playing, 5);
        row("a start, 192 kHz", PelkPlayLogicState::Playing, 27);
        row("a start, a number that only a quality has", PelkPlayLogicState::Playing, 3);
        row("a start, a number without a meaning", PelkPlayLogicState::Playing, -42);
        row("an end, CD", PelkPlayLogicState::Stopped, 6);
        row("an end, 96 kHz", PelkPlayLogicState::Stopped, 7);
        row("an end, format 0", PelkPlayLogicState::Stopped, 0);
    }
    void aReportCarriesTheseItemsInThisOrder()
    {
        QFETCH(int, state);
        QFETCH(int, format);
        QFETCH(QByteArray, endpoint);
        m_host->start();
        WallClock::set(1800000001);
        QVERIFY(report(*m_host, static_cast<PelkPlayLogicState::Enum>(state), format).finished);
        QVERIFY(m_server->waitForRequests(1));
        QCOMPARE(targets(),
                 QByteArrayList{"/api/" + endpoint +
                                "?user_id=77&date=1800000001&duration=0&online=false&intent=streaming"
                                "&sample=false&track_id=12345&purchase=false&local=false&format_id=" +
                                QByteArray::number(format) + "&device_id=99&credential_id=88"});
        const TestHttpServer::Request request = m_server->requests().at(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QVERIFY(request.body.isEmpty());
    }

private:
    QByteArrayList targets() const
    {
        QByteArrayList found;
        for (const TestHttpServer::Request& request : m_server->requests())
            found << request.target;
        return found;
    }

    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<ModuleHost> m_host;
};

QTEST_GUILESS_MAIN(SigningConformanceTest)
#include "signing_conformance_test.moc"
