#include "api/testing/modulerunner.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"

#include <QTemporaryDir>
#include <QtTest>

/// The module as the player runs it, with stations of the test's own.
class RadioTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_config;
    std::unique_ptr<ModuleRunner> m_runner;

    void write(const QString& name, const QByteArray& text)
    {
        QVERIFY(QDir(m_config.path()).mkpath(QStringLiteral("pelk")));
        QFile file(m_config.filePath(QStringLiteral("pelk/") + name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    QStringList titles(const QString& path)
    {
        QStringList titles;
        for (const QVariant& row : m_runner->rows(path, 0, 99).rows)
            titles << TrString::fromVariant(row.toList().first()).toString();
        return titles;
    }

private Q_SLOTS:
    void init()
    {
        qputenv("XDG_CONFIG_HOME", m_config.path().toUtf8());
        write(QStringLiteral("radio.ini"),
              "[Früh]\naddress=https://radio.example/frueh\n"
              "[Late]\naddress=http://radio.example/late\nicon=https://radio.example/l.png\n"
              "[Broken]\naddress=file:///etc/passwd\n[Lists]\nlist=more.m3u\nlist=more.pls\n");
        write(QStringLiteral("more.m3u"),
              "#EXTM3U\r\n#EXTINF:-1,Third\r\nhttp://third.example/s\r\nhttp://bare.example/s\r\n");
        write(QStringLiteral("more.pls"),
              "[playlist]\nFile2=http://five.example/\nTitle2=Fifth\nFile1=http://four.example/\n");
        m_runner = std::make_unique<ModuleRunner>(QStringLiteral(RADIO_MODULE));
        m_runner->start();
    }
    void cleanup() { m_runner.reset(); }

    void theMenuHasTheStationsAndTheSearch()
    {
        QCOMPARE(titles(QStringLiteral("radio:")), QStringList({"All stations", "Search stations"}));
    }

    void theStationsOfTheFileAndOfItsListsAreShown()
    {
        QCOMPARE(titles(QStringLiteral("radio:stations")),
                 QStringList({"Früh", "Late", "Third", "bare.example", "four.example", "Fifth"}));
    }

    void theSearchIgnoresCase()
    {
        QCOMPARE(titles(QStringLiteral("radio:found?search=FRÜH")), QStringList({"Früh"}));
    }

    void aRangeOutsideTheListIsEmpty()
    {
        const ModuleRunner::Rows rows = m_runner->rows(QStringLiteral("radio:stations"), 6, 9);
        QCOMPARE(rows.count, 6);
        QVERIFY(rows.rows.isEmpty());
    }

    void aStationTurnsIntoAStreamBeforeItIsPlayed()
    {
        const ModuleRunner::Rows rows = m_runner->rows(QStringLiteral("radio:stations"), 1, 1,
                                                       {PelkRoles::MediaData(), PelkRoles::Icon()});
        const QVariantList values = rows.rows.first().toList();
        PelkRoles row;
        row.insert(PelkRoles::MediaData(), values.first());
        QCOMPARE(values.last().toString(), QStringLiteral("https://radio.example/l.png"));
        const QString path = row.mediaData().metaData().prePlayPath().toString();
        const ModuleRunner::Data answer = m_runner->setData(path, PelkRoles::PrePlay(), row.variant());
        const auto resources = PelkRoles(PelkHash::fromVariant(answer.value)).mediaData().resources();
        QCOMPARE(resources.size(), 1);
        QCOMPARE(resources.first().uri(), QStringLiteral("http://radio.example/late"));
    }

    void withoutItsFileTheModuleSaysWhichOneIsMissing()
    {
        QVERIFY(QFile::remove(m_config.filePath(QStringLiteral("pelk/radio.ini"))));
        const ModuleRunner::Rows rows = m_runner->rows(QStringLiteral("radio:stations"), 0, 9);
        QVERIFY(rows.error.message().toString().endsWith(QStringLiteral("/pelk/radio.ini cannot be read.")));
    }
};

QTEST_GUILESS_MAIN(RadioTest)
#include "radio_test.moc"
