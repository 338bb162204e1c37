#include "tests/e2e/players.h"

#include <QDir>
#include <QFile>
#include <QtTest>

#include <unistd.h>

/// Files that cannot be written, as a full disk and a read-only folder make them: a sentence, the earlier
/// values in force, and the earlier files untouched.
class UnwritableFilesTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Players> m_players;

    static QByteArray contents(const QString& name)
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    /// A command of the player, run by a shell that first makes writing impossible.
    Players::Outcome pelkAfter(const QString& shell, const QStringList& arguments,
                               const QByteArray& input = QByteArray()) const
    {
        QProcess process;
        process.setProcessEnvironment(m_players->environment());
        process.start(QStringLiteral("/bin/sh"),
                      QStringList{QStringLiteral("-c"), shell, QStringLiteral("sh"),
                                  QStringLiteral(PELK_BIN_DIR "/pelk")} +
                          arguments);
        process.write(input);
        process.closeWriteChannel();
        Players::Outcome outcome;
        if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit)
            outcome.exitCode = process.exitCode();
        outcome.output = QString::fromUtf8(process.readAllStandardOutput());
        outcome.errors = QString::fromUtf8(process.readAllStandardError());
        return outcome;
    }

private Q_SLOTS:
    void init()
    {
        m_players = std::make_unique<Players>();
        QCOMPARE(m_players->login().exitCode, 0);
    }
    void cleanup()
    {
        for (const QString& folder : {QStringLiteral("/config/pelk"), QStringLiteral("/state/pelk")})
            QFile::setPermissions(m_players->home() + folder,
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_players.reset();
    }

    void aFailedSaveIsReportedAndKeepsTheEarlierValue_data()
    {
        QTest::addColumn<QString>("shell");
        QTest::addColumn<QString>("reason");
        // A limit to the size of files fails a write as a full disk does, once its signal is ignored.
        QTest::newRow("full") << QStringLiteral("trap '' XFSZ; ulimit -f 0; exec \"$@\"")
                              << QStringLiteral("File too large");
        // Root writes wherever it likes, unless it cannot have that capability.
        QTest::newRow("read-only") << (geteuid() == 0
                                           ? QStringLiteral(
                                                 "exec setpriv --bounding-set=-dac_override \"$@\"")
                                           : QStringLiteral("exec \"$@\""))
                                   << QStringLiteral("Permission denied");
    }
    void aFailedSaveIsReportedAndKeepsTheEarlierValue()
    {
        QFETCH(QString, shell);
        QFETCH(QString, reason);
        const QByteArray settings = contents(m_players->settingsFile());
        const QByteArray login = contents(m_players->loginFile());
        QVERIFY(settings.contains("memberId=") && login.contains("demo@example.com"));
        for (const QString& folder : {QStringLiteral("/config/pelk"), QStringLiteral("/state/pelk")})
            QVERIFY(QFile::setPermissions(m_players->home() + folder, QFile::ReadOwner | QFile::ExeOwner));

        const Players::Outcome quality = pelkAfter(shell, {QStringLiteral("quality"), QStringLiteral("mp3")});
        QCOMPARE(quality.errors, QStringLiteral("pelk: The settings cannot be saved: %2. The file is %1.\n")
                                     .arg(m_players->settingsFile(), reason));
        QCOMPARE(quality.exitCode, 1);
        QCOMPARE(pelkAfter(shell, {QStringLiteral("quality")}).output, QStringLiteral("cd\n"));

        // A log-out needs no space.
        const Players::Outcome logout = pelkAfter(shell, {QStringLiteral("logout")});
        QCOMPARE(logout.errors, QString());
        QCOMPARE(logout.exitCode, 0);
        QCOMPARE(contents(m_players->loginFile()), QByteArray());
        QCOMPARE(pelkAfter(shell, {QStringLiteral("status")}).exitCode, 4);

        QCOMPARE(contents(m_players->settingsFile()), settings);
        QCOMPARE(QDir(m_players->home() + QStringLiteral("/config/pelk"))
                     .entryList(QDir::Files | QDir::Hidden)
                     .size(),
                 1);
    }

    void aLogoutThatCannotRemoveTheLoginSaysSo()
    {
        const QByteArray login = contents(m_players->loginFile());
        QVERIFY(QFile::setPermissions(m_players->loginFile(), QFile::ReadOwner));
        QVERIFY(QFile::setPermissions(m_players->home() + QStringLiteral("/state/pelk"),
                                      QFile::ReadOwner | QFile::ExeOwner));
        const Players::Outcome logout =
            pelkAfter(geteuid() == 0 ? QStringLiteral("exec setpriv --bounding-set=-dac_override \"$@\"")
                                     : QStringLiteral("exec \"$@\""),
                      {QStringLiteral("logout")});
        QCOMPARE(logout.errors,
                 QStringLiteral("pelk: %1 cannot be emptied: Permission denied. The saved login is still "
                                "there; delete the file.\n")
                     .arg(m_players->loginFile()));
        QCOMPARE(logout.exitCode, 1);
        QCOMPARE(contents(m_players->loginFile()), login);
    }
};

QTEST_GUILESS_MAIN(UnwritableFilesTest)
#include "unwritable_files_test.moc"
