#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelknotificationdisplayitem.h"
#include "api/types/pelkqobuzaccount.h"
#include "api/types/pelkqobuzalbum.h"
#include "api/types/pelkqobuzalbums.h"
#include "api/types/pelkqobuzarticle.h"
#include "api/types/pelkqobuzarticleoffer.h"
#include "api/types/pelkqobuzarticles.h"
#include "api/types/pelkqobuzartist.h"
#include "api/types/pelkqobuzartists.h"
#include "api/types/pelkqobuzaudioformat.h"
#include "api/types/pelkqobuzbiography.h"
#include "api/types/pelkqobuzcatalogfeaturedresponse.h"
#include "api/types/pelkqobuzcredential.h"
#include "api/types/pelkqobuzdevice.h"
#include "api/types/pelkqobuzerrorresponse.h"
#include "api/types/pelkqobuzgenre.h"
#include "api/types/pelkqobuzgenrelistresponse.h"
#include "api/types/pelkqobuzgenres.h"
#include "api/types/pelkqobuzgetfileurlresponse.h"
#include "api/types/pelkqobuzimage.h"
#include "api/types/pelkqobuzlabel.h"
#include "api/types/pelkqobuzloginresponse.h"
#include "api/types/pelkqobuzloginstate.h"
#include "api/types/pelkqobuzplaylist.h"
#include "api/types/pelkqobuzplaylistowner.h"
#include "api/types/pelkqobuzplaylists.h"
#include "api/types/pelkqobuzpurchases.h"
#include "api/types/pelkqobuzqueryresponse.h"
#include "api/types/pelkqobuzquerytypes.h"
#include "api/types/pelkqobuzrecommendations.h"
#include "api/types/pelkqobuzrecommendationtypes.h"
#include "api/types/pelkqobuzrestriction.h"
#include "api/types/pelkqobuzsettings.h"
#include "api/types/pelkqobuztrack.h"
#include "api/types/pelkqobuztracks.h"
#include "api/types/pelkqobuzuser.h"
#include "api/types/pelkqobuzuserfavoritesresponse.h"
#include "api/types/pelkqobuzuserplayistsresponse.h"
#include "api/types/pelkqobuzusersession.h"
#include "api/types/pelkresource.h"
#include "api/types/pelkroles.h"
#include "api/types/pelkrowsroles.h"
#include "api/types/pelkvalue.h"

#include <QtTest>

#include <limits>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

template <typename Record>
Record of(const char* key, const QVariant& value)
{
    return Record(PelkHash(QVariantHash{{text(key), value}}));
}

template <typename Enum>
void addEnum(const char* name, const QList<QPair<int, const char*>>& values)
{
    const auto toText = [](int value) { return Enum::toString(static_cast<typename Enum::Enum>(value)); };
    const auto fromText = [](const QString& word) { return int(Enum::fromString(word)); };
    for (const auto& value : values)
        QTest::addRow("%s %s", name, value.second)
            << value.first << text(value.second) << toText(value.first) << fromText(text(value.second));
    QTest::addRow("%s unknown text", name) << -1 << QString() << toText(-1) << fromText(text("unknown"));
    QTest::addRow("%s empty text", name) << -1 << QString() << toText(4711) << fromText(QString());
}

} // namespace

class RecordsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void absentAndNullValuesReadAsTheDefault_data()
    {
        QTest::addColumn<PelkHash>("hash");
        PelkHash absent;
        PelkHash invalid;
        PelkHash null;
        for (const char* key :
             {"id", "title", "released_at", "popularity", "hires", "artist", "articles", "goodies"}) {
            invalid.insert(text(key), QVariant());
            null.insert(text(key), QVariant::fromValue(nullptr));
        }
        QTest::newRow("absent") << absent;
        QTest::newRow("invalid") << invalid;
        QTest::newRow("null") << null;
    }

    void absentAndNullValuesReadAsTheDefault()
    {
        QFETCH(PelkHash, hash);
        const PelkQobuzAlbum album(hash);
        QCOMPARE(album.id(), QString());
        QCOMPARE(album.title(), QString());
        QCOMPARE(album.released_at(), 0LL);
        QCOMPARE(album.popularity(), 0.0);
        QCOMPARE(album.hires(), false);
        QVERIFY(album.artist().isEmpty());
        QVERIFY(album.artist().albums().albums().isEmpty());
        QCOMPARE(album.artist().name(), QString());
        QVERIFY(album.articles().isEmpty());
        QVERIFY(album.goodies().isEmpty());
        const PelkQobuzTrack track(hash);
        QCOMPARE(track.id(), 0);
        const PelkRoles roles(hash);
        QCOMPARE(roles.title(), TrString());
        QCOMPARE(roles.path(), CMPath());
        QCOMPARE(int(roles.type()), 0);
    }

    void numbersAndTextsConvert()
    {
        QCOMPARE(of<PelkQobuzTrack>("id", text("12")).id(), 12);
        QCOMPARE(of<PelkQobuzTrack>("id", 12.0).id(), 12);
        QCOMPARE(of<PelkQobuzTrack>("id", qint64(12)).id(), 12);
        QCOMPARE(of<PelkQobuzTrack>("id", text("twelve")).id(), 0);
        QCOMPARE(of<PelkQobuzAlbum>("id", 12).id(), text("12"));
        QCOMPARE(of<PelkQobuzAlbum>("id", text("0012")).id(), text("0012"));
        QCOMPARE(of<PelkQobuzAlbum>("popularity", text("0.5")).popularity(), 0.5);
        QCOMPARE(of<PelkQobuzAlbum>("maximum_sampling_rate", 96).maximum_sampling_rate(), 96.0);
        QCOMPARE(of<PelkQobuzAlbum>("hires", text("true")).hires(), true);
        QCOMPARE(of<PelkQobuzAlbum>("hires", 1).hires(), true);
        QCOMPARE(of<PelkQobuzAlbum>("hires", text("0")).hires(), false);
        QCOMPARE(of<PelkQobuzUser>("id", text("4294967295")).id(), 4294967295U);
    }

    void a64BitNumberKeepsItsBits()
    {
        const qint64 largest = std::numeric_limits<qint64>::max();
        QCOMPARE(of<PelkQobuzAlbum>("released_at", -86400).released_at(), -86400LL);
        QCOMPARE(of<PelkQobuzAlbum>("released_at", largest).released_at(), largest);
        QCOMPARE(of<PelkQobuzAlbum>("released_at", text("-2208988800")).released_at(), -2208988800LL);
        PelkMetaData data;
        data.setDate(-largest);
        QCOMPARE(data.date(), -largest);
    }

    void unexpectedTypesReadAsEmpty()
    {
        QVERIFY(of<PelkQobuzAlbum>("artist", text("name")).artist().isEmpty());
        QVERIFY(of<PelkQobuzAlbum>("articles", text("x")).articles().isEmpty());
        QVERIFY(of<PelkQobuzAlbum>("articles", QVariantHash()).articles().isEmpty());
        QVERIFY(of<PelkQobuzAlbum>("goodies", 1).goodies().isEmpty());
        QCOMPARE(of<PelkQobuzAlbum>("title", QVariantHash()).title(), QString());
        QCOMPARE(of<PelkQobuzAlbum>("released_at", QVariantList()).released_at(), 0LL);
    }

    void aListOfRecordsIsConvertedThroughItsRecord()
    {
        PelkResource first;
        first.setUri(text("http://a/"));
        first.setDuration(180);
        PelkResource second;
        second.setBitsPerSample(24);
        PelkMediaData media;
        media.setResources({first, second});
        QCOMPARE(media.value(text("resources")).userType(), int(QMetaType::QVariantList));
        const PelkList<PelkResource> resources = media.resources();
        QCOMPARE(resources.size(), 2);
        QCOMPARE(resources.at(0), first);
        QCOMPARE(resources.at(1).bitsPerSample(), 24);
        QCOMPARE(media.resources().at(0).duration(), 180LL);
        // An entry that is no hash keeps its place.
        const QVariantList mixed{text("x"), QVariantHash{{text("code"), text("c")}}};
        const auto restrictions = of<PelkQobuzGetFileUrlResponse>("restrictions", mixed).restrictions();
        QCOMPARE(restrictions.size(), 2);
        QCOMPARE(restrictions.at(0).code(), QString());
        QCOMPARE(restrictions.at(1).code(), text("c"));
    }

    void aRowKeepsWhatIsSet()
    {
        PelkRoles roles;
        roles.setTitle(TrString(text("Title")));
        roles.setPath(CMPath(text("qobuz:album?id=a%26b")));
        roles.setType(PelkRolesType::Container);
        roles.setContainerType(PelkRolesContainerType::TrackList);
        roles.setContainerPlayable(true);
        PelkMediaData media;
        PelkMetaData meta;
        meta.setPrePlayPath(CMPath(text("qobuz:preplay?id=1")));
        meta.setServiceID(text("qobuz"));
        media.setMetaData(meta);
        roles.setMediaData(media);
        QCOMPARE(roles.title().toString(), text("Title"));
        QCOMPARE(roles.path().param(text("id")), text("a&b"));
        QCOMPARE(int(roles.containerType()), 10);
        QVERIFY(roles.containerPlayable());
        QCOMPARE(roles.mediaData().metaData().prePlayPath().toString(), text("qobuz:preplay?id=1"));
        QCOMPARE(PelkRoles::Value(), text("value"));
        QCOMPARE(PelkRoles::PrePlay(), text("prePlay"));
        QCOMPARE(PelkMetaData::ServiceID(), text("serviceID"));
    }

    void anEnumerationHasItsTexts_data()
    {
        QTest::addColumn<int>("value");
        QTest::addColumn<QString>("word");
        QTest::addColumn<QString>("toText");
        QTest::addColumn<int>("fromText");
        addEnum<PelkQobuzAudioFormat>(
            "format", {{5, "mp3_320"}, {6, "flac16_44"}, {7, "flac24_96"}, {27, "flac24_192"}});
        addEnum<PelkQobuzSoundQuality>("quality", {{0, "mp3"}, {1, "cd"}, {2, "hires96"}, {3, "hires192"}});
        addEnum<PelkQobuzRecommendationTypes>(
            "featured", {{0, "albums"}, {1, "articles"}, {2, "artists"}, {3, "playlists"}});
        addEnum<PelkQobuzRecommendations>("recommendation", {{0, "new-releases"},
                                                             {1, "press-awards"},
                                                             {2, "editor-picks"},
                                                             {3, "most-streamed"},
                                                             {4, "best-sellers"}});
        addEnum<PelkQobuzQueryTypes>("search",
                                     {{0, "artists"}, {1, "albums"}, {2, "tracks"}, {3, "playlists"}});
        addEnum<PelkRolesContainerType>("container", {{10, "trackList"}, {101, "search"}});
    }

    void anEnumerationHasItsTexts()
    {
        QFETCH(int, value);
        QTEST(value, "fromText");
        QFETCH(QString, word);
        QTEST(word, "toText");
    }

    void aWordIsReadInItsOwnCase() { QCOMPARE(int(PelkQobuzQueryTypes::fromString(text("Artists"))), -1); }

    void aValueIsTaggedWithItsField()
    {
        PelkValue value;
        QCOMPARE(value.type(), 0);
        PelkQobuzAccount account;
        account.setOperation(PelkQobuzAccountOperation::Login);
        account.setUsername(text("user"));
        value.setQobuzAccount(account);
        QCOMPARE(value.type(), 138);
        QCOMPARE(value.type(), PelkValue::QobuzAccountType);
        QCOMPARE(value.qobuzAccount(), account);
        value.setString_(text("x"));
        QCOMPARE(value.type(), 1);
        QCOMPARE(value.string_(), text("x"));
        QVERIFY(value.qobuzAccount().isEmpty());
        value.setQobuzSoundQuality(PelkQobuzSoundQuality::Hires192);
        QCOMPARE(value.string_(), QString());
        QCOMPARE(int(value.qobuzSoundQuality()), 3);
        QCOMPARE(value.hash().size(), 2);
    }

    void aValueSurvivesAHash()
    {
        PelkQobuzUserSession session;
        session.setUserAuthToken(text("token"));
        session.setUserId(4000000000U);
        PelkValue value;
        value.setQobuzUserSession(session);
        const QVariant variant = value;
        QCOMPARE(variant.userType(), int(QMetaType::QVariantHash));
        const PelkValue read(PelkHash(variant.toHash()));
        QCOMPARE(read, value);
        QCOMPARE(read.type(), int(PelkValue::QobuzUserSessionType));
        QCOMPARE(read.qobuzUserSession().userId(), 4000000000U);
        QCOMPARE(QVariant(variant).value<PelkValue>(), value);
    }

    void everyRecordConvertsFromAndToAHash()
    {
        converts<PelkMediaData, PelkMetaData, PelkNotificationDisplayItem, PelkResource, PelkRoles,
                 PelkRowsRoles, PelkValue>();
        converts<PelkQobuzAccount, PelkQobuzLoginState, PelkQobuzSettings, PelkQobuzUserSession>();
        converts<PelkQobuzAlbum, PelkQobuzAlbums, PelkQobuzArticle, PelkQobuzArticleOffer, PelkQobuzArticles,
                 PelkQobuzArtist, PelkQobuzArtists, PelkQobuzBiography, PelkQobuzCatalogFeaturedResponse,
                 PelkQobuzCredential, PelkQobuzDevice, PelkQobuzErrorResponse, PelkQobuzGenre,
                 PelkQobuzGenreListResponse, PelkQobuzGenres, PelkQobuzGetFileUrlResponse, PelkQobuzImage,
                 PelkQobuzLabel, PelkQobuzLoginResponse, PelkQobuzPlaylist, PelkQobuzPlaylistOwner,
                 PelkQobuzPlaylists, PelkQobuzPurchases, PelkQobuzQueryResponse, PelkQobuzRestriction,
                 PelkQobuzTrack, PelkQobuzTracks, PelkQobuzUser, PelkQobuzUserFavoritesResponse,
                 PelkQobuzUserPlayistsResponse>();
    }

    void aHashIsWrittenWithItsKeysInOrder()
    {
        const PelkHash hash(QVariantHash{{text("b"), QVariantList{1, text("x"), QVariant()}},
                                         {text("a"), QVariantHash{{text("c"), true}}},
                                         {text("d"), QVariantMap{{text("e"), 1.5}}}});
        QCOMPARE(hash.toString(), text("{a: {c: true}, b: [1, \"x\", null], d: {e: 1.5}}"));
        QCOMPARE(PelkHash().toString(), text("{}"));
        QCOMPARE(pelkToString(QVariant::fromValue(nullptr)), text("null"));
    }

private:
    template <typename... Records>
    void converts()
    {
        (convertsOne<Records>(), ...);
    }

    template <typename Record>
    void convertsOne()
    {
        const char* const name = QMetaType::typeName(qMetaTypeId<Record>());
        const QVariantHash hash{{text("key"), 1}};
        QVariant fromHash = hash;
        QVERIFY2(fromHash.convert(qMetaTypeId<Record>()), name);
        QCOMPARE(fromHash.value<Record>().hash(), hash);
        QCOMPARE(QVariant::fromValue(PelkHash(hash)).value<Record>().hash(), hash);
        QVERIFY2(QVariant::fromValue(Record(PelkHash(hash))).toHash() == hash, name);
    }
};

QTEST_GUILESS_MAIN(RecordsTest)
#include "records_test.moc"
