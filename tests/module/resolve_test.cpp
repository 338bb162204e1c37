// How the module deals with row and set-data requests: which it refuses, which it answers itself, which it
// leaves to its nodes, and how a track becomes a stream.

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "api/types/qobuzpaths.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/testhttpserver.h"

#include <QtTest>

#include <memory>

namespace {

const char* const setDataContext = "void QobuzWorker::on_setData_invoke(const CMSetDataRequest&)";

const char* const streamAnswer =
    R"({"track_id":123,"duration":241,"url":"https://streaming.example/file?uid=1&etsp=2","format_id":6,)"
    R"("mime_type":"audio/flac","sampling_rate":44.1,"bit_depth":16})";

/// A row as the player sends it: with every role set, so that what changes shows.
PelkRoles trackRow()
{
    PelkMetaData metaData;
    metaData.setArtist(QStringLiteral("An artist"));
    metaData.setAlbum(QStringLiteral("An album"));
    metaData.setGenre(QStringLiteral("A genre"));
    metaData.setComposer(QStringLiteral("A composer"));
    metaData.setPerformer(QStringLiteral("A performer"));
    metaData.setCopyright(QStringLiteral("A copyright"));
    metaData.setComment(QStringLiteral("A comment"));
    metaData.setServiceID(PelkService_Qobuz_Id());
    metaData.setDate(-86400);
    metaData.setStartTime(7);
    metaData.setPrePlayTimeOffset(61500);
    metaData.setOriginalTrackNumber(9);
    metaData.setAllowPause(true);
    metaData.setAllowSeekTime(false);
    metaData.setAllowSeekBytes(false);
    metaData.setPrePlayPath(CMPath(QStringLiteral("qobuz:preplay?id=123")));
    PelkResource resource;
    resource.setUri(QStringLiteral("http://stale.example/"));
    PelkMediaData mediaData;
    mediaData.setMetaData(metaData);
    mediaData.setResources({resource, resource});
    PelkRoles row;
    row.setTitle(TrString(QStringLiteral("A title")));
    row.setPath(CMPath(QStringLiteral("qobuz:track?id=123")));
    row.setType(PelkRolesType::Audio);
    row.setAudioType(PelkRolesAudioType::Music);
    row.setIcon(QStringLiteral("http://icon.example/"));
    row.setMediaData(mediaData);
    row.insert(QStringLiteral("unheardOf"), 17);
    return row;
}

} // namespace

class ResolveTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<ModuleHost> m_host;
    ModuleHost& host() { return *m_host; }

    void start(bool loggedIn)
    {
        if (loggedIn)
            host().setSession();
        host().start();
    }
    ModuleHost::Data resolve(const QString& path = QStringLiteral("qobuz:preplay?id=123"),
                             const PelkRoles& row = trackRow())
    {
        return host().setData(path, PelkRoles::PrePlay(), row.variant());
    }
    void answerStream(const QByteArray& body, int status = 200)
    {
        m_server->answer("/api/track/getFileUrl", TestHttpServer::json(body, status));
    }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        m_host = std::make_unique<ModuleHost>(m_server->url(QStringLiteral("/api/")));
        answerStream(streamAnswer);
    }
    void cleanup()
    {
        m_host.reset();
        m_server.reset();
    }

    void prePlayIsFoundAnywhereInThePath()
    {
        start(true);
        QVERIFY(!resolve(QStringLiteral("qobuz:some/preplay/deep?id=123")).error.isSet());
        QCOMPARE(m_server->requestCount(), 1);
    }

    void prePlayComesBeforeStateChange()
    {
        start(true);
        QVERIFY(!resolve(QStringLiteral("qobuz:stateChange/preplay?id=123")).error.isSet());
        QCOMPARE(m_server->requests().at(0).path, QByteArray("/api/track/getFileUrl"));
    }

    void aPrePlayPathWithoutAnIdIsAFailure()
    {
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Data data = resolve(QStringLiteral("qobuz:preplay?Id=1"));
        QVERIFY(data.finished);
        QCOMPARE(data.error.message().source(), QByteArray("Track resolve failed"));
        QCOMPARE(data.error.message().context(), QByteArray(setDataContext));
        QCOMPARE(data.error.name(), CMError::DefaultName());
        QVERIFY(data.error.title() == CMError::DefaultTitle());
        QCOMPARE(m_server->requestCount(), 0);
        QCOMPARE(log.texts(log4cplus::TRACE_LOG_LEVEL).size(), log.records().size());
    }

    void theIdIsReadAsADecimalNumber_data()
    {
        QTest::addColumn<QString>("parameter");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("a number") << "id=52151405" << QByteArray("52151405");
        QTest::newRow("the first of two counts") << "id=1&id=2" << QByteArray("1");
        QTest::newRow("no number gives 0") << "id=abc" << QByteArray("0");
        QTest::newRow("an empty one gives 0") << "id=" << QByteArray("0");
        QTest::newRow("hexadecimal gives 0") << "id=0x10" << QByteArray("0");
        QTest::newRow("more than 32 bits gives 0") << "id=4294967297" << QByteArray("0");
    }
    void theIdIsReadAsADecimalNumber()
    {
        QFETCH(QString, parameter);
        QFETCH(QByteArray, sent);
        start(true);
        QVERIFY(!resolve(QStringLiteral("qobuz:preplay?") + parameter).error.isSet());
        QCOMPARE(m_server->requests().at(0).queryValue("track_id"), sent);
    }

    void theSoundQualityBecomesAFormat_data()
    {
        QTest::addColumn<int>("quality");
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<QString>("name");
        QTest::newRow("MP3") << 0 << QByteArray("5") << "mp3";
        QTest::newRow("CD") << 1 << QByteArray("6") << "cd";
        QTest::newRow("up to 96 kHz") << 2 << QByteArray("7") << "hires96";
        QTest::newRow("up to 192 kHz") << 3 << QByteArray("27") << "hires192";
        QTest::newRow("a number without a meaning") << 4 << QByteArray("5") << "";
        QTest::newRow("a negative number") << -1 << QByteArray("5") << "";
    }
    void theSoundQualityBecomesAFormat()
    {
        QFETCH(int, quality);
        QFETCH(QByteArray, format);
        QFETCH(QString, name);
        host().setQuality(static_cast<PelkQobuzSoundQuality::Enum>(quality));
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        QVERIFY(!resolve().error.isSet());
        QCOMPARE(m_server->requests().at(0).queryValue("format_id"), format);
        QVERIFY(log.contains(log4cplus::TRACE_LOG_LEVEL, QStringLiteral("Track quality ") + name));
    }

    void theSoundQualityIsReadWhenATrackIsResolved()
    {
        start(true);
        const QList<PelkQobuzSoundQuality::Enum> qualities{
            PelkQobuzSoundQuality::Hires192, PelkQobuzSoundQuality::Mp3, PelkQobuzSoundQuality::Cd};
        for (const auto quality : qualities) {
            host().setQuality(quality);
            QVERIFY(!resolve().error.isSet());
        }
        QList<QByteArray> formats;
        for (const TestHttpServer::Request& request : m_server->requests())
            formats << request.queryValue("format_id");
        QCOMPARE(formats, (QList<QByteArray>{"27", "5", "6"}));
    }

    void aResolvedRowCarriesItsStream_data()
    {
        QTest::addColumn<QByteArray>("rate");
        QTest::addColumn<int>("hertz");
        QTest::newRow("44.1 kHz") << QByteArray("44.1") << 44100;
        QTest::newRow("48 kHz") << QByteArray("48") << 48000;
        QTest::newRow("88.2 kHz") << QByteArray("88.2") << 88200;
        QTest::newRow("96 kHz") << QByteArray("96") << 96000;
        QTest::newRow("96 kHz with a fraction") << QByteArray("96.0") << 96000;
        QTest::newRow("176.4 kHz") << QByteArray("176.4") << 176400;
        QTest::newRow("192 kHz") << QByteArray("192") << 192000;
        QTest::newRow("a rate given as text") << QByteArray("\"44.1\"") << 44100;
        QTest::newRow("no rate") << QByteArray("null") << 0;
    }
    void aResolvedRowCarriesItsStream()
    {
        QFETCH(QByteArray, rate);
        QFETCH(int, hertz);
        answerStream(R"({"track_id":123,"duration":241,"url":"https://s.example/f?a=1&b=%20","format_id":27,)"
                     R"("mime_type":"audio/flac","bit_depth":24,"sampling_rate":)" +
                     rate + "}");
        start(true);
        const ModuleHost::Data data = resolve();
        QVERIFY(data.finished);
        QVERIFY(!data.error.isSet());
        const auto resources = PelkRoles(PelkHash(data.value.toHash())).mediaData().resources();
        QCOMPARE(resources.size(), 1); // whatever the row had before
        const PelkResource& resource = resources.at(0);
        QCOMPARE(resource.sampleFrequency(), hertz);
        QCOMPARE(resource.uri(), QStringLiteral("https://s.example/f?a=1&b=%20"));
        QCOMPARE(resource.mimeType(), QStringLiteral("audio/flac"));
        QCOMPARE(resource.bitsPerSample(), 24);
        QCOMPARE(resource.duration(), 241LL); // as the service gives it
        QCOMPARE(resource.maxIdleTime(), 1800000LL);
        QCOMPARE(resource.hash().size(), 6);
    }

    void aResolvedRowKeepsEverythingElse()
    {
        start(true);
        const ModuleHost::Data data = resolve();
        QVERIFY(data.finished);
        const PelkRoles before = trackRow();
        const PelkRoles after(PelkHash(data.value.toHash()));
        const QVariantHash kept = before.hash();
        QCOMPARE(after.hash().size(), kept.size());
        for (auto it = kept.begin(); it != kept.end(); ++it)
            if (it.key() != PelkRoles::MediaData())
                QVERIFY2(after.value(it.key()) == it.value(), qPrintable(it.key()));
        PelkMetaData expected = before.mediaData().metaData();
        expected.setStartTime(61500); // where the player wants to start
        expected.setAllowSeekTime(true);
        expected.setContentStateChangePath(CMPath(QStringLiteral("qobuz:stateChange?id=123&format=6")));
        QCOMPARE(after.mediaData().metaData().toString(), expected.toString());
        QCOMPARE(after.mediaData().hash().size(), before.mediaData().hash().size());
    }

    void anEmptyRowIsResolvedToo()
    {
        start(true);
        const ModuleHost::Data data = resolve(QStringLiteral("qobuz:preplay?id=123"), PelkRoles());
        const PelkRoles row(PelkHash(data.value.toHash()));
        QCOMPARE(row.hash().keys(), QStringList{PelkRoles::MediaData()});
        QCOMPARE(row.mediaData().resources().size(), 1);
        QCOMPARE(row.mediaData().metaData().startTime(), 0LL);
        QVERIFY(row.mediaData().metaData().allowSeekTime());
    }

    void idAndFormatOfTheStateChangePathAreThoseOfTheAnswer()
    {
        host().setQuality(PelkQobuzSoundQuality::Hires192);
        answerStream(R"({"track_id":456,"format_id":7,"url":"u"})");
        start(true);
        const ModuleHost::Data data = resolve();
        QCOMPARE(PelkRoles(PelkHash(data.value.toHash()))
                     .mediaData()
                     .metaData()
                     .contentStateChangePath()
                     .toString(),
                 QStringLiteral("qobuz:stateChange?id=456&format=7"));
    }

    void everyRestrictionBecomesAParameter()
    {
        answerStream(
            R"({"track_id":123,"format_id":5,"url":"u","restrictions":[)"
            R"({"code":"TrackRestrictedByRightHolders"},{"code":"FormatRestrictedByFormatAvailability"}]})");
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Data data = resolve();
        QCOMPARE(PelkRoles(PelkHash(data.value.toHash()))
                     .mediaData()
                     .metaData()
                     .contentStateChangePath()
                     .toString(),
                 QStringLiteral("qobuz:stateChange?id=123&format=5&TrackRestrictedByRightHolders=1"
                                "&FormatRestrictedByFormatAvailability=1"));
        // Restrictions are not news at this point: the notice comes when the track is played.
        QVERIFY(log.texts(log4cplus::WARN_LOG_LEVEL).isEmpty());
    }

    void anAnswerWithoutAUrlIsStillARow()
    {
        answerStream("{}");
        start(true);
        const ModuleHost::Data data = resolve();
        QVERIFY(data.finished);
        QVERIFY(!data.error.isSet());
        const PelkMediaData mediaData = PelkRoles(PelkHash(data.value.toHash())).mediaData();
        QCOMPARE(mediaData.resources().size(), 1);
        QCOMPARE(mediaData.resources().at(0).uri(), QString());
        QCOMPARE(mediaData.metaData().contentStateChangePath().toString(),
                 QStringLiteral("qobuz:stateChange?id=0&format=0"));
    }

    void aResolutionIsLogged()
    {
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        // The id asked for is logged, though the answer has another one.
        QVERIFY(!resolve(QStringLiteral("qobuz:preplay?id=99")).error.isSet());
        QCOMPARE(log.texts(log4cplus::DEBUG_LOG_LEVEL),
                 QStringList{QStringLiteral("Qobuz track with id '99' was resolved to "
                                            "https://streaming.example/file?uid=1&etsp=2")});
        QStringList own;
        for (const LogCapture::Record& record : log.records())
            if (record.file == QLatin1String("QobuzWorker.cpp"))
                own << record.text.section(QLatin1Char('('), 0, 0);
        QCOMPARE(own, (QStringList{QStringLiteral("Enter virtual void QobuzWorker::setDataRequest"),
                                   QStringLiteral("Enter void QobuzWorker::on_setData_invoke"),
                                   QStringLiteral("Track quality mp3"),
                                   QStringLiteral("Qobuz track with id '99' was resolved to "
                                                  "https://streaming.example/file?uid=1&etsp=2"),
                                   QStringLiteral("Returned in response format 6")}));
    }

    void aFailureToResolveIsPassedOn_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QVariantHash>("data");
        const QString code = QStringLiteral("ErrorCode");
        const QString server = QStringLiteral("ServerReply");
        QTest::newRow("refused by the service")
            << 401
            << QByteArray(R"({"status":"error","code":401,"message":"User authentication is required."})")
            << "User authentication is required."
            << QVariantHash{{code, 401}, {server, QStringLiteral("User authentication is required.")}};
        QTest::newRow("an answer that is not JSON")
            << 500 << QByteArray("<html>no</html>") << "Unknown error" << QVariantHash{{code, 500}};
        QTest::newRow("an error without a message")
            << 404 << QByteArray("{}") << "Unknown error" << QVariantHash{{code, 404}, {server, QString()}};
        QTest::newRow("success that is not JSON")
            << 200 << QByteArray("<html>") << "Invalid data returned." << QVariantHash();
    }
    void aFailureToResolveIsPassedOn()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, message);
        QFETCH(QVariantHash, data);
        answerStream(body, status);
        start(true);
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Data answer = resolve();
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.name(), CMError::DefaultName());
        QVERIFY(answer.error.title() == CMError::DefaultTitle());
        QCOMPARE(answer.error.message().toString(), message);
        QCOMPARE(answer.error.data(), data);
        QVERIFY(answer.value.isNull());
        QVERIFY(log.texts(log4cplus::DEBUG_LOG_LEVEL).isEmpty());
        QCOMPARE(m_server->requestCount(), 1); // nothing is tried again
    }

    void aServiceThatCannotBeReachedIsAFailure()
    {
        m_host->setSettings(QStringLiteral("http://127.0.0.1:%1/").arg(TestHttpServer::unusedPort()),
                            QStringLiteral("app-id"), QStringLiteral("app-secret"));
        start(true);
        const ModuleHost::Data answer = resolve();
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.message().toString(), QStringLiteral("Unknown error"));
        QCOMPARE(answer.error.name(), CMError::DefaultName());
    }

    void withoutAUserATrackIsNotResolved()
    {
        start(false);
        const LogCapture log(QStringLiteral("Qobuz"));
        const ModuleHost::Data answer = resolve();
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.message().source(), QByteArray("User is not logged in"));
        // It is the API client that says so, not the worker.
        QCOMPARE(answer.error.message().context(), QByteArray("QobuzApi"));
        QCOMPARE(m_server->requestCount(), 0);
    }

    void twoTracksAreResolvedSideBySide()
    {
        TestHttpServer::Response held = TestHttpServer::json(R"({"track_id":1,"url":"first"})");
        held.hold = true;
        m_server->answerOnce("/api/track/getFileUrl", held);
        m_server->answerOnce("/api/track/getFileUrl",
                             TestHttpServer::json(R"({"track_id":2,"url":"second"})"));
        start(true);
        const CMSetDataRequest first(CMPath(QStringLiteral("qobuz:preplay?id=1")), PelkRoles::PrePlay(),
                                     trackRow().variant());
        host().root().setDataRequest(first);
        QVERIFY(m_server->waitForRequests(1));
        const ModuleHost::Data second = resolve(QStringLiteral("qobuz:preplay?id=2"));
        QVERIFY(second.finished);
        QVERIFY(!first.reply().isFinished());
        m_server->release();
        QVERIFY(ModuleHost::wait(first.reply()));
        const auto uri = [](const QVariant& row) {
            return PelkRoles(PelkHash(row.toHash())).mediaData().resources().at(0).uri();
        };
        QCOMPARE(uri(first.reply().value()), QStringLiteral("first"));
        QCOMPARE(uri(second.value), QStringLiteral("second"));
    }
};

QTEST_GUILESS_MAIN(ResolveTest)
#include "resolve_test.moc"
