#include "api/core/json/pelkjson.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "player/content/RowText.h"

#include <QtTest>

namespace {

QByteArray textOf(const PelkRoles& row)
{
    QByteArray text;
    RowText::append(&text, row);
    return text;
}

PelkRoles readAgain(const QByteArray& text)
{
    PelkError error;
    return RowText::row(PelkHash::fromVariant(PelkJson::parse(text, error)));
}

} // namespace

class RowTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRowIsReadAsItWasWritten_data()
    {
        QTest::addColumn<QString>("title");
        QTest::newRow("plain") << QStringLiteral("A title");
        QTest::newRow("quotes and controls") << QStringLiteral("\"a\\b\"\n\t\x01");
        QTest::newRow("scripts") << QString::fromUtf8("Καλημέρα 你好 🎵 é");
        QTest::newRow("half a pair") << QString(QChar(0xD800)) + QLatin1Char('x');
        QTest::newRow("empty") << QString();
    }
    void aRowIsReadAsItWasWritten()
    {
        QFETCH(QString, title);
        PelkMetaData metaData;
        metaData.setArtist(title);
        metaData.setDate(-86400);
        metaData.setAllowPause(true);
        metaData.insert(QStringLiteral("ofALaterModule"), QVariantList{1, QStringLiteral("a"), 2.5});
        metaData.setPrePlayPath(CMPath(QStringLiteral("test:preplay?id=a%26b")));
        PelkMediaData media;
        media.setMetaData(metaData);
        PelkRoles row;
        row.setTitle(TrString(title));
        row.setPath(CMPath(QStringLiteral("test:track?id=1")));
        row.setType(PelkRolesType::Audio);
        row.setMediaData(media);
        const PelkRoles again = readAgain(textOf(row));
        QCOMPARE(again, row);
        QCOMPARE(again.title(), TrString(title));
        QCOMPARE(again.mediaData().metaData().prePlayPath(), metaData.prePlayPath());
        QCOMPARE(textOf(again).size(), textOf(row).size());
    }

    void aTitleInSeveralLanguagesStaysOne()
    {
        const TrString title(TrCharData{"Menu", "%1 of %n", "a comment", 3}, {QStringLiteral("x")});
        PelkRoles row;
        row.setTitle(title);
        QCOMPARE(readAgain(textOf(row)).title(), title);
    }

    void noStreamIsWritten()
    {
        PelkResource resource;
        resource.setUri(QStringLiteral("https://streams.example/f?sig=S3CRET"));
        PelkList<PelkResource> resources;
        resources.append(resource);
        PelkMediaData media;
        media.setResources(resources);
        PelkRoles row;
        row.setPath(CMPath(QStringLiteral("test:track?id=1")));
        row.setMediaData(media);
        QVERIFY(!textOf(row).contains("S3CRET"));
        QCOMPARE(readAgain(textOf(row)).path(), row.path());
    }

    void anInvalidRowReadsAsEmpty()
    {
        QVERIFY(readAgain("7").isEmpty());
        QVERIFY(readAgain("{").isEmpty());
        QVERIFY(readAgain("{\"title\":7}").path().isEmpty());
    }
};

QTEST_GUILESS_MAIN(RowTextTest)
#include "rowtext_test.moc"
