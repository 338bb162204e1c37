#include "modules/qobuz/QobuzBrowser.h"
#include "tests/support/variantlines.h"

#include <QtTest>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <limits>
#include <unistd.h>

namespace {

constexpr int intMax = std::numeric_limits<int>::max();

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

/// What a child process that does this writes before it is killed by an abort; null if it lives on.
template <typename Function>
QByteArray lastWords(const Function& function)
{
    int ends[2];
    if (pipe(ends) != 0)
        return QByteArray();
    const pid_t child = fork();
    if (child == 0) {
        const rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        dup2(ends[1], STDERR_FILENO);
        qInstallMessageHandler(nullptr);
        function();
        _exit(0);
    }
    close(ends[1]);
    QByteArray words("");
    char buffer[1000];
    for (ssize_t got = 0; (got = read(ends[0], buffer, sizeof buffer)) > 0;)
        words.append(buffer, int(got));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT ? words : QByteArray();
}

PelkRoles titled(int number)
{
    PelkRoles role;
    role.setTitle(QStringLiteral("Row %1").arg(number));
    return role;
}

} // namespace

/// What the browser does without the service: records as rows, rows as answers, and what it leaves to others.
/// Without an API behind it, a call of the service ends the test.
class BrowserTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itIsAnObjectWithoutParentSignalsOrSlots()
    {
        QCOMPARE(m_browser.metaObject()->className(), "QobuzBrowser");
        QCOMPARE(m_browser.metaObject()->methodCount(), QObject::staticMetaObject.methodCount());
        QCOMPARE(m_browser.metaObject()->propertyCount(), QObject::staticMetaObject.propertyCount());
        QVERIFY(m_browser.inherits("QobuzBrowser"));
        QCOMPARE(m_browser.parent(), nullptr);
        QVERIFY(m_browser.children().isEmpty());
    }

    void anArticleBecomesARow_data()
    {
        QTest::addColumn<QVariantHash>("article");
        QTest::addColumn<QVariantHash>("row");

        const auto row = [](const char* title, const char* icon, const char* id, const char* genre,
                            const char* comment) {
            const QVariantHash metaData{{text("genre"), text(genre)},
                                        {text("comment"), text(comment)},
                                        {text("serviceID"), text("qobuz")}};
            return QVariantHash{{text("title"), text(title)},
                                {text("icon"), text(icon)},
                                {text("path"), text("qobuz:article?id=") + text(id)},
                                {text("type"), 3},
                                {text("mediaData"), QVariantHash{{text("metaData"), metaData}}},
                                {text("audioType"), 1}};
        };
        QTest::newRow("with everything")
            << QVariantHash{{text("id"), 268435457},
                            {text("title"), text("\xE9\x9F\xB3 <b>&</b>\r")},
                            {text("category"), text("Portraits")},
                            {text("abstract"), text("The short text")},
                            {text("author"), text("Cleo")},
                            {text("content"), text("<p>The long text</p>")},
                            {text("thumbnail"), text("img/50")},
                            {text("image"), QVariantHash{{text("large"), text("img/600")}}},
                            {text("images300"), QVariantList{text("img/300")}},
                            {text("published_at"), 1500000000LL},
                            {text("url"), text("page")}}
            << row("\xE9\x9F\xB3 <b>&</b>\r", "img/50", "268435457", "Portraits", "The short text");
        QTest::newRow("with nothing") << QVariantHash() << row("", "", "0", "", "");
        QTest::newRow("with nulls") << QVariantHash{{text("id"), QVariant()},
                                                    {text("title"), QVariant()},
                                                    {text("category"), QVariant()},
                                                    {text("abstract"), QVariant()},
                                                    {text("thumbnail"), QVariant()}}
                                    << row("", "", "0", "", "");
        QTest::newRow("with an id as text")
            << QVariantHash{{text("id"), text("51")}} << row("", "", "51", "", "");
        QTest::newRow("without a thumbnail but with other pictures")
            << QVariantHash{{text("id"), 51}, {text("image"), QVariantHash{{text("large"), text("img/600")}}}}
            << row("", "", "51", "", "");
    }

    void anArticleBecomesARow()
    {
        QFETCH(QVariantHash, article);
        QFETCH(QVariantHash, row);
        PelkQobuzArticle record{PelkHash(article)};
        QCOMPARE(variantLines(m_browser.toRole(record).variant()), variantLines(row));
        QCOMPARE(variantLines(record.variant()), variantLines(article)); // only read
    }

    void aRecordIsOnlyRead()
    {
        const QVariantHash album{{text("id"), text("1")}, {text("title"), text("A")}};
        const QVariantHash hash{{text("id"), text("1")},
                                {text("album"), album},
                                {text("genres"), QVariantList{QVariantHash{{text("name"), text("G")}}}}};
        PelkQobuzTrack track{PelkHash(hash)};
        PelkQobuzAlbum ofAlbum{PelkHash(hash)};
        PelkQobuzArtist artist{PelkHash(hash)};
        PelkQobuzPlaylist playlist{PelkHash(hash)};
        m_browser.toRole(track);
        m_browser.toRole(ofAlbum);
        m_browser.toRole(artist);
        m_browser.toRole(playlist);
        for (const PelkHash& record : QList<PelkHash>{track, ofAlbum, artist, playlist})
            QCOMPARE(variantLines(record.variant()), variantLines(hash));
    }

    void aTitleIsATextWithoutContext()
    {
        PelkQobuzTrack track{PelkHash({{text("title"), text("Albums")}})};
        const TrString title = TrString::fromVariant(m_browser.toRole(track).value(PelkRoles::Title()));
        QVERIFY(!title.isTranslatable());
        QVERIFY(title.context().isEmpty());
        QCOMPARE(title.toString(), QStringLiteral("Albums"));
    }

    void thePictureOfAnImageIsTheLargestThatHasAnAddress_data()
    {
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QString>("chosen");

        const auto row = [](const char* chosen, const char* keys) {
            QTest::addRow("%s of %s", chosen, keys)
                << text(keys).split(QLatin1Char(' '), Qt::SkipEmptyParts) << text(chosen);
        };
        row("extralarge", "thumbnail small medium large extralarge mega back");
        row("extralarge", "extralarge");
        row("extralarge", "thumbnail extralarge");
        row("large", "thumbnail small medium large mega back");
        row("medium", "thumbnail small medium");
        row("small", "thumbnail small");
        row("thumbnail", "thumbnail mega back");
        row("", "mega back");
        row("", "");
    }

    void thePictureOfAnImageIsTheLargestThatHasAnAddress()
    {
        QFETCH(QStringList, keys);
        QFETCH(QString, chosen);
        PelkHash absent;
        PelkHash empty;
        for (const char* key : {"thumbnail", "small", "medium", "large", "extralarge"})
            empty.insert(text(key), QString());
        for (const QString& key : qAsConst(keys)) {
            absent.insert(key, key);
            empty.insert(key, key);
        }
        QCOMPARE(m_browser.highestQualityImageUrl(PelkQobuzImage(absent)), chosen);
        QCOMPARE(m_browser.highestQualityImageUrl(PelkQobuzImage(empty)), chosen);
    }

    void aPageIsCutToTheRange_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");
        QTest::addColumn<int>("page");
        QTest::addColumn<int>("sent");
        QTest::newRow("as asked for") << 0 << 4 << 5 << 5;
        QTest::newRow("fewer") << 10 << 19 << 4 << 4;
        QTest::newRow("more") << 10 << 12 << 9 << 3;
        QTest::newRow("an empty page") << 0 << 49 << 0 << 0;
        QTest::newRow("an empty range") << 5 << 4 << 3 << 0;
        QTest::newRow("a range that ends before it begins") << 9 << 2 << 3 << 0;
        QTest::newRow("from the largest back") << intMax << 0 << 3 << 0;
        QTest::newRow("to the largest") << 0 << intMax << 3 << 3;
        QTest::newRow("the largest alone") << intMax << intMax << 3 << 1;
        QTest::newRow("beyond the largest") << intMax - 1 << intMax << 5 << 2;
    }

    void aPageIsCutToTheRange()
    {
        QFETCH(int, first);
        QFETCH(int, last);
        QFETCH(int, page);
        QFETCH(int, sent);
        QList<PelkRoles> rows;
        QVariantList expected;
        for (int i = 0; i < page; ++i) {
            rows << titled(i);
            if (i < sent)
                expected << QVariant(QVariantList{QStringLiteral("Row %1").arg(i), QVariant()});
        }
        const CMGetRowsRequest request(CMPath(text("qobuz:playlists")), first, last,
                                       {PelkRoles::Title(), PelkRoles::Icon()}, -5);
        m_browser.sendBrowseReply(rows, 1200, request);
        QVERIFY(request.reply().isFinished());
        QVERIFY(!request.reply().error().isSet());
        const QVariantHash answer{
            {text("rows"), expected}, {text("rowsCount"), 1200}, {text("rowsVersion"), 0}};
        QCOMPARE(variantLines(request.reply().value().variant()), variantLines(answer));
    }

    void theTotalIsSentAsItIs_data()
    {
        QTest::addColumn<int>("total");
        for (const int total : {0, 1, 60000, intMax, -1})
            QTest::addRow("%d", total) << total;
    }

    void theTotalIsSentAsItIs()
    {
        QFETCH(int, total);
        const CMGetRowsRequest request(CMPath(text("qobuz:playlists")), 0, 9, {PelkRoles::Title()}, 3);
        m_browser.sendBrowseReply({titled(0), titled(1)}, total, request);
        QCOMPARE(request.reply().value().rowsCount(), total);
        QCOMPARE(request.reply().value().rows().toList().size(), 2);
        QCOMPARE(request.reply().value().rowsVersion(), 3);
    }

    void aPathOfOthersIsNotTaken_data()
    {
        QTest::addColumn<QString>("path");
        for (const char* path :
             {"qobuz:", "qobuz:featured/", "qobuz:favourites/", "qobuz:search/", "qobuz:search/?query=x",
              "qobuz:featured/featured/", "qobuz:purchases/", "qobuz:searchNode", "qobuz:searchContainer",
              "qobuz:article?id=1", "qobuz:track?id=1", "qobuz:preplay?id=1", "qobuz:stateChange?id=1"})
            QTest::newRow(path) << text(path);
        QTest::newRow("none") << QString();
    }

    void aPathOfOthersIsNotTaken()
    {
        QFETCH(QString, path);
        const CMGetRowsRequest request(CMPath(path), 0, 49, {});
        QVERIFY(!m_browser.browse(request));
        QVERIFY(!request.reply().isFinished());
    }

    void aBadRangeIsTakenAndRefusedAtOnce_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");
        QTest::newRow("first") << -1 << 10;
        QTest::newRow("last") << 10 << -1;
        QTest::newRow("both") << -1 << -1;
        QTest::newRow("the least") << std::numeric_limits<int>::min() << intMax;
    }

    void aBadRangeIsTakenAndRefusedAtOnce()
    {
        QFETCH(int, first);
        QFETCH(int, last);
        for (const char* path : {"qobuz:featured/albums", "qobuz:featured/", "qobuz:nowhere"}) {
            const CMGetRowsRequest request(CMPath(text(path)), first, last, {});
            QVERIFY(m_browser.browse(request));
            QVERIFY(request.reply().isFinished());
            const TrString message = request.reply().error().message();
            QCOMPARE(message.context(), QByteArray("bool QobuzBrowser::browse(const CMGetRowsRequest&)"));
            QCOMPARE(message.source(), QByteArray("Bad rows request range"));
            QVERIFY(message.comment().isNull());
            QVERIFY(message.arguments().isEmpty());
        }
    }

    void aRequestWithoutDataIsAFatalAssertion()
    {
        const QByteArray words = lastWords([this] { m_browser.browse(CMGetRowsRequest()); });
        QVERIFY(!words.isNull());
        QVERIFY2(words.contains("ASSERT: \"d()\""), words.constData());
    }

private:
    QobuzBrowser m_browser{nullptr, nullptr};
};

QTEST_GUILESS_MAIN(BrowserTest)
#include "browser_test.moc"
