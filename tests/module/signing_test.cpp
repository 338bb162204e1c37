// The request for a stream and the reports of a track, byte for byte, at a time that the test sets.

#include "tests/module/objecttest.h"
#include "tests/support/wallclock.h"

#include <QCryptographicHash>

class SigningTest : public ObjectTest
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        WallClock::set(WallClock::standardSeconds);
        open();
        serve("{}");
    }
    void cleanup()
    {
        QVERIFY(isIdle());
        close();
    }

    // The digests are those of the md5sum program.
    void aStreamRequestHasItsFormatTheTimeAndASignature_data()
    {
        Rows<int, QByteArray> row;
        const QByteArray mp3 = "5&request_ts=1700000000&request_sig=111b92edbdb055e4c4bb5e20533e2048";
        row("quality 0", 0, mp3);
        row("quality 1", 1, "6&request_ts=1700000000&request_sig=d73350a04650469a6ca26255421bd9b9");
        row("quality 2", 2, "7&request_ts=1700000000&request_sig=f9ff47462452155cade1e0bb4a2a22a4");
        row("quality 3", 3, "27&request_ts=1700000000&request_sig=b6065b0facc27f4b6299521a9c03dd62");
        row("quality 4", 4, mp3);
        row("quality -1", -1, mp3);
        row("quality 27", 27, mp3);
    }
    void aStreamRequestHasItsFormatTheTimeAndASignature()
    {
        const auto [quality, tail] = fetched<int, QByteArray>();
        host().setQuality(static_cast<PelkQobuzSoundQuality::Enum>(quality));
        start();
        QVERIFY(resolve().finished);
        QCOMPARE(targets(), QByteArrayList{"/api/track/getFileUrl?track_id=12345&format_id=" + tail});
        QCOMPARE(server().requests().at(0).header("X-User-Auth-Token"), QByteArray("token-1"));
    }

    void theSentTimeIsTheSignedOne_data()
    {
        Rows<qlonglong> row;
        row("today", 1700000000);
        row("the last second of 31 bits", 2147483646);
        row("beyond 31 bits", 2147483648);
        row("beyond 32 bits", 4294967296);
        row("the year 9999", 253402300799);
        row("before 1970", -86400);
    }
    void theSentTimeIsTheSignedOne()
    {
        const qlonglong seconds = std::get<0>(fetched<qlonglong>());
        const auto at = [](qlonglong time) {
            WallClock::set(time);
            WallClock::advanceWithEachReading(); // so that a second reading would show
        };
        for (int i = 0; i < 3; ++i) {
            at(seconds + i);
            QVERIFY(wait(api().getFileUrl(i - 1, PelkQobuzSoundQuality::Mp3)));
            const QByteArray time = QByteArray::number(seconds + i);
            QCOMPARE(server().requests().at(i).queryValue("request_ts"), time);
            const QByteArray text =
                "trackgetFileUrlformat_id5track_id" + QByteArray::number(i - 1) + time + "app-secret";
            QCOMPARE(server().requests().at(i).queryValue("request_sig"),
                     QCryptographicHash::hash(text, QCryptographicHash::Md5).toHex());
        }
        at(seconds + 3);
        QVERIFY(wait(api().reportStreamingStart(1, PelkQobuzAudioFormat::Mp3_320, false, false)));
        QCOMPARE(server().requests().at(3).queryValue("date"), QByteArray::number(seconds + 3));
    }

    void theSecretIsReadForEveryStreamAndShownNowhere_data()
    {
        Rows<QString, QByteArray> row;
        // Composed or not, with blanks and line breaks: every character counts.
        for (const char* secret :
             {"geheim-\u00fc\u20ac", "u\u0308", "\u00fc", " a ", " ", "a\r\nb\n", "%1&=+", ""})
            row(QByteArray(secret).toPercentEncoding(), secret,
                QCryptographicHash::hash(QByteArray("trackgetFileUrlformat_id6track_id11700000000") + secret,
                                         QCryptographicHash::Md5)
                    .toHex());
    }
    void theSecretIsReadForEveryStreamAndShownNowhere()
    {
        const auto [secret, signature] = fetched<QString, QByteArray>();
        const Log log;
        QVERIFY(wait(api().getFileUrl(1, PelkQobuzSoundQuality::Cd)));
        host().setSettings(server().url("/api/"_s), "app-id"_s, secret);
        QVERIFY(wait(api().getFileUrl(1, PelkQobuzSoundQuality::Cd)));
        QCOMPARE(server().requests().at(1).queryValue("request_sig"), signature);
        QVERIFY(server().requests().at(0).queryValue("request_sig") != signature);
        if (secret.size() < 3)
            return; // too short to be looked for
        for (const TestHttpServer::Pair& header : server().requests().at(1).headers)
            QVERIFY(!header.second.contains(secret.toUtf8()));
        for (const LogCapture::Record& record : log.records())
            QVERIFY2(!record.text.contains(secret), qPrintable(record.text));
    }

    void aRefusedSignatureIsNotRenewed_data()
    {
        Rows<QString> row;
        row("a wrong signature", "Invalid Request Signature parameter"_s);
        row("a time that is over", "Request signature expired"_s);
    }
    void aRefusedSignatureIsNotRenewed()
    {
        const auto [message] = fetched<QString>();
        server().answer("/api/track/getFileUrl", json("{\"message\":\"" + message.toUtf8() + "\"}", 400));
        start();
        const ModuleHost::Data answer = resolve();
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.message().toString(), message);
        QCOMPARE(requestsInAll(), 1);
    }

    void aReportSendsItsTwelveItemsInOrder_data()
    {
        Rows<int, bool, bool, QByteArray> row;
        row("a purchase", 27, true, false, "purchase=true&local=false&format_id=27");
        row("a local one", 5, false, true, "purchase=false&local=true&format_id=5");
        row("neither", 6, false, false, "purchase=false&local=false&format_id=6");
        row("a format of another number", 42, true, true, "purchase=true&local=true&format_id=42");
        row("a format that looks like a quality", 3, true, true, "purchase=true&local=true&format_id=3");
        row("a negative format", -42, false, false, "purchase=false&local=false&format_id=-42");
        row("format 0", 0, false, false, "purchase=false&local=false&format_id=0");
    }
    void aReportSendsItsTwelveItemsInOrder()
    {
        const auto row = fetched<int, bool, bool, QByteArray>();
        const auto kind = static_cast<PelkQobuzAudioFormat::Enum>(std::get<0>(row));
        const bool purchase = std::get<1>(row);
        const bool local = std::get<2>(row);
        const auto compare = [&](const CMVoidReply& reply, const QByteArray& path, const QByteArray& duration,
                                 const QByteArray& track) {
            QVERIFY(wait(reply));
            const Request request = server().requests().last();
            QCOMPARE(request.method, QByteArray("GET"));
            QVERIFY(request.body.isEmpty());
            QCOMPARE(request.target, "/api/" + path + "?user_id=77&date=1700000000&duration=" + duration +
                                         "&online=false&intent=streaming&sample=false&track_id=" + track +
                                         '&' + std::get<3>(row) + "&device_id=99&credential_id=88");
            QCOMPARE(request.header("X-User-Auth-Token"), QByteArray("token-1"));
        };
        compare(api().reportStreamingStart(12345, kind, purchase, local), "track/reportStreamingStart", "0",
                "12345");
        compare(api().reportStreamingEnd(12345, 217, kind, purchase, local), "track/reportStreamingEnd",
                "217", "12345");
        compare(api().reportStreamingEnd(-5, -1, kind, purchase, local), "track/reportStreamingEnd", "-1",
                "-5");
        compare(api().reportStreaming("some/where"_s, 0, 1, kind, purchase, local), "some/where", "1", "0");
    }

    void aRefusedReportFailsWithTheServicesMessage()
    {
        serve("{\"message\":\"No\"}", 403);
        const auto reply = api().reportStreamingEnd(1, 2, PelkQobuzAudioFormat::Mp3_320, false, false);
        QVERIFY(wait(reply));
        QCOMPARE(reply.error().message().toString(), "No"_s);
        QCOMPARE(requestsInAll(), 1);
    }
};

QTEST_GUILESS_MAIN(SigningTest)
#include "signing_test.moc"
