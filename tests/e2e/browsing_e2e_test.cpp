#include "tests/e2e/players.h"

#include <QJsonArray>
#include <QtTest>

#include <memory>

/// Browsing and searching the sandbox's catalogue with the real programs.
class BrowsingE2ETest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Players> m_players;

    static QStringList titles(const QJsonObject& rows)
    {
        QStringList titles;
        const QJsonArray items = rows.value(QStringLiteral("rows")).toArray();
        for (const QJsonValue& row : items)
            titles << row.toObject().value(QStringLiteral("title")).toString();
        return titles;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_players = std::make_unique<Players>();
        QCOMPARE(m_players->login().fault(), QString());
    }

    void theMenuHasFiveRows()
    {
        QCOMPARE(titles(m_players->rows(QStringLiteral("qobuz:"), 0, 99)),
                 (QStringList{QStringLiteral("Discover"), QStringLiteral("My Playlists"),
                              QStringLiteral("Favourites"), QStringLiteral("Purchases"),
                              QStringLiteral("Search")}));
    }

    void everyListHasTheTotalOfTheService_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("total");
        const auto row = [](const char* path, int total) {
            QTest::newRow(path) << QString::fromUtf8(path) << total;
        };
        row("qobuz:favourites/tracks", 1300);
        row("qobuz:favourites/albums", 300);
        row("qobuz:favourites/artists", 120);
        row("qobuz:playlists", 40);
        row("qobuz:purchases/tracks", 75);
        row("qobuz:purchases/albums", 75);
        row("qobuz:featured/albums", 1200);
    }
    void everyListHasTheTotalOfTheService()
    {
        QFETCH(QString, path);
        QFETCH(int, total);
        const QJsonObject first = m_players->rows(path, 0, 9);
        QCOMPARE(first.value(QStringLiteral("count")).toInt(), total);
        QCOMPARE(first.value(QStringLiteral("rows")).toArray().size(), 10);
        const QJsonObject last = m_players->rows(path, total - 3, total + 20);
        QCOMPARE(last.value(QStringLiteral("rows")).toArray().size(), 3);
    }

    void aPageStartsWhereTheOneBeforeItEnded()
    {
        const QString path = QStringLiteral("qobuz:favourites/tracks");
        const QStringList whole = titles(m_players->rows(path, 100, 119));
        QCOMPARE(titles(m_players->rows(path, 100, 109)) + titles(m_players->rows(path, 110, 119)), whole);
    }

    void aLongPlaylistIsReadToItsEnd()
    {
        const int id = m_players->controlGet(QStringLiteral("catalogue"))
                           .value(QStringLiteral("long_playlist_id"))
                           .toInt(1100024);
        const QJsonObject rows = m_players->rows(QStringLiteral("qobuz:playlist?id=%1").arg(id), 1990, 2010);
        QCOMPARE(rows.value(QStringLiteral("count")).toInt(), 2000);
        QCOMPARE(rows.value(QStringLiteral("rows")).toArray().size(), 10);
    }

    void anArtistLeadsToAlbumsAndTheseToTracks()
    {
        const auto firstPath = [](const QJsonObject& rows) {
            return rows.value(QStringLiteral("rows"))
                .toArray()
                .first()
                .toObject()
                .value(QStringLiteral("path"))
                .toString();
        };
        const QString artist = firstPath(m_players->rows(QStringLiteral("qobuz:favourites/artists"), 0, 0));
        QVERIFY(artist.startsWith(QLatin1String("qobuz:artist?id=")));
        const QString album = firstPath(m_players->rows(artist, 0, 0));
        QVERIFY(album.startsWith(QLatin1String("qobuz:album?id=")));
        const QString track = firstPath(m_players->rows(album, 0, 0));
        QVERIFY(track.startsWith(QLatin1String("qobuz:track?id=")));
    }

    void aSearchTextReachesTheServiceAsItWasTyped_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("plain") << QStringLiteral("summer");
        QTest::newRow("what tells parts of a URL apart") << QStringLiteral("a+b %20 c&d=e?f#g/h;i");
        QTest::newRow("Japanese") << QString::fromUtf8("空のソ");
        QTest::newRow("emoji and quotes") << QString::fromUtf8("\"🎷\" 'x'");
    }
    void aSearchTextReachesTheServiceAsItWasTyped()
    {
        QFETCH(QString, text);
        m_players->controlDelete(QStringLiteral("requests"));
        QCOMPARE(m_players->pelk({QStringLiteral("search"), text}).exitCode, 0);
        const QJsonArray requests =
            m_players->controlGet(QStringLiteral("requests")).value(QStringLiteral("requests")).toArray();
        QStringList endpoints;
        for (const QJsonValue& request : requests) {
            endpoints << request.toObject().value(QStringLiteral("endpoint")).toString();
            const QJsonArray query = request.toObject().value(QStringLiteral("query")).toArray();
            QCOMPARE(query.last().toArray(), (QJsonArray{QStringLiteral("query"), text}));
        }
        endpoints.sort();
        QCOMPARE(endpoints, (QStringList{QStringLiteral("album/search"), QStringLiteral("artist/search"),
                                         QStringLiteral("playlist/search"), QStringLiteral("track/search")}));
    }

    void aTableFitsTheTerminal_data()
    {
        QTest::addColumn<int>("columns");
        QTest::newRow("narrow") << 80;
        QTest::newRow("wide") << 200;
    }
    void aTableFitsTheTerminal()
    {
        QFETCH(int, columns);
        qputenv("COLUMNS", QByteArray::number(columns));
        const Players::Outcome rows =
            m_players->pelk({QStringLiteral("rows"), QStringLiteral("qobuz:favourites/tracks")});
        qunsetenv("COLUMNS");
        QCOMPARE(rows.exitCode, 0);
        const QStringList lines = rows.output.split(QLatin1Char('\n'));
        QCOMPARE(lines.filter(QStringLiteral("qobuz:track?id=")).size(), 50);
        for (const QString& line : lines)
            QVERIFY2(line.size() <= columns, qPrintable(line));
    }
};

QTEST_GUILESS_MAIN(BrowsingE2ETest)
#include "browsing_e2e_test.moc"
