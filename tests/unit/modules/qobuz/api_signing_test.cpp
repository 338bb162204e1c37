#include "apifixture.h"

#include <QtTest>

#include <ctime>

namespace {

constexpr time_t now = 1700000000;
int timesRead = 0;

} // namespace

/// The clock of the objects that are linked into this program: its linker puts this in place of time().
extern "C" time_t
__wrap_time(time_t* result); // NOLINT(bugprone-reserved-identifier): the linker's name for it
extern "C" time_t __wrap_time(time_t* result)
{
    const time_t seconds = now + timesRead; // another second each time
    ++timesRead;
    if (result)
        *result = seconds;
    return seconds;
}

class ApiSigningTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { timesRead = 0; }

    // The digests are those of the md5sum program.
    void aStreamIsAskedForWithATimeAndASignature_data()
    {
        QTest::addColumn<int>("quality");
        QTest::addColumn<QByteArray>("target");
        const QByteArray start = "/api/track/getFileUrl?track_id=12345&format_id=";
        const QByteArray mp3 = start + "5&request_ts=1700000000&request_sig=111b92edbdb055e4c4bb5e20533e2048";
        QTest::newRow("quality 3")
            << 3 << start + "27&request_ts=1700000000&request_sig=b6065b0facc27f4b6299521a9c03dd62";
        QTest::newRow("quality 2")
            << 2 << start + "7&request_ts=1700000000&request_sig=f9ff47462452155cade1e0bb4a2a22a4";
        QTest::newRow("quality 1")
            << 1 << start + "6&request_ts=1700000000&request_sig=d73350a04650469a6ca26255421bd9b9";
        QTest::newRow("quality 0") << 0 << mp3;
        QTest::newRow("quality 4") << 4 << mp3;
        QTest::newRow("quality -1") << -1 << mp3;
        QTest::newRow("quality 27") << 27 << mp3;
    }
    void aStreamIsAskedForWithATimeAndASignature()
    {
        QFETCH(int, quality);
        QFETCH(QByteArray, target);
        ApiFixture f;
        timesRead = 0;
        const auto reply = f.api.getFileUrl(12345, static_cast<PelkQobuzSoundQuality::Enum>(quality));
        QCOMPARE(timesRead, 1); // once: both times are the same value
        QVERIFY(ModuleHost::wait(reply));
        const TestHttpServer::Request request = f.server.requests().at(0);
        QCOMPARE(request.target, target);
        QCOMPARE(request.header("X-User-Auth-Token"), QByteArray("token-1"));
        QCOMPARE(request.header("X-App-Id"), QByteArray("app-id"));
    }

    void theSecretIsReadForEveryStreamAndIsNotSent()
    {
        ApiFixture f;
        const QString url = f.server.url(QStringLiteral("/api/"));
        f.host.setSettings(url, QStringLiteral("app-id"), QStringLiteral("geheim-\u00fc\u20ac"));
        timesRead = 0;
        QVERIFY(ModuleHost::wait(f.api.getFileUrl(1, PelkQobuzSoundQuality::Cd)));
        f.host.setSettings(url, QStringLiteral("app-id"), QString());
        timesRead = 0;
        QVERIFY(ModuleHost::wait(f.api.getFileUrl(-1, PelkQobuzSoundQuality::Cd)));
        const QList<TestHttpServer::Request> requests = f.server.requests();
        QCOMPARE(requests.at(0).queryValue("request_sig"), QByteArray("699436f5c445e93e403084528a4f8607"));
        QCOMPARE(requests.at(1).queryValue("request_sig"), QByteArray("0a9a7ee5115179a5c6f8f1e3e0154f6b"));
        QVERIFY(!requests.at(0).target.contains("geheim"));
    }

    void askingForAStreamWritesTheQuality()
    {
        ApiFixture f;
        LogCapture log(QStringLiteral("Qobuz"));
        f.api.getFileUrl(1, PelkQobuzSoundQuality::Hires96);
        QCOMPARE(log.texts(log4cplus::TRACE_LOG_LEVEL).value(0),
                 QStringLiteral("Enter CMReply<PelkQobuzGetFileUrlResponse> QobuzApi::getFileUrl(const int&, "
                                "const PelkQobuzSoundQuality::Enum&): quality hires96"));
    }

    void aRefusedSignatureFailsAndIsNotTriedAgain()
    {
        ApiFixture f;
        f.server.answer("/api/track/getFileUrl",
                        TestHttpServer::json("{\"message\":\"Invalid Request Signature\"}", 400));
        const auto reply = f.api.getFileUrl(1, PelkQobuzSoundQuality::Cd);
        QVERIFY(ModuleHost::wait(reply));
        QCOMPARE(reply.error().message().toString(), QStringLiteral("Invalid Request Signature"));
        QCOMPARE(f.server.requestCount(), 1);
    }

    void aReportSendsItsTwelveItemsInOrder_data()
    {
        QTest::addColumn<int>("format");
        QTest::addColumn<bool>("purchase");
        QTest::addColumn<bool>("local");
        QTest::addColumn<QByteArray>("tail");
        QTest::newRow("a purchase") << 27 << true << false
                                    << QByteArray("purchase=true&local=false&format_id=27");
        QTest::newRow("a local one") << 5 << false << true
                                     << QByteArray("purchase=false&local=true&format_id=5");
        QTest::newRow("neither") << 6 << false << false
                                 << QByteArray("purchase=false&local=false&format_id=6");
        QTest::newRow("a format of another number")
            << 42 << true << true << QByteArray("purchase=true&local=true&format_id=42");
        QTest::newRow("a format that looks like a quality")
            << 3 << true << true << QByteArray("purchase=true&local=true&format_id=3");
    }
    void aReportSendsItsTwelveItemsInOrder()
    {
        QFETCH(int, format);
        QFETCH(bool, purchase);
        QFETCH(bool, local);
        QFETCH(QByteArray, tail);
        const auto kind = static_cast<PelkQobuzAudioFormat::Enum>(format);
        ApiFixture f;
        const auto report = [&](int index, const QByteArray& path, const QByteArray& duration,
                                const std::function<CMVoidReply()>& make) {
            timesRead = 0;
            const CMVoidReply reply = make();
            QCOMPARE(timesRead, 1);
            QVERIFY(ModuleHost::wait(reply));
            const TestHttpServer::Request request = f.server.requests().at(index);
            QCOMPARE(request.method, QByteArray("GET"));
            QVERIFY(request.body.isEmpty());
            QCOMPARE(request.target, "/api/" + path + "?user_id=77&date=1700000000&duration=" + duration +
                                         "&online=false&intent=streaming&sample=false&track_id=12345&" +
                                         tail + "&device_id=99&credential_id=88");
            QCOMPARE(request.header("X-User-Auth-Token"), QByteArray("token-1"));
        };
        report(0, "track/reportStreamingStart", "0",
               [&] { return f.api.reportStreamingStart(12345, kind, purchase, local); });
        report(1, "track/reportStreamingEnd", "217",
               [&] { return f.api.reportStreamingEnd(12345, 217, kind, purchase, local); });
        report(2, "some/where", "-1", [&] {
            return f.api.reportStreaming(QStringLiteral("some/where"), 12345, -1, kind, purchase, local);
        });
    }

    void aReportWritesItsFormat()
    {
        ApiFixture f;
        LogCapture log(QStringLiteral("Qobuz"));
        f.api.reportStreamingEnd(12345, 217, PelkQobuzAudioFormat::Flac24_192, false, true);
        const QString text = log.texts(log4cplus::TRACE_LOG_LEVEL).value(0);
        QVERIFY(text.startsWith(
            QLatin1String("Enter CMReply<PelkQobuzErrorResponse> QobuzApi::reportStreaming(const QString&, "
                          "const int&, const "
                          "int&, const PelkQobuzAudioFormat::Enum&, const bool&, const bool&): ")));
        QVERIFY(text.contains(QLatin1String("formatId flac24_192")));
    }

    void largeIdsOfTheSavedLoginAreSentUnsigned()
    {
        ApiFixture f;
        f.api.updateUserSession(QString(), QStringLiteral("t"), 4294967295u, 4294967294u, 4294967293u);
        QVERIFY(ModuleHost::wait(f.api.reportStreamingStart(1, PelkQobuzAudioFormat::Mp3_320, true, true)));
        const TestHttpServer::Request request = f.server.requests().at(0);
        QCOMPARE(request.queryValue("user_id"), QByteArray("4294967295"));
        QCOMPARE(request.queryValue("credential_id"), QByteArray("4294967294"));
        QCOMPARE(request.queryValue("device_id"), QByteArray("4294967293"));
    }

    void aRefusedReportFailsWithTheServicesMessage()
    {
        ApiFixture f;
        f.server.answer("/api/track/reportStreamingEnd", TestHttpServer::json("{\"message\":\"No\"}", 403));
        const auto reply = f.api.reportStreamingEnd(1, 2, PelkQobuzAudioFormat::Mp3_320, false, false);
        QVERIFY(ModuleHost::wait(reply));
        QCOMPARE(reply.error().message().toString(), QStringLiteral("No"));
        QCOMPARE(f.server.requestCount(), 1);
    }
};

QTEST_GUILESS_MAIN(ApiSigningTest)
#include "api_signing_test.moc"
