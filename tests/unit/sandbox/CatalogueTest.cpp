#include "sandbox/catalogue/Catalogue.h"

#include "sandbox/catalogue/Library.h"
#include "sandbox/catalogue/Search.h"

#include <QCryptographicHash>
#include <QtTest>

#include <set>

using namespace sandbox;

class CatalogueTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameSeedMakesTheSameCatalogue()
    {
        const Catalogue other(1);
        QCOMPARE(other.trackCount(), m_catalogue.trackCount());
        for (int i = 0; i < 500; ++i) {
            QCOMPARE(other.artistName(i), m_catalogue.artistName(i));
            QCOMPARE(other.albumId(i * 24), m_catalogue.albumId(i * 24));
            QCOMPARE(other.trackTitle(i * 200), m_catalogue.trackTitle(i * 200));
            QCOMPARE(other.playlistTrack(i, 2), m_catalogue.playlistTrack(i, 2));
        }
    }

    void anotherSeedMakesAnother()
    {
        const Catalogue other(2);
        int equal = 0;
        for (int i = 0; i < 500; ++i)
            equal += other.artistName(i) == m_catalogue.artistName(i);
        QVERIFY(equal < 50);
        QVERIFY(other.albumId(0) != m_catalogue.albumId(0));
    }

    void isTheSameWithEveryCompilerAndOnEveryMachine()
    {
        QCryptographicHash names(QCryptographicHash::Md5);
        const auto add = [&names](const std::string& text) {
            names.addData(QByteArray::fromStdString(text));
        };
        for (int i = 0; i < Catalogue::artistCount; ++i)
            add(m_catalogue.artistName(i));
        for (int i = 0; i < Catalogue::albumCount; ++i)
            add(m_catalogue.albumTitle(i));
        for (int i = 0; i < Catalogue::playlistCount; ++i)
            add(m_catalogue.playlistName(i));
        Draw draw(1, Purpose::Album, 1);
        add(names::label(draw));
        add(names::prose(draw, 100));
        QCOMPARE(names.result().toHex(), QByteArray("b74f50d90588b72c47ea7c7b7e46a596"));
    }

    void isAsLargeAsPromised()
    {
        QVERIFY(Catalogue::artistCount >= 2000);
        QVERIFY(Catalogue::albumCount >= 10000);
        QVERIFY(Catalogue::playlistCount >= 500);
        QVERIFY(m_catalogue.trackCount() >= 100000);
    }

    void everyTrackBelongsToTheAlbumThatHoldsIt()
    {
        int track = 0;
        for (int album = 0; album < Catalogue::albumCount; ++album) {
            QCOMPARE(m_catalogue.albumFirstTrack(album), track);
            QVERIFY(m_catalogue.albumTrackCount(album) > 0);
            QCOMPARE(m_catalogue.trackAlbum(track), album);
            track += m_catalogue.albumTrackCount(album);
            QCOMPARE(m_catalogue.trackAlbum(track - 1), album);
        }
        QCOMPARE(track, m_catalogue.trackCount());
    }

    void idsLeadBackToTheirRecords()
    {
        std::set<std::string> albums;
        for (int album = 0; album < Catalogue::albumCount; ++album) {
            QCOMPARE(m_catalogue.albumOf(m_catalogue.albumId(album)).value_or(-1), album);
            albums.insert(m_catalogue.albumId(album));
        }
        QCOMPARE(albums.size(), std::size_t(Catalogue::albumCount));
        for (int track = 0; track < m_catalogue.trackCount(); track += 7)
            QCOMPARE(m_catalogue.trackOf(Catalogue::trackId(track)).value_or(-1), track);
        for (int artist = 0; artist < Catalogue::artistCount; ++artist)
            QCOMPARE(Catalogue::artistOf(Catalogue::artistId(artist)).value_or(-1), artist);
    }

    void unknownIdsLeadNowhere()
    {
        for (const std::int64_t id : {std::int64_t(0), std::int64_t(-1), Catalogue::trackId(0) + 1,
                                      Catalogue::trackId(m_catalogue.trackCount()), INT64_MAX})
            QVERIFY(!m_catalogue.trackOf(id));
        QVERIFY(!Catalogue::artistOf(Catalogue::artistId(Catalogue::artistCount)));
        QVERIFY(!m_catalogue.albumOf(""));
    }

    void idsComeInEveryForm()
    {
        bool leadingZeros = false;
        bool letters = false;
        for (int album = 0; album < 200; ++album) {
            const std::string& id = m_catalogue.albumId(album);
            leadingZeros |= id[0] == '0' && id[1] == '0';
            letters |= id.find_first_of("abcdefghijklmnopqrstuvwxyz") != std::string::npos;
        }
        QVERIFY(leadingZeros);
        QVERIFY(letters);
        QVERIFY(Catalogue::trackId(m_catalogue.trackCount() - 1) > (1 << 27));
        QVERIFY(Catalogue::artistId(Catalogue::artistCount - 1) > (1 << 27));
        QVERIFY(Catalogue::playlistId(Catalogue::playlistCount - 1) > (1 << 27));
    }

    void namesAreInSeveralScriptsAndLengths()
    {
        std::set<Script> scripts;
        std::size_t longest = 0;
        bool empty = false;
        for (int artist = 0; artist < Catalogue::artistCount; ++artist) {
            scripts.insert(m_catalogue.artistScript(artist));
            longest = std::max(longest, m_catalogue.artistName(artist).size());
            empty |= m_catalogue.artistName(artist).empty();
        }
        QCOMPARE(scripts.size(), std::size_t(7));
        QVERIFY(longest > 200);
        QVERIFY(empty);
    }

    void someAlbumsAreOlderThanTheEpoch()
    {
        int before = 0;
        for (int album = 0; album < 1000; ++album)
            before += m_catalogue.albumReleasedAt(album) < 0;
        QVERIFY(before > 100 && before < 500);
    }

    void everyQualityIsAvailable()
    {
        std::set<std::string> seen;
        for (int album = 0; album < Catalogue::albumCount; ++album)
            seen.insert(m_catalogue.albumQuality(album).name);
        QCOMPARE(seen.size(), std::size(qualities));
    }

    void tracksLastFrom8To40Seconds()
    {
        for (int track = 0; track < m_catalogue.trackCount(); ++track) {
            const int seconds = m_catalogue.trackDurationSeconds(track);
            QVERIFY(seconds >= 8 && seconds <= 40);
            QVERIFY(Catalogue::trackRestriction(track) != Restriction::SampleOnly || seconds > 30);
        }
    }

    void nothingIsCollectedTwice()
    {
        const Library library(m_catalogue);
        std::set<int> tracks;
        for (int i = 0; i < Library::favouriteTracks; ++i)
            tracks.insert(library.favouriteTrack(i));
        QCOMPARE(int(tracks.size()), Library::favouriteTracks);
        QVERIFY(*tracks.begin() >= 0 && *tracks.rbegin() < m_catalogue.trackCount());
        std::set<int> artists;
        for (int i = 0; i < Library::favouriteArtists; ++i)
            artists.insert(library.favouriteArtist(i));
        QCOMPARE(int(artists.size()), Library::favouriteArtists);
    }

    void aShuffledWalkVisitsEverythingOnce()
    {
        for (const int count : {1, 12, 30, 210, 1000}) {
            for (int start = 0; start < 60; ++start) {
                std::set<int> seen;
                for (int position = 0; position < count; ++position)
                    seen.insert(shuffled(position, start, count));
                QCOMPARE(int(seen.size()), count);
                QVERIFY(*seen.begin() == 0 && *seen.rbegin() == count - 1);
            }
        }
    }

    void aGenresPathLeadsFromItsRoot()
    {
        const auto deep = Catalogue::genreOf(67);
        QVERIFY(deep.has_value());
        QCOMPARE(Catalogue::genrePath(*deep), (std::vector<int>{64, 66, 67}));
    }

    void foldingLowersLettersOfEveryScript_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("folded");
        QTest::newRow("plain") << QByteArray("NiGHT 1") << QByteArray("night 1");
        QTest::newRow("accents") << QByteArray("ÉLØ") << QByteArray("élø");
        QTest::newRow("Cyrillic") << QByteArray("ДРА") << QByteArray("дра");
        QTest::newRow("Greek") << QByteArray("ΚΑ") << QByteArray("κα");
        QTest::newRow("emoji") << QByteArray("🎷") << QByteArray("🎷");
        QTest::newRow("broken UTF-8") << QByteArray("A\xff\xc3") << QByteArray("a\xff\xc3");
    }

    void foldingLowersLettersOfEveryScript()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, folded);
        QCOMPARE(names::folded(text.toStdString()), folded.toStdString());
    }

    void theIndexFindsWhatAScanFinds_data()
    {
        QTest::addColumn<QByteArray>("text");
        for (const char* text : {"NIGHT", "of ", "ка", "<b>", "the silent", "no such name"})
            QTest::newRow(text) << QByteArray(text);
    }

    void theIndexFindsWhatAScanFinds()
    {
        QFETCH(QByteArray, text);
        const NameIndex index(Catalogue::albumCount, [this](int i) { return m_catalogue.albumTitle(i); });
        std::vector<int> expected;
        for (int i = 0; i < Catalogue::albumCount; ++i) {
            if (names::folded(m_catalogue.albumTitle(i)).find(names::folded(text.toStdString())) !=
                std::string::npos)
                expected.push_back(i);
        }
        QCOMPARE(index.find(text.toStdString()), expected);
    }

    void anEmptySearchFindsNothing()
    {
        const NameIndex index(10, [this](int i) { return m_catalogue.albumTitle(i); });
        QVERIFY(index.find("").empty());
        QVERIFY(index.find("\n").empty());
    }

private:
    const Catalogue m_catalogue{1};
};

QTEST_GUILESS_MAIN(CatalogueTest)
#include "CatalogueTest.moc"
