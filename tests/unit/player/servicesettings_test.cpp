#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"
#include "player/host/ServiceSettings.h"

#include <QTemporaryDir>
#include <QtTest>
#include <sys/stat.h>

namespace {

const QByteArray good = "[qobuz]\napiUrl=https://api.example/json/\nappId=1\nappSecret=s3\n";

void write(const QString& name, const QByteArray& text)
{
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

QByteArray contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

PelkValue quality(PelkQobuzSoundQuality::Enum which)
{
    PelkValue value;
    value.setQobuzSoundQuality(which);
    return value;
}

} // namespace

class ServiceSettingsTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_name;

private Q_SLOTS:
    void init()
    {
        m_name = m_dir.filePath(QStringLiteral("pelk.ini"));
        QFile::remove(m_name);
    }

    void invalidInputIsRefusedWithTheSettingToCorrect_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* name, const QByteArray& text, const char* sentence) {
            QTest::newRow(name) << text << QString::fromUtf8(sentence);
        };
        row("empty file", "", "apiUrl is not set in FILE. Under [qobuz], set it to the base address");
        row("no apiUrl", "[qobuz]\nappId=1\nappSecret=2\n", "apiUrl is not set in FILE");
        row("no appId", "[qobuz]\napiUrl=https://h/\nappSecret=2\n", "appId is not set in FILE");
        row("no appSecret", "[qobuz]\napiUrl=https://h/\nappId=1\n", "appSecret is not set in FILE");
        row("empty value", "[qobuz]\napiUrl=\nappId=1\nappSecret=2\n", "apiUrl is not set in FILE");
        row("another section", "[other]\napiUrl=https://h/\nappId=1\nappSecret=2\n", "apiUrl is not set");
        row("commented out", "[qobuz]\n# apiUrl=https://h/\n", "apiUrl is not set in FILE");
        row("relative address", "[qobuz]\napiUrl=api/\nappId=1\nappSecret=2\n", "must begin with https://");
        row("other scheme", "[qobuz]\napiUrl=ftp://h/\nappId=1\nappSecret=2\n", "must begin with https://");
        row("no host", "[qobuz]\napiUrl=https:///a/\nappId=1\nappSecret=2\n", "it names no host");
        row("no slash", "[qobuz]\napiUrl=https://h/a\nappId=1\nappSecret=2\n", "it must end in a slash");
        row("query", "[qobuz]\napiUrl=https://h/?a=/\nappId=1\nappSecret=2\n",
            "must not have a query or a fragment");
        row("password in the address", "[qobuz]\napiUrl=https://me:pw@h/a\nappId=1\nappSecret=2\n",
            "is \"***@h/a\", but it must end in a slash");
        row("key in the address", "[qobuz]\napiUrl=https://h/a/?key=s3/\nappId=1\nappSecret=2\n",
            "is \"https://h/a/?***\", but");
        row("invalid address", "[qobuz]\napiUrl=https://h:port/\nappId=1\nappSecret=2\n", "not a valid URL");
        row("unknown quality", good + "soundQuality=best\n", "set it to one of: mp3, cd, hires96, hires192");
        row("no line of settings", "[qobuz]\nhello\n", "Line 2 of the settings file FILE is neither");
        row("no text", QByteArray("\x00\x01\xff", 3), "FILE is not UTF-8 text");
        row("not UTF-8", "[qobuz]\nappId=\xff\n", "FILE is not UTF-8 text");
        row("too large", QByteArray(2 << 20, '#'), "FILE cannot be read: it is larger than 1 MiB.");
    }
    void invalidInputIsRefusedWithTheSettingToCorrect()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, sentence);
        write(m_name, text);
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY(!settings.load(&error));
        sentence.replace(QStringLiteral("FILE"), m_name);
        QVERIFY2(error.contains(sentence), qPrintable(error));
        // The invalid file is left unchanged for its owner to correct.
        QCOMPARE(contents(m_name), text);
    }

    void aMissingFileIsReportedWithTheLinesToWrite()
    {
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY(!settings.load(&error));
        QVERIFY(error.startsWith(QStringLiteral("There is no settings file %1. Write one").arg(m_name)));
        QVERIFY(!QFile::exists(m_name));
    }

    void theLastFileThatSetsAKeyDecides()
    {
        const QString system = m_dir.filePath(QStringLiteral("system.ini"));
        const QString further = m_dir.filePath(QStringLiteral("further.ini"));
        write(system, "[qobuz]\napiUrl=https://system.example/\nappId=system\nappSecret=system\n");
        write(further, "[qobuz]\nappId=further\nappSecret=\n");
        write(m_name, "[qobuz]\napiUrl=https://own.example/\n");
        ServiceSettings settings({m_name, {system, m_dir.filePath(QStringLiteral("missing.ini")), further}});
        QString error;
        QVERIFY2(!settings.load(&error), "the empty appSecret of further.ini counts");
        write(further, "[qobuz]\nappId=further\n");
        QVERIFY2(settings.load(&error), qPrintable(error));
        const PelkQobuzSettings read = settings.read(PelkQobuzSettingsPath()).qobuzSettings();
        QCOMPARE(read.apiUrl(), QStringLiteral("https://own.example/"));
        QCOMPARE(read.appId(), QStringLiteral("further"));
        QCOMPARE(read.appSecret(), QStringLiteral("system"));
        QFile::remove(system);
        QFile::remove(further);
    }

    void onlyTheOwnFileIsWritten()
    {
        const QString system = m_dir.filePath(QStringLiteral("system.ini"));
        write(system, good);
        ServiceSettings settings({m_name, {system}});
        QString error;
        QVERIFY2(settings.load(&error), qPrintable(error));
        QVERIFY2(settings.write(PelkQobuzSoundQualityPath(), quality(PelkQobuzSoundQuality::Mp3), &error),
                 qPrintable(error));
        QCOMPARE(contents(system), good);
        const QByteArray own = contents(m_name);
        QVERIFY(own.contains("soundQuality=mp3"));
        QVERIFY(own.contains("memberId="));
        QVERIFY(!own.contains("s3"));
        ServiceSettings again({m_name, {system}});
        QVERIFY2(again.load(&error), qPrintable(error));
        QCOMPARE(again.read(PelkQobuzSettingsPath()).qobuzSettings().appSecret(), QStringLiteral("s3"));
        QCOMPARE(again.read(PelkQobuzSoundQualityPath()), quality(PelkQobuzSoundQuality::Mp3));
        QFile::remove(system);
    }

    void aSecretThatAllUsersCanReadCausesAWarning()
    {
        write(m_name, good);
        QString error;
        ServiceSettings settings(m_name);
        QVERIFY2(settings.load(&error), qPrintable(error));
        // load() saved the file once more, with the identifier: readable by its owner only.
        QCOMPARE(settings.warning(), QString());
        ::chmod(QFile::encodeName(m_name).constData(), 0604);
        QVERIFY(settings.warning().contains(QStringLiteral("can read the secret in ") + m_name));
        ::chmod(QFile::encodeName(m_name).constData(), 0640);
        QCOMPARE(settings.warning(), QString());
    }

    void systemFilesAreReadInADefinedOrder()
    {
        QDir().mkpath(m_dir.filePath(QStringLiteral("a/pelk/pelk.ini.d")));
        write(m_dir.filePath(QStringLiteral("a/pelk/pelk.ini.d/20.ini")), "");
        write(m_dir.filePath(QStringLiteral("a/pelk/pelk.ini.d/10.ini")), "");
        write(m_dir.filePath(QStringLiteral("a/pelk/pelk.ini.d/backup")), "");
        qputenv("XDG_CONFIG_DIRS", m_dir.filePath(QStringLiteral("a")).toUtf8() + ":relative:/b");
        qputenv("CREDENTIALS_DIRECTORY", "/c");
        const QStringList files = SettingsFiles::systemFiles();
        qunsetenv("XDG_CONFIG_DIRS");
        qunsetenv("CREDENTIALS_DIRECTORY");
        const QString a = m_dir.filePath(QStringLiteral("a/pelk/pelk.ini"));
        QCOMPARE(files, QStringList({QStringLiteral("/b/pelk/pelk.ini"), a, a + QStringLiteral(".d/10.ini"),
                                     a + QStringLiteral(".d/20.ini"), QStringLiteral("/c/pelk.ini")}));
        QCOMPARE(SettingsFiles::systemFiles(), QStringList{QStringLiteral("/etc/xdg/pelk/pelk.ini")});
    }

    void aFolderIsRefusedAsASettingsFile()
    {
        ServiceSettings settings(m_dir.path());
        QString error;
        QVERIFY(!settings.load(&error));
        QVERIFY(error.contains(QStringLiteral("is a folder")));
    }

    void aPipeAndADeviceAreNoSettingsFiles_data()
    {
        QTest::addColumn<QString>("target");
        QTest::newRow("pipe") << m_dir.filePath(QStringLiteral("pipe"));
        QTest::newRow("endless device") << QStringLiteral("/dev/zero");
    }
    void aPipeAndADeviceAreNoSettingsFiles()
    {
        QFETCH(QString, target);
        if (!target.startsWith(QLatin1String("/dev/")))
            QCOMPARE(::mkfifo(QFile::encodeName(target).constData(), 0600), 0);
        QVERIFY(QFile::link(target, m_name));
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY(!settings.load(&error));
        QCOMPARE(
            error,
            QStringLiteral("The settings file %1 cannot be read: it is not a regular file.").arg(m_name));
    }

    void linesThatWereAddedWhileThePlayerRunsStay()
    {
        write(m_name, good + "[system]\nmemberId=m\n");
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY2(settings.load(&error), qPrintable(error));
        write(m_name, "# mine\n" + good + "future=yes\n[system]\nmemberId=m\n[other]\nx=1\n");
        PelkValue value;
        value.setQobuzSoundQuality(PelkQobuzSoundQuality::Mp3);
        QVERIFY2(settings.write(PelkQobuzSoundQualityPath(), value, &error), qPrintable(error));
        QCOMPARE(contents(m_name),
                 "# mine\n" + good + "future=yes\nsoundQuality=mp3\n[system]\nmemberId=m\n[other]\nx=1\n");
    }

    void aFileThatBecameInvalidWhileThePlayerRunsIsNotChanged_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("not settings") << QByteArray("hello\n");
        QTest::newRow("without an address") << QByteArray("[qobuz]\nappId=1\nappSecret=2\n");
        QTest::newRow("half a line") << good + "soundQua";
    }
    void aFileThatBecameInvalidWhileThePlayerRunsIsNotChanged()
    {
        QFETCH(QByteArray, text);
        write(m_name, good + "[system]\nmemberId=m\n");
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY2(settings.load(&error), qPrintable(error));
        write(m_name, text);
        PelkValue value;
        value.setQobuzSoundQuality(PelkQobuzSoundQuality::Mp3);
        QVERIFY(!settings.write(PelkQobuzSoundQualityPath(), value, &error));
        QVERIFY2(error.startsWith(QStringLiteral("Nothing was saved: the settings file was changed")) &&
                     !error.contains(m_dir.path()),
                 qPrintable(error));
        QCOMPARE(contents(m_name), text);
    }

    void aFileThatWasRemovedWhileThePlayerRunsIsWrittenAgain()
    {
        write(m_name, good + "[system]\nmemberId=m\n");
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY2(settings.load(&error), qPrintable(error));
        QVERIFY(QFile::remove(m_name));
        PelkValue value;
        value.setQobuzSoundQuality(PelkQobuzSoundQuality::Mp3);
        QVERIFY2(settings.write(PelkQobuzSoundQualityPath(), value, &error), qPrintable(error));
        QCOMPARE(contents(m_name), good + "soundQuality=mp3\n[system]\nmemberId=m\n");
    }

    void theMemberIdIsCreatedOnceAndKept()
    {
        write(m_name, good);
        QString error;
        ServiceSettings first(m_name);
        QVERIFY2(first.load(&error), qPrintable(error));
        const QString id = first.read(PelkSystemMemberIdPath()).string_();
        QCOMPARE(id.size(), 36);
        ServiceSettings second(m_name);
        QVERIFY(second.load(&error));
        QCOMPARE(second.read(PelkSystemMemberIdPath()).string_(), id);
    }

    void valuesAreReadUnderTheirPaths()
    {
        write(m_name, "; mine\n[qobuz]\n apiUrl = http://127.0.0.1:80/x/ \r\nappId=1=2\nappSecret=ä#;\n"
                      "soundQuality=hires96\n[system]\nmemberId=m\n");
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY2(settings.load(&error), qPrintable(error));
        const PelkQobuzSettings values = settings.read(PelkQobuzSettingsPath()).qobuzSettings();
        QCOMPARE(values.apiUrl(), QStringLiteral("http://127.0.0.1:80/x/"));
        QCOMPARE(values.appId(), QStringLiteral("1=2"));
        QCOMPARE(values.appSecret(), QStringLiteral("ä#;"));
        QCOMPARE(settings.read(PelkQobuzSoundQualityPath()).qobuzSoundQuality(),
                 PelkQobuzSoundQuality::Hires96);
        QCOMPARE(settings.read(PelkSystemMemberIdPath()).string_(), QStringLiteral("m"));
        QVERIFY(settings.read(CMPath(QStringLiteral("settings:other"))).isEmpty());
    }

    void theDefaultQualityIsCd()
    {
        write(m_name, good);
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY(settings.load(&error));
        QCOMPARE(settings.read(PelkQobuzSoundQualityPath()).qobuzSoundQuality(), PelkQobuzSoundQuality::Cd);
    }

    void savingKeepsCommentsUnknownKeysAndOrder()
    {
        write(m_name, "# mine\n[other]\nx=1\n\n[qobuz]\nappId=1\n; a note\nfuture=yes\napiUrl=https://h/\n"
                      "appSecret=2\nsoundQuality=cd\n\n[system]\nmemberId=m\nlast=1\n");
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY(settings.load(&error));
        PelkValue value;
        value.setQobuzSoundQuality(PelkQobuzSoundQuality::Mp3);
        QVERIFY(settings.write(PelkQobuzSoundQualityPath(), value, &error));
        QCOMPARE(
            contents(m_name),
            QByteArray("# mine\n[other]\nx=1\n\n[qobuz]\nappId=1\n; a note\nfuture=yes\n"
                       "apiUrl=https://h/\nappSecret=2\nsoundQuality=mp3\n\n[system]\nmemberId=m\nlast=1\n"));
    }

    void settingsThatTheNextStartWouldRefuseAreNotWritten_data()
    {
        QTest::addColumn<QString>("apiUrl");
        QTest::addColumn<QString>("appSecret");
        QTest::addColumn<QString>("sentence");
        const QString url = QStringLiteral("https://h/");
        const QString oneLine = QStringLiteral("appSecret cannot be saved in the settings file FILE: a value "
                                               "must be one line without white space at its ends.");
        QTest::newRow("line break") << url << QStringLiteral("a\nmemberId=b") << oneLine;
        QTest::newRow("null") << url << QString(QChar::Null) << oneLine;
        QTest::newRow("space in front") << url << QStringLiteral(" a") << oneLine;
        QTest::newRow("tab behind") << url << QStringLiteral("a\t") << oneLine;
        QTest::newRow("no secret") << url << QString() << QStringLiteral("appSecret is not set in FILE.");
        QTest::newRow("no address") << QStringLiteral("h") << QStringLiteral("a")
                                    << QStringLiteral("must begin with https://");
    }
    void settingsThatTheNextStartWouldRefuseAreNotWritten()
    {
        QFETCH(QString, apiUrl);
        QFETCH(QString, appSecret);
        QFETCH(QString, sentence);
        const QByteArray text = good + "[system]\nmemberId=m\n";
        write(m_name, text);
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY2(settings.load(&error), qPrintable(error));
        PelkQobuzSettings values = settings.read(PelkQobuzSettingsPath()).qobuzSettings();
        values.setApiUrl(apiUrl);
        values.setAppId(QStringLiteral("2"));
        values.setAppSecret(appSecret);
        PelkValue value;
        value.setQobuzSettings(values);
        QVERIFY(!settings.write(PelkQobuzSettingsPath(), value, &error));
        QVERIFY2(error.contains(sentence.replace(QStringLiteral("FILE"), m_name)), qPrintable(error));
        QCOMPARE(contents(m_name), text);
        QCOMPARE(settings.read(PelkQobuzSettingsPath()).qobuzSettings().appId(), QStringLiteral("1"));
    }

    void anUnknownQualityIsRefused_data()
    {
        QTest::addColumn<QVariantHash>("value");
        QTest::addColumn<bool>("accepted");
        const QString key = PelkValue::QobuzSoundQuality();
        QTest::newRow("the best") << QVariantHash{{key, int(PelkQobuzSoundQuality::Hires192)}} << true;
        QTest::newRow("none of them") << QVariantHash{{key, 33}} << false;
        QTest::newRow("negative") << QVariantHash{{key, -1}} << false;
        QTest::newRow("not said") << QVariantHash() << false;
    }
    void anUnknownQualityIsRefused()
    {
        QFETCH(QVariantHash, value);
        QFETCH(bool, accepted);
        QString error;
        const ServiceSettings settings(m_name);
        QCOMPARE(settings.accepts(PelkQobuzSoundQualityPath(), PelkValue(PelkHash(value)), &error), accepted);
        QCOMPARE(error.isEmpty(), accepted);
        QVERIFY2(accepted || error.contains(QLatin1String("mp3, cd, hires96, hires192")), qPrintable(error));
    }

    void aSavedFileIsItsOwnersAlone()
    {
        write(m_name, good);
        QFile::setPermissions(m_name, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY(settings.load(&error));
        const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
        QVERIFY(!(QFile::permissions(m_name) & others));
    }

    void aFailedSaveChangesNeitherFileNorValue()
    {
        write(m_name, good + "[system]\nmemberId=m\n");
        ServiceSettings settings(m_name);
        QString error;
        QVERIFY(settings.load(&error));
        // The folder is removed, so nothing can be written beside the file, not even by root.
        const QString away = m_dir.path() + QStringLiteral(".away");
        QVERIFY(QDir().rename(m_dir.path(), away));
        write(m_dir.path(), "in the way");
        PelkValue value;
        value.setQobuzSoundQuality(PelkQobuzSoundQuality::Mp3);
        QVERIFY(!settings.write(PelkQobuzSoundQualityPath(), value, &error));
        QVERIFY2(error.startsWith(QStringLiteral("The settings cannot be saved: ")) &&
                     !error.contains(m_dir.path()),
                 qPrintable(error));
        QCOMPARE(settings.read(PelkQobuzSoundQualityPath()).qobuzSoundQuality(), PelkQobuzSoundQuality::Cd);
        QVERIFY(QFile::remove(m_dir.path()));
        QVERIFY(QDir().rename(away, m_dir.path()));
        QCOMPARE(contents(m_name), good + "[system]\nmemberId=m\n");
        QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }
};

QTEST_GUILESS_MAIN(ServiceSettingsTest)
#include "servicesettings_test.moc"
