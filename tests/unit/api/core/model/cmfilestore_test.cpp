#include "api/core/model/cmfilestore.h"
#include "api/types/pelkqobuzusersession.h"

#include <QTemporaryDir>
#include <QtTest>
#include <sys/stat.h>

namespace {

constexpr QFileDevice::Permissions ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
const CMPath sessionPath(QStringLiteral("session:qobuz"));

PelkValue session(const char* token)
{
    PelkQobuzUserSession session;
    session.setUserAuthToken(QString::fromUtf8(token));
    session.setUserId(4000000000U);
    PelkValue value;
    value.setQobuzUserSession(session);
    return value;
}

} // namespace

class CMFileStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_folder.reset(new QTemporaryDir); }

    void aMissingFileIsEmpty()
    {
        const CMFileStore store(file(), ownerOnly);
        QCOMPARE(store.notice(), QString());
        QCOMPARE(store.read(sessionPath), PelkValue());
        QVERIFY(!QFileInfo::exists(file()));
    }

    void theNextStoreReadsWrittenValues()
    {
        QString error;
        CMFileStore store(file(), ownerOnly);
        QVERIFY2(store.write(sessionPath, session("tökén \"1\""), &error), qPrintable(error));
        PelkValue text;
        text.setString_(QStringLiteral("x"));
        const CMPath other(QStringLiteral("settings:a%20b?c=%26"));
        QVERIFY(store.write(other, text, &error));
        QCOMPARE(store.read(sessionPath), session("tökén \"1\""));
        const CMFileStore next(file(), ownerOnly);
        QCOMPARE(next.notice(), QString());
        QCOMPARE(next.read(sessionPath).qobuzUserSession().userAuthToken(), QString::fromUtf8("tökén \"1\""));
        QCOMPARE(next.read(sessionPath).qobuzUserSession().userId(), 4000000000U);
        QCOMPARE(next.read(sessionPath).type(), 140);
        QCOMPARE(next.read(other).string_(), QStringLiteral("x"));
    }

    void existingFilesGetTheRightPermissionsToo()
    {
        QVERIFY(put("{}"));
        QVERIFY(QFile::setPermissions(file(), ownerOnly | QFileDevice::ReadGroup | QFileDevice::ReadOther));
        QString error;
        CMFileStore store(file(), ownerOnly);
        QVERIFY(store.write(sessionPath, session("t"), &error));
        struct stat status = {};
        QCOMPARE(::stat(QFile::encodeName(file()).constData(), &status), 0);
        QCOMPARE(int(status.st_mode & 07777), 0600);
    }

    void missingFoldersAreMade()
    {
        QString error;
        CMFileStore store(m_folder->filePath(QStringLiteral("a/b/store.json")), ownerOnly);
        QVERIFY2(store.write(sessionPath, session("t"), &error), qPrintable(error));
        QVERIFY(QFileInfo::exists(m_folder->filePath(QStringLiteral("a/b/store.json"))));
    }

    void invalidFilesAreSetAside_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("reason");
        QTest::newRow("corrupt") << QByteArray("{\"a\": ") << QStringLiteral(" at offset ");
        QTest::newRow("no object") << QByteArray("[1]") << QStringLiteral("it is not a JSON object");
        QTest::newRow("oversize") << QByteArray("{}") + QByteArray(1024 * 1024, ' ')
                                  << QStringLiteral("it is larger than 1 MiB");
    }

    void invalidFilesAreSetAside()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, reason);
        QVERIFY(put(content));
        QFile earlier(file() + QStringLiteral(".bad"));
        QVERIFY(earlier.open(QIODevice::WriteOnly));
        earlier.close();
        CMFileStore store(file(), ownerOnly);
        QVERIFY2(store.notice().contains(reason), qPrintable(store.notice()));
        QVERIFY(store.notice().startsWith(file() + QStringLiteral(" cannot be used (")));
        QVERIFY(store.notice().endsWith(QStringLiteral("It was renamed to %1, and its values start empty.")
                                            .arg(file() + QStringLiteral(".bad"))));
        QCOMPARE(store.read(sessionPath), PelkValue());
        QVERIFY(!QFileInfo::exists(file()));
        QFile aside(file() + QStringLiteral(".bad"));
        QVERIFY(aside.open(QIODevice::ReadOnly));
        QCOMPARE(aside.readAll(), content);
        QString error;
        QVERIFY(store.write(sessionPath, session("t"), &error));
        QCOMPARE(CMFileStore(file(), ownerOnly).read(sessionPath), session("t"));
    }

    void aPipeAndADeviceAreSetAside_data()
    {
        QTest::addColumn<QString>("target");
        QTest::newRow("pipe") << QString();
        QTest::newRow("endless device") << QStringLiteral("/dev/zero");
        QTest::newRow("leads nowhere") << QStringLiteral("/nowhere/at/all");
    }
    void aPipeAndADeviceAreSetAside()
    {
        QFETCH(QString, target);
        if (target.isEmpty())
            QCOMPARE(::mkfifo(QFile::encodeName(file()).constData(), 0600), 0);
        else
            QVERIFY(QFile::link(target, file()));
        const CMFileStore store(file(), ownerOnly);
        QVERIFY2(store.notice().contains(QStringLiteral("It was renamed to")), qPrintable(store.notice()));
        QVERIFY(!QFileInfo(file()).isSymLink() && !QFileInfo::exists(file()));
        QCOMPARE(store.read(sessionPath), PelkValue());
    }

    void anEmptyFileHoldsNothing()
    {
        QVERIFY(put(QByteArray()));
        QCOMPARE(CMFileStore(file(), ownerOnly).notice(), QString());
    }

    void unopenableFilesAreSetAside()
    {
        // A folder, which nobody can open as a file.
        QVERIFY(QDir().mkpath(file() + QStringLiteral("/inside")));
        const CMFileStore store(file(), ownerOnly);
        QVERIFY2(store.notice().contains(QStringLiteral("It was renamed to")), qPrintable(store.notice()));
        QVERIFY(QFileInfo::exists(file() + QStringLiteral(".bad/inside")));
        QVERIFY(!QFileInfo::exists(file()));
    }

    void aFileOfTheGreatestSizeIsRead()
    {
        QVERIFY(put("{}" + QByteArray(1024 * 1024 - 2, ' ')));
        QCOMPARE(CMFileStore(file(), ownerOnly).notice(), QString());
    }

    void aValueThatIsNotAHashReadsAsEmpty()
    {
        QVERIFY(put("{\"session:qobuz\": 7}"));
        QCOMPARE(CMFileStore(file(), ownerOnly).read(sessionPath), PelkValue());
    }

    void aWriteThatFailsKeepsTheOldValueAndSaysWhy()
    {
        QString error;
        const QString folder = m_folder->filePath(QStringLiteral("folder"));
        CMFileStore store(folder + QStringLiteral("/store.json"), ownerOnly);
        QVERIFY(store.write(sessionPath, session("old"), &error));
        QCOMPARE(error, QString());
        // The folder becomes a file, so that nothing can be in it.
        QVERIFY(QDir().rename(folder, folder + QStringLiteral(".moved")));
        QFile blocker(folder);
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QVERIFY(!store.write(sessionPath, session("new"), &error));
        QVERIFY2(error.startsWith(folder + QStringLiteral("/store.json cannot be written: ")) &&
                     error.endsWith(QLatin1Char('.')),
                 qPrintable(error));
        QCOMPARE(store.read(sessionPath), session("old"));
        const CMFileStore kept(folder + QStringLiteral(".moved/store.json"), ownerOnly);
        QCOMPARE(kept.read(sessionPath), session("old"));
    }

private:
    QString file() const { return m_folder->filePath(QStringLiteral("store.json")); }
    bool put(const QByteArray& content)
    {
        QFile target(file());
        return target.open(QIODevice::WriteOnly) && target.write(content) == content.size();
    }

    QScopedPointer<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(CMFileStoreTest)
#include "cmfilestore_test.moc"
