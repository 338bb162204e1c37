#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "api/types/qobuzpaths.h"
#include "player/host/ServiceAccount.h"

#include <QTemporaryDir>
#include <QtTest>
#include <sys/resource.h>

#include <csignal>

using ServiceAccount::LoginStore;

namespace {

QByteArray contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// While it lives, no file of this process may grow: what a full disk does, root included.
class FullDisk
{
public:
    FullDisk()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit none{0, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &m_before); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit m_before{};
};

} // namespace

class ServiceAccountTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    static PelkValue login()
    {
        PelkQobuzUserSession session;
        session.setUserName(QStringLiteral("somebody"));
        session.setUserAuthToken(QStringLiteral("t0ken"));
        session.setUserId(7);
        PelkValue value;
        value.setQobuzUserSession(session);
        return value;
    }

private Q_SLOTS:
    void aLoginIsThereAgainInTheNextRun()
    {
        const QString name = m_dir.filePath(QStringLiteral("state/session.json"));
        QString error;
        QVERIFY(LoginStore(name).write(LoginStore::path(), login(), &error));
        const LoginStore next(name);
        QCOMPARE(next.read(LoginStore::path()).qobuzUserSession().userAuthToken(), QStringLiteral("t0ken"));
        QVERIFY(next.notice().isEmpty());
        QCOMPARE(int(QFile::permissions(name) &
                     (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther)),
                 0);
    }

    void nothingOfALoginStaysAfterALogoutOnAFullDisk()
    {
        const QString folder = m_dir.filePath(QStringLiteral("full"));
        const QString name = folder + QStringLiteral("/session.json");
        QString error;
        LoginStore store(name);
        QVERIFY(store.write(LoginStore::path(), login(), &error));
        const FullDisk full;
        PelkValue none;
        none.setQobuzUserSession(PelkQobuzUserSession());
        QVERIFY2(store.write(LoginStore::path(), none, &error), qPrintable(error));
        QCOMPARE(store.failure(), QString());
        QVERIFY(!contents(name).contains("t0ken"));
        QVERIFY(store.read(LoginStore::path()).isEmpty());
        const LoginStore next(name);
        QCOMPARE(next.notice(), QString());
        QVERIFY(next.read(LoginStore::path()).isEmpty());
    }

    void aLoginThatCannotBeSavedLeavesTheEarlierOne()
    {
        const QString folder = m_dir.filePath(QStringLiteral("fuller"));
        const QString name = folder + QStringLiteral("/session.json");
        QString error;
        LoginStore store(name);
        QVERIFY(store.write(LoginStore::path(), login(), &error));
        const FullDisk full;
        QVERIFY(!store.write(LoginStore::path(), login(), &error));
        QVERIFY2(store.failure().contains(QStringLiteral("cannot be written")), qPrintable(store.failure()));
        QVERIFY(contents(name).contains("t0ken"));
    }

    void aStreamBelowTheRequestedQualityIsDetected_data()
    {
        QTest::addColumn<QString>("quality");
        QTest::addColumn<QString>("mimeType");
        QTest::addColumn<int>("bits");
        QTest::addColumn<int>("rateHz");
        QTest::addColumn<bool>("isLower");
        const QString flac = QStringLiteral("audio/flac");
        const QString mp3 = QStringLiteral("audio/mpeg");
        QTest::newRow("mp3") << QStringLiteral("mp3") << mp3 << 16 << 44100 << false;
        QTest::newRow("more than mp3") << QStringLiteral("mp3") << flac << 16 << 44100 << false;
        QTest::newRow("cd") << QStringLiteral("cd") << flac << 16 << 44100 << false;
        QTest::newRow("cd, got mp3") << QStringLiteral("cd") << mp3 << 16 << 44100 << true;
        QTest::newRow("hires96") << QStringLiteral("hires96") << flac << 24 << 96000 << false;
        QTest::newRow("hires96 at 48 kHz") << QStringLiteral("hires96") << flac << 24 << 48000 << false;
        QTest::newRow("hires96, got cd") << QStringLiteral("hires96") << flac << 16 << 44100 << true;
        QTest::newRow("hires96, got mp3") << QStringLiteral("hires96") << mp3 << 24 << 44100 << true;
        QTest::newRow("hires192") << QStringLiteral("hires192") << flac << 24 << 192000 << false;
        QTest::newRow("hires192, got hires96") << QStringLiteral("hires192") << flac << 24 << 96000 << true;
        QTest::newRow("hires192, got cd") << QStringLiteral("hires192") << flac << 16 << 44100 << true;
        QTest::newRow("not said") << QStringLiteral("hires192") << QString() << 0 << 0 << false;
    }
    void aStreamBelowTheRequestedQualityIsDetected()
    {
        QFETCH(QString, quality);
        QFETCH(QString, mimeType);
        QFETCH(int, bits);
        QFETCH(int, rateHz);
        QFETCH(bool, isLower);
        PelkResource resource;
        resource.setMimeType(mimeType);
        resource.setBitsPerSample(bits);
        resource.setSampleFrequency(rateHz);
        PelkList<PelkResource> resources;
        resources.append(resource);
        const auto rowOf = [&resources](const CMPath& prePlay) {
            PelkMetaData metaData;
            metaData.setPrePlayPath(prePlay);
            PelkMediaData mediaData;
            mediaData.setMetaData(metaData);
            mediaData.setResources(resources);
            PelkRoles row;
            row.setMediaData(mediaData);
            return row;
        };
        QCOMPARE(ServiceAccount::isLowerThan(quality, rowOf(PelkQobuzBrowsePath() + PelkQobuzPreplayPath())),
                 isLower);
        QVERIFY(!ServiceAccount::isLowerThan(quality, rowOf(CMPath(QStringLiteral("other:preplay")))));
    }

    void anInvalidFileIsSetAsideAndReported_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("cut off") << QByteArray("{\"session:qobuz\": {");
        QTest::newRow("no object") << QByteArray("[]");
        QTest::newRow("no text") << QByteArray("\x00\xff\x01", 3);
    }
    void anInvalidFileIsSetAsideAndReported()
    {
        QFETCH(QByteArray, text);
        const QString name = m_dir.filePath(QStringLiteral("broken.json"));
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();
        const LoginStore store(name);
        QVERIFY(store.read(LoginStore::path()).isEmpty());
        QVERIFY(store.notice().contains(name + QStringLiteral(".bad")));
        QVERIFY(QFile::exists(name + QStringLiteral(".bad")));
    }

    void aLoginThatCannotBeSavedIsRemembered()
    {
        LoginStore store(QStringLiteral("/proc/none/session.json"));
        QString error;
        QVERIFY(!store.write(LoginStore::path(), login(), &error));
        QVERIFY(store.failure().contains(QStringLiteral("cannot be written")));
    }

    void aTracksPathLeadsToItsPrePlayPath_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("prePlay");
        QTest::newRow("track") << QStringLiteral("qobuz:track?id=5") << QStringLiteral("qobuz:preplay?id=5");
        QTest::newRow("album") << QStringLiteral("qobuz:album?id=5") << QString();
        QTest::newRow("another module's") << QStringLiteral("test:track?id=5") << QString();
        QTest::newRow("longer") << QStringLiteral("qobuz:tracks?id=5") << QString();
    }
    void aTracksPathLeadsToItsPrePlayPath()
    {
        QFETCH(QString, path);
        QFETCH(QString, prePlay);
        QCOMPARE(ServiceAccount::prePlayPath(CMPath(path)).toString(), prePlay);
    }
};

QTEST_GUILESS_MAIN(ServiceAccountTest)
#include "serviceaccount_test.moc"
