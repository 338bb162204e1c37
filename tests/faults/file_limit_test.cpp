#include "tests/e2e/players.h"

#include <QJsonArray>
#include <QtTest>

/// A player that may have few files open.
class FileLimitTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<Players> m_players;
    QString m_track;

    /// Plays a second of the track by a shell that limits the number of files first.
    Players::Outcome playAfter(const QString& shell) const
    {
        QProcess process;
        process.setProcessEnvironment(m_players->environment());
        process.start(QStringLiteral("/bin/sh"),
                      {QStringLiteral("-c"), shell + QStringLiteral("; exec \"$@\""), QStringLiteral("sh"),
                       QStringLiteral(PELK_BIN_DIR "/pelk"), QStringLiteral("play"), m_track,
                       QStringLiteral("--seconds"), QStringLiteral("1")});
        process.closeWriteChannel();
        Players::Outcome outcome;
        if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit)
            outcome.exitCode = process.exitCode();
        outcome.errors = QString::fromUtf8(process.readAllStandardError());
        return outcome;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_players = std::make_unique<Players>();
        QCOMPARE(m_players->login().exitCode, 0);
        const int id = m_players->controlGet(QStringLiteral("tracks?kind=cd"))
                           .value(QStringLiteral("cd"))
                           .toArray()
                           .first()
                           .toObject()
                           .value(QStringLiteral("id"))
                           .toInt();
        m_track = QStringLiteral("qobuz:track?id=%1").arg(id);
    }
    void cleanupTestCase() { m_players.reset(); }

    void theSoftLimitIsRaised()
    {
        const Players::Outcome outcome = playAfter(QStringLiteral("ulimit -Sn 48"));
        QCOMPARE(outcome.fault(), QString());
    }

    void tooFewFilesAreASentenceAndNoAbort()
    {
        const Players::Outcome outcome = playAfter(QStringLiteral("ulimit -n 48"));
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY2(outcome.errors.contains(QStringLiteral("and may have 48: too few are left for a stream. "
                                                        "Raise the limit (ulimit -n) or restart the player")),
                 qPrintable(outcome.errors));
    }
};

QTEST_GUILESS_MAIN(FileLimitTest)
#include "file_limit_test.moc"
