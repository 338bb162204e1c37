#include "tests/e2e/players.h"

#include <QFile>
#include <QJsonArray>
#include <QtTest>

/// Logging in and out with the real programs, over several runs of the player.
class LoginE2ETest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSecondRunIsStillLoggedIn()
    {
        const Players players;
        QCOMPARE(players.pelk({QStringLiteral("status")}).exitCode, 4);
        const Players::Outcome login = players.login();
        QCOMPARE(login.exitCode, 0);
        QVERIFY2(login.output.contains(QLatin1String("demo@example.com")), qPrintable(login.output));
        const Players::Outcome status = players.pelk({QStringLiteral("status")});
        QCOMPARE(status.exitCode, 0);
        QVERIFY(status.output.contains(QLatin1String("logged in as demo@example.com")));
    }

    void theSavedLoginIsReadableByItsOwnerAlone()
    {
        const Players players;
        QCOMPARE(players.login().fault(), QString());
        const auto everybody = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
        QVERIFY(!(QFile::permissions(players.loginFile()) & everybody));
    }

    void aLogoutForgetsTheTokenOnDisk()
    {
        const Players players;
        QCOMPARE(players.login().fault(), QString());
        QFile file(players.loginFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().contains("demo@example.com"));
        file.close();
        QCOMPARE(players.pelk({QStringLiteral("logout")}).exitCode, 0);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(!file.readAll().contains("demo@example.com"));
        QCOMPARE(players.pelk({QStringLiteral("rows"), QStringLiteral("qobuz:")}).exitCode, 4);
    }

    void aWrongPasswordIsReportedWithTheServicesMessage()
    {
        const Players players;
        const Players::Outcome outcome = players.pelk(
            {QStringLiteral("login"), QStringLiteral("demo@example.com"), QStringLiteral("--password-stdin")},
            "wrong\n");
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY2(outcome.errors.contains(QLatin1String("Invalid username/email and password combination")),
                 qPrintable(outcome.errors));
        QCOMPARE(players.pelk({QStringLiteral("status")}).exitCode, 4);
    }

    void thePasswordNeverReachesTheServiceOrTheLogInClear()
    {
        const Players players;
        const Players::Outcome outcome =
            players.pelk({QStringLiteral("--log-level"), QStringLiteral("debug"), QStringLiteral("login"),
                          QStringLiteral("demo@example.com"), QStringLiteral("--password-stdin")},
                         "a-clear-password\n");
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY2(!outcome.errors.contains(QLatin1String("a-clear-password")), qPrintable(outcome.errors));
        const QJsonArray requests =
            players.controlGet(QStringLiteral("requests")).value(QStringLiteral("requests")).toArray();
        QCOMPARE(requests.size(), 1);
        const QString target = requests.first().toObject().value(QStringLiteral("target")).toString();
        QVERIFY(!target.contains(QLatin1String("a-clear-password")));
        // MD5 of the password, in lower-case hexadecimal.
        QVERIFY2(target.contains(QLatin1String("password=bd7493fdca056c2e7a20812f574a2a42")),
                 qPrintable(target));
    }

    void anExpiredTokenIsReportedAndALoginHelps()
    {
        const Players players;
        QCOMPARE(players.login().fault(), QString());
        players.controlPost(QStringLiteral("token-expiry"), QJsonObject());
        const Players::Outcome rows =
            players.pelk({QStringLiteral("rows"), QStringLiteral("qobuz:playlists")});
        QCOMPARE(rows.exitCode, 1);
        QVERIFY(!rows.errors.isEmpty());
        QCOMPARE(players.login().fault(), QString());
        QCOMPARE(players.pelk({QStringLiteral("rows"), QStringLiteral("qobuz:playlists")}).exitCode, 0);
    }

    void aCorruptLoginFileIsSetAsideAndThePlayerStartsLoggedOut()
    {
        const Players players;
        QCOMPARE(players.login().fault(), QString());
        QFile file(players.loginFile());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{\"session:qobuz\": {\"typ");
        file.close();
        const Players::Outcome status = players.pelk({QStringLiteral("status")});
        QCOMPARE(status.exitCode, 4);
        QVERIFY2(status.errors.contains(players.loginFile() + QStringLiteral(".bad")),
                 qPrintable(status.errors));
        QVERIFY(QFile::exists(players.loginFile() + QStringLiteral(".bad")));
        QCOMPARE(players.login().fault(), QString());
    }
};

QTEST_GUILESS_MAIN(LoginE2ETest)
#include "login_e2e_test.moc"
