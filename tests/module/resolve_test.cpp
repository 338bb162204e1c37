// How a track is resolved to a stream: which requests do so, what is sent to the service, and what is added
// to the row.

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "tests/module/decimals.h"
#include "tests/module/moduletest.h"

#include <limits>

namespace {

const char* const setDataContext = "void QobuzWorker::on_setData_invoke(const CMSetDataRequest&)";

const char* const streamAnswer =
    R"({"track_id":123,"duration":241,"url":"https://streaming.example/file?uid=1&etsp=2","format_id":6,)"
    R"("mime_type":"audio/flac","sampling_rate":44.1,"bit_depth":16})";

/// A row as the player sends it: with every role set, so that what changes shows.
PelkRoles trackRow()
{
    PelkMetaData metaData;
    metaData.setArtist("An artist"_s);
    metaData.setAlbum("An album"_s);
    metaData.setGenre("A genre"_s);
    metaData.setComposer("A composer"_s);
    metaData.setPerformer("A performer"_s);
    metaData.setCopyright("A copyright"_s);
    metaData.setComment("A comment"_s);
    metaData.setServiceID(PelkService_Qobuz_Id());
    metaData.setDate(-86400);
    metaData.setStartTime(7);
    metaData.setPrePlayTimeOffset(61500);
    metaData.setOriginalTrackNumber(9);
    metaData.setAllowPause(true);
    metaData.setAllowSeekTime(false);
    metaData.setAllowSeekBytes(false);
    metaData.setPrePlayPath(CMPath("qobuz:preplay?id=123"_s));
    PelkResource resource;
    resource.setUri("http://stale.example/"_s);
    PelkMediaData mediaData;
    mediaData.setMetaData(metaData);
    mediaData.setResources({resource, resource});
    PelkRoles row;
    row.setTitle(TrString("A title"_s));
    row.setPath(CMPath("qobuz:track?id=123"_s));
    row.setType(PelkRolesType::Audio);
    row.setAudioType(PelkRolesAudioType::Music);
    row.setIcon("http://icon.example/"_s);
    row.setMediaData(mediaData);
    row.insert("unheardOf"_s, 17);
    return row;
}

} // namespace

class ResolveTest : public ModuleTest
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        open();
        answerStream(streamAnswer);
    }
    void cleanup() { close(); }

    void aPrePlayPathIsRecognisedByAnyPart_data()
    {
        addTexts({"qobuz:preplay?id=123", "qobuz:some/preplay/deep?id=123", "qobuz:track?via=preplay&id=123",
                  "qobuz:stateChange/preplay?id=123", "qobuz:preplayed?id=123", "preplay?id=123"});
    }
    void aPrePlayPathIsRecognisedByAnyPart()
    {
        const auto [path] = fetched<QString>();
        start();
        const CMSetDataRequest request(CMPath(path), PelkRoles::PrePlay(), trackRow().variant());
        host().worker()->setDataRequest(request);
        QVERIFY(wait(request.reply()));
        QVERIFY(!request.reply().error().isSet());
        QCOMPARE(server().requests().value(0).queryValue("track_id"), QByteArray("123"));
    }

    void aPrePlayPathWithoutAnIdIsAFailure_data()
    {
        addTexts({"qobuz:preplay", "qobuz:preplay?Id=1", "qobuz:preplay?ID=1&identity=2",
                  "qobuz:preplay?format=6"});
    }
    void aPrePlayPathWithoutAnIdIsAFailure()
    {
        const auto [path] = fetched<QString>();
        start();
        const Log log;
        const ModuleHost::Data data = resolve(path, "x"_s);
        QVERIFY(data.finished);
        const TrString message = translatable(setDataContext, "Track resolve failed");
        QCOMPARE(variantLines(data.error.variant()), variantLines(CMError(message).variant()));
        QVERIFY(data.error.message() == message); // comment, count and arguments too
        host().settle();
        QCOMPARE(log.lines(), (QStringList{"TRACE QobuzWorker.cpp: Enter virtual void QobuzWorker::"
                                           "setDataRequest(const CMSetDataRequest&): \"x\""_s,
                                           "TRACE QobuzWorker.cpp: Enter void QobuzWorker::"
                                           "on_setData_invoke(const CMSetDataRequest&): \"x\""_s}));
        QCOMPARE(server().requestCount(), 0);
    }

    void theIdIsReadAsADecimalNumber_data()
    {
        Rows<QString, QByteArray> row;
        for (const Decimal& decimal : decimals)
            row(decimal.text, "id="_s + QLatin1String(decimal.text), QByteArray::number(decimal.number));
        row("the first of two counts", "id=1&id=2", "1");
        row("the first of two counts, empty as it is", "id=&id=2", "0");
    }
    void theIdIsReadAsADecimalNumber()
    {
        const auto [parameter, sent] = fetched<QString, QByteArray>();
        start();
        QVERIFY(!resolve("qobuz:preplay?"_s + parameter).error.isSet());
        QCOMPARE(server().requests().at(0).queryValue("track_id"), sent);
    }

    void theSoundQualityBecomesAFormat_data()
    {
        Rows<int, QByteArray, QString> row;
        row("MP3", 0, "5", "mp3");
        row("CD", 1, "6", "cd");
        row("up to 96 kHz", 2, "7", "hires96");
        row("up to 192 kHz", 3, "27", "hires192");
        row("a number without a meaning", 4, "5", "");
        row("a negative number", -1, "5", "");
    }
    void theSoundQualityBecomesAFormat()
    {
        const auto [quality, format, name] = fetched<int, QByteArray, QString>();
        host().setQuality(static_cast<PelkQobuzSoundQuality::Enum>(quality));
        start();
        const Log log;
        QVERIFY(!resolve().error.isSet());
        QCOMPARE(server().requests().at(0).queryValue("format_id"), format);
        QVERIFY(log.contains(log4cplus::TRACE_LOG_LEVEL, "Track quality "_s + name));
    }

    void theSoundQualityIsReadWhenATrackIsResolved()
    {
        start();
        const QList<PelkQobuzSoundQuality::Enum> qualities{
            PelkQobuzSoundQuality::Hires192, PelkQobuzSoundQuality::Mp3, PelkQobuzSoundQuality::Cd};
        for (const auto quality : qualities) {
            host().setQuality(quality);
            QVERIFY(!resolve().error.isSet());
        }
        QList<QByteArray> formats;
        for (const Request& request : server().requests())
            formats << request.queryValue("format_id");
        QCOMPARE(formats, (QList<QByteArray>{"27", "5", "6"}));
    }

    void aResolvedRowCarriesItsStream_data()
    {
        Rows<QByteArray, int> row;
        row("44.1 kHz", "44.1", 44100);
        row("48 kHz", "48", 48000);
        row("88.2 kHz", "88.2", 88200);
        row("96 kHz", "96", 96000);
        row("96 kHz with a fraction", "96.0", 96000);
        row("176.4 kHz", "176.4", 176400);
        row("192 kHz", "192", 192000);
        row("a rate given as text", "\"44.1\"", 44100);
        row("no rate", "null", 0);
    }
    void aResolvedRowCarriesItsStream()
    {
        const auto [rate, hertz] = fetched<QByteArray, int>();
        answerStream(R"({"track_id":123,"duration":241,"url":"https://s.example/f?a=1&b=%20","format_id":27,)"
                     R"("mime_type":"audio/flac","bit_depth":24,"sampling_rate":)" +
                     rate + "}");
        start();
        const ModuleHost::Data data = resolve();
        QVERIFY(succeeded(data));
        const auto resources = mediaDataOf(data).resources();
        QCOMPARE(resources.size(), 1); // whatever the row had before
        const PelkResource& resource = resources.at(0);
        QCOMPARE(resource.sampleFrequency(), hertz);
        QCOMPARE(resource.uri(), "https://s.example/f?a=1&b=%20"_s);
        QCOMPARE(resource.mimeType(), "audio/flac"_s);
        QCOMPARE(resource.bitsPerSample(), 24);
        QCOMPARE(resource.duration(), 241LL); // as the service gives it
        QCOMPARE(resource.maxIdleTime(), 1800000LL);
        QCOMPARE(resource.hash().size(), 6);
    }

    void aResolvedRowKeepsEverythingElse()
    {
        start();
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
        expected.setContentStateChangePath(CMPath("qobuz:stateChange?id=123&format=6"_s));
        QCOMPARE(after.mediaData().metaData().toString(), expected.toString());
        QCOMPARE(after.mediaData().hash().size(), before.mediaData().hash().size());
    }

    void unknownKeysAtEveryDepthSurvive()
    {
        start();
        const QVariantHash row{
            {"unheardOf"_s, QVariantHash{{"a"_s, QVariantList{1, QVariantHash{{"b"_s, " "_s}}}}}},
            {PelkRoles::MediaData(),
             QVariantHash{{"more"_s, QVariantList{true}},
                          {"resources"_s, QVariantList{QVariantHash{{"uri"_s, "stale"_s}, {"own"_s, 1}}}},
                          {"metaData"_s,
                           QVariantHash{{"startTime"_s, 5000LL}, {"deep"_s, QVariantHash{{"c"_s, 3}}}}}}}};
        const ModuleHost::Data data = resolve("qobuz:preplay?id=123"_s, row);
        QStringList lines = variantLines(data.value);
        lines = lines.filter(QRegularExpression("more|unheardOf|deep|startTime|own"_s));
        QCOMPARE(lines,
                 (QStringList{"/mediaData/metaData/deep/c: int \"3\""_s,
                              // Its own start time is replaced by the offset, which is absent.
                              "/mediaData/metaData/startTime: qlonglong \"0\""_s,
                              "/mediaData/more/0: bool \"true\""_s, "/mediaData/more: QVariantList of 1"_s,
                              "/unheardOf/a/0: int \"1\""_s, "/unheardOf/a/1/b: QString \" \""_s,
                              "/unheardOf/a: QVariantList of 2"_s}));
    }

    void aResponseWithoutAUrlIsStillARow()
    {
        answerStream("{}");
        start();
        const ModuleHost::Data data = resolve();
        QVERIFY(succeeded(data));
        const PelkMediaData mediaData = mediaDataOf(data);
        QCOMPARE(mediaData.resources().size(), 1);
        QCOMPARE(mediaData.resources().at(0).uri(), QString());
        QCOMPARE(mediaData.metaData().contentStateChangePath().toString(),
                 "qobuz:stateChange?id=0&format=0"_s);
    }

    void aResolutionIsLogged()
    {
        start();
        const Log log;
        // The requested id is logged, although the response has another one.
        const CMSetDataRequest request(CMPath("qobuz:preplay?id=99"_s), PelkRoles::PrePlay(),
                                       trackRow().variant());
        log.watch(request.reply());
        host().root().setDataRequest(request);
        QVERIFY(wait(request.reply()));
        host().settle();
        QCOMPARE(log.debugs(), QStringList{"Qobuz track with id '99' was resolved to "
                                           "https://streaming.example/file?uid=1&etsp=2"_s});
        QStringList own;
        for (const LogCapture::Record& record : log.records())
            if (record.file == "QobuzWorker.cpp"_l || record.file.isEmpty())
                own << record.text.section(QLatin1Char('('), 0, 0);
        QCOMPARE(own, (QStringList{"Enter virtual void QobuzWorker::setDataRequest"_s,
                                   "Enter void QobuzWorker::on_setData_invoke"_s, "Track quality mp3"_s,
                                   "Qobuz track with id '99' was resolved to "
                                   "https://streaming.example/file?uid=1&etsp=2"_s,
                                   "Returned in response format 6"_s, "the reply"_s}));
    }

    void aFailureToResolveIsPassedOn_data()
    {
        Rows<int, QByteArray, QString, QVariantHash> row;
        const QString code = "ErrorCode"_s;
        const QString server = "ServerReply"_s;
        row("refused by the service", 401,
            QByteArray(R"({"status":"error","code":401,"message":"User authentication is required."})"),
            "User authentication is required.",
            QVariantHash{{code, 401}, {server, "User authentication is required."_s}});
        row("an answer that is not JSON", 500, "<html>no</html>", "Unknown error", QVariantHash{{code, 500}});
        row("an error without a message", 404, "{}", "Unknown error",
            QVariantHash{{code, 404}, {server, QString()}});
        row("success that is not JSON", 200, "<html>", "Invalid data returned.", QVariantHash());
    }
    void aFailureToResolveIsPassedOn()
    {
        const auto [status, body, message, data] = fetched<int, QByteArray, QString, QVariantHash>();
        answerStream(body, status);
        start();
        const Log log;
        const ModuleHost::Data answer = resolve();
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.name(), CMError::DefaultName());
        QVERIFY(answer.error.title() == CMError::DefaultTitle());
        QCOMPARE(answer.error.message().toString(), message);
        QCOMPARE(answer.error.data(), data);
        QVERIFY(answer.value.isNull());
        QVERIFY(log.debugs().isEmpty());
        QCOMPARE(server().requestCount(), 1); // nothing is tried again
    }

    void withoutAUserATrackIsNotResolved()
    {
        start(false);
        const Log log;
        const ModuleHost::Data answer = resolve();
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.message().source(), QByteArray("User is not logged in"));
        // It is the API client that says so, not the worker.
        QCOMPARE(answer.error.message().context(), QByteArray("QobuzApi"));
        QCOMPARE(server().requestCount(), 0);
    }

    void twoTracksAreResolvedSideBySide()
    {
        Response held = json(R"({"track_id":1,"url":"first"})");
        held.hold = true;
        server().answerOnce("/api/track/getFileUrl", held);
        server().answerOnce("/api/track/getFileUrl", json(R"({"track_id":2,"url":"second"})"));
        start();
        const CMSetDataRequest first(CMPath("qobuz:preplay?id=1"_s), PelkRoles::PrePlay(),
                                     trackRow().variant());
        host().root().setDataRequest(first);
        QVERIFY(server().waitForRequests(1));
        const ModuleHost::Data second = resolve("qobuz:preplay?id=2"_s);
        QVERIFY(second.finished);
        QVERIFY(!first.reply().isFinished());
        server().release();
        QVERIFY(wait(first.reply()));
        const auto uri = [](const QVariant& row) {
            return PelkRoles(PelkHash(row.toHash())).mediaData().resources().at(0).uri();
        };
        QCOMPARE(uri(first.reply().value()), "first"_s);
        QCOMPARE(uri(second.value), "second"_s);
    }

    void aResolvedRowIsThisToTheLeaf()
    {
        start();
        PelkMetaData metaData;
        metaData.setArtist("An artist"_s);
        metaData.setPrePlayTimeOffset(61500);
        PelkMediaData mediaData;
        mediaData.setMetaData(metaData);
        PelkRoles row;
        row.setTitle(TrString(TrCharData{"A context", "A title"}, {}));
        row.setMediaData(mediaData);
        const ModuleHost::Data data = resolve("qobuz:preplay?id=123"_s, row.variant());
        QVERIFY(data.finished);
        QCOMPARE(variantLines(data.value),
                 (QStringList{
                     "/mediaData/metaData/allowSeekTime: bool \"true\""_s,
                     "/mediaData/metaData/artist: QString \"An artist\""_s,
                     "/mediaData/metaData/contentStateChangePath: QString \"qobuz:stateChange?id=123&"
                     "format=6\""_s,
                     "/mediaData/metaData/prePlayTimeOffset: qlonglong \"61500\""_s,
                     "/mediaData/metaData/startTime: qlonglong \"61500\""_s,
                     "/mediaData/resources/0/bitsPerSample: int \"16\""_s,
                     "/mediaData/resources/0/duration: qlonglong \"241\""_s,
                     "/mediaData/resources/0/maxIdleTime: qlonglong \"1800000\""_s,
                     "/mediaData/resources/0/mimeType: QString \"audio/flac\""_s,
                     "/mediaData/resources/0/sampleFrequency: int \"44100\""_s,
                     "/mediaData/resources/0/uri: QString \"https://streaming.example/file?uid=1&etsp=2\""_s,
                     "/mediaData/resources: QVariantList of 1"_s,
                     "/title: TrString \"A title\" of \"A context\", read as \"A title\""_s}));
    }

    void aValueThatIsNotARowStillGetsItsMediaData_data()
    {
        Rows<QVariant> row;
        row("nothing", QVariant());
        row("a text", QVariant("row"_s));
        row("a list", QVariant(QVariantList{1}));
        row("media data of another shape", QVariant(QVariantHash{{PelkRoles::MediaData(), "x"_s}}));
    }
    void aValueThatIsNotARowStillGetsItsMediaData()
    {
        const auto [value] = fetched<QVariant>();
        start();
        const ModuleHost::Data data = resolve("qobuz:preplay?id=123"_s, value);
        QVERIFY(succeeded(data));
        QCOMPARE(data.value.toHash().keys(), QStringList{PelkRoles::MediaData()});
        QCOMPARE(mediaDataOf(data).resources().at(0).uri(), "https://streaming.example/file?uid=1&etsp=2"_s);
    }

    void aRestrictionIsAParameterNamedByItsCode_data()
    {
        Rows<QByteArray, QString> row;
        row("none", "[]", "");
        row("the two that the service has",
            R"([{"code":"TrackRestrictedByRightHolders"},{"code":"FormatRestrictedByFormatAvailability"}])",
            "&TrackRestrictedByRightHolders=1&FormatRestrictedByFormatAvailability=1");
        row("with blanks", R"([{"code":" A "}])", "&%20A%20=1");
        row("no list", "null", "");
        row("one", QByteArray(R"([{"code":"A"}])"), "&A=1");
        row("three, in their order", QByteArray(R"([{"code":"C"},{"code":"A"},{"code":"B"}])"),
            "&C=1&A=1&B=1");
        row("one twice: a path keeps both", QByteArray(R"([{"code":"A"},{"code":"A"}])"), "&A=1&A=1");
        row("an entry without a code has no name", "[{}]", "&=1");
        row("a code with the signs of a path", "[{\"code\":\"A&id=9\"},{\"code\":\"x y#?\"}]",
            "&A%26id%3D9=1&x%20y%23%3F=1");
    }
    void aRestrictionIsAParameterNamedByItsCode()
    {
        const auto [restrictions, parameters] = fetched<QByteArray, QString>();
        answerStream(R"({"track_id":1,"format_id":7,"url":"u","restrictions":)" + restrictions + "}");
        start();
        QCOMPARE(stateChangePathOf(resolve()), "qobuz:stateChange?id=1&format=7"_s + parameters);
    }

    void aPartOfAHertzIsCutOff_data()
    {
        Rows<QByteArray, int> row;
        row("below the half", "44.1004", 44100);
        row("above the half", "44.1009", 44100);
        row("below one", "0.0009", 0);
        row("below nothing", "-0.0019", -1);
        row("more than a number holds", "1e300", std::numeric_limits<int>::max());
        row("less than a number holds", "-1e300", std::numeric_limits<int>::min());
    }
    void aPartOfAHertzIsCutOff()
    {
        const auto [rate, hertz] = fetched<QByteArray, int>();
        answerStream(R"({"url":"u","sampling_rate":)" + rate + "}");
        start();
        const ModuleHost::Data data = resolve();
        QCOMPARE(mediaDataOf(data).resources().at(0).sampleFrequency(), hertz);
    }

private:
    ModuleHost::Data resolve(const QString& path = "qobuz:preplay?id=123"_s,
                             const QVariant& row = trackRow().variant())
    {
        return host().setData(path, PelkRoles::PrePlay(), row);
    }
    static PelkMediaData mediaDataOf(const ModuleHost::Data& data)
    {
        return PelkRoles(PelkHash(data.value.toHash())).mediaData();
    }
    static QString stateChangePathOf(const ModuleHost::Data& data)
    {
        return mediaDataOf(data).metaData().contentStateChangePath().toString();
    }
    void answerStream(const QByteArray& body, int status = 200)
    {
        server().answer("/api/track/getFileUrl", json(body, status));
    }
};

QTEST_GUILESS_MAIN(ResolveTest)
#include "resolve_test.moc"
