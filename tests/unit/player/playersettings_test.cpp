#include "player/host/PlayerSettings.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

PelkValue text(const QString& string)
{
    PelkValue value;
    value.setString_(string);
    return value;
}

} // namespace

class PlayerSettingsTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_name;

    void write(const QByteArray& content) const
    {
        QFile file(m_name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    QByteArray contents() const
    {
        QFile file(m_name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private Q_SLOTS:
    void init()
    {
        m_name = m_dir.filePath(QStringLiteral("pelk.ini"));
        QFile::remove(m_name);
    }

    void missingSettingsHaveTheirDefaults()
    {
        PlayerSettings settings(m_name);
        QString error;
        QVERIFY2(settings.load(&error), qPrintable(error));
        QCOMPARE(PlayerSettings::volumeLimitPercent(settings.read(PlayerSettings::volumeLimitPath())), 100);
        QVERIFY(PlayerSettings::keepsHistory(settings.read(PlayerSettings::historyPath())));
    }

    void invalidSettingsAreReportedInASentence_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("sentence");
        const QString number = QStringLiteral("set it to a whole number from 0 to 100.");
        QTest::newRow("too loud") << QByteArray("volumeLimit=101") << number;
        QTest::newRow("negative") << QByteArray("volumeLimit=-1") << number;
        QTest::newRow("no number") << QByteArray("volumeLimit=loud") << number;
        QTest::newRow("fraction") << QByteArray("volumeLimit=0.5") << number;
        QTest::newRow("neither on nor off")
            << QByteArray("history=maybe") << QStringLiteral("set it to on or off.");
    }
    void invalidSettingsAreReportedInASentence()
    {
        QFETCH(QByteArray, line);
        QFETCH(QString, sentence);
        write("[player]\n" + line + "\n");
        PlayerSettings settings(m_name);
        QString error;
        QVERIFY(!settings.load(&error));
        QVERIFY2(error.contains(QStringLiteral(" under [player] in %1 is \"").arg(m_name)) &&
                     error.endsWith(sentence),
                 qPrintable(error));
        const QString key = QString::fromUtf8(line).section(QLatin1Char('='), 0, 0);
        const QString value = QString::fromUtf8(line).section(QLatin1Char('='), 1);
        QVERIFY(!settings.accepts(CMPath(QStringLiteral("settings:player/") + key), text(value), &error));
        QVERIFY2(!error.contains(m_name), qPrintable(error));
    }

    void aValueIsWrittenWithoutChangingOthers()
    {
        write("[qobuz]\nappId=1\n");
        PlayerSettings settings(m_name);
        QString error;
        QVERIFY(settings.load(&error));
        write("# mine\n[qobuz]\nappId=1\n[player]\nfuture=yes\n"); // while the player runs
        QVERIFY(settings.accepts(PlayerSettings::volumeLimitPath(), text(QStringLiteral("60")), &error));
        QVERIFY2(settings.write(PlayerSettings::volumeLimitPath(), text(QStringLiteral("60")), &error),
                 qPrintable(error));
        QCOMPARE(contents(), QByteArray("# mine\n[qobuz]\nappId=1\n[player]\nfuture=yes\nvolumeLimit=60\n"));
        PlayerSettings next(m_name);
        QVERIFY(next.load(&error));
        QCOMPARE(PlayerSettings::volumeLimitPercent(next.read(PlayerSettings::volumeLimitPath())), 60);
    }
};

QTEST_GUILESS_MAIN(PlayerSettingsTest)
#include "playersettings_test.moc"
