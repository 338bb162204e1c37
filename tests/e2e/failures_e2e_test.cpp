#include "tests/e2e/players.h"
#include "tests/support/patience.h"

#include <QDir>
#include <QFile>
#include <QTcpServer>
#include <QtTest>

/// Bad input, a bad set-up and a service in trouble: a sentence, an exit code, and nothing lost.
class FailuresE2ETest : public QObject
{
    Q_OBJECT

    static void compareFailure(const Players::Outcome& outcome, int exitCode, const QString& sentence)
    {
        QCOMPARE(outcome.exitCode, exitCode);
        QVERIFY2(outcome.errors.contains(sentence), qPrintable(outcome.errors));
        // One sentence, without log records.
        QCOMPARE(outcome.errors.count(QStringLiteral("pelk: ")), 1);
        QVERIFY2(!outcome.errors.contains(QLatin1String("ERROR")), qPrintable(outcome.errors));
    }

private Q_SLOTS:
    void settingsAreCheckedBeforeAModuleIsLoaded_data()
    {
        QTest::addColumn<QString>("settings");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* name, const char* settings, const char* sentence) {
            QTest::newRow(name) << QString::fromUtf8(settings) << QString::fromUtf8(sentence);
        };
        row("no address", "[qobuz]\nappId=1\nappSecret=2\n", "apiUrl");
        row("an address without a scheme", "[qobuz]\napiUrl=www.example.com/api/\nappId=1\nappSecret=2\n",
            "apiUrl");
        row("another scheme", "[qobuz]\napiUrl=ftp://example.com/\nappId=1\nappSecret=2\n", "apiUrl");
        row("no slash at the end", "[qobuz]\napiUrl=http://example.com/api\nappId=1\nappSecret=2\n", "slash");
        row("no application id", "[qobuz]\napiUrl=http://example.com/\nappSecret=2\n", "appId");
        row("no application secret", "[qobuz]\napiUrl=http://example.com/\nappId=1\n", "appSecret");
    }
    void settingsAreCheckedBeforeAModuleIsLoaded()
    {
        QFETCH(QString, settings);
        QFETCH(QString, sentence);
        const Players players;
        players.writeSettings(settings);
        const Players::Outcome outcome = players.pelk({QStringLiteral("status")});
        compareFailure(outcome, 3, sentence);
        QVERIFY2(outcome.errors.contains(players.settingsFile()), qPrintable(outcome.errors));
    }

    void aMissingSettingsFileIsNamed()
    {
        const Players players;
        QVERIFY(QFile::remove(players.settingsFile()));
        compareFailure(players.pelk({QStringLiteral("rows")}), 3, players.settingsFile());
    }

    void aMissingModuleFolderIsNamed()
    {
        const Players players;
        compareFailure(players.pelk({QStringLiteral("--modules"), QStringLiteral("/nowhere/modules"),
                                     QStringLiteral("rows")}),
                       3, QStringLiteral("/nowhere/modules"));
    }

    void requestsAreValidated_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* name, const QStringList& arguments, int exitCode,
                            const char* sentence) {
            QTest::newRow(name) << arguments << exitCode << QString::fromUtf8(sentence);
        };
        const QString rows = QStringLiteral("rows");
        row("malformed path", {rows, QStringLiteral("qobuz:a%zz")}, 2, "is not a path");
        row("unknown service", {rows, QStringLiteral("nix:")}, 1, "No service answers at \"nix:\".");
        row("unknown path", {rows, QStringLiteral("qobuz:nix")}, 1, "There is nothing at \"qobuz:nix\".");
        row("rows of a track", {rows, QStringLiteral("qobuz:track?id=118860487")}, 1,
            "play it with: pelk play 'qobuz:track?id=118860487'");
        row("unknown album", {rows, QStringLiteral("qobuz:album?id=nix")}, 1,
            "No result matching given argument");
        row("negative range", {rows, QStringLiteral("qobuz:"), QStringLiteral("--from=-1")}, 2,
            "whole number");
        row("empty range",
            {rows, QStringLiteral("qobuz:"), QStringLiteral("--from"), QStringLiteral("9"),
             QStringLiteral("--to"), QStringLiteral("3")},
            2, "The range is empty");
        row("unknown command", {QStringLiteral("dance")}, 2, "dance");
        row("unknown quality", {QStringLiteral("quality"), QStringLiteral("best")}, 2, "best");
        row("a WAV file that cannot be written",
            {QStringLiteral("play"), QStringLiteral("qobuz:favourites/tracks"), QStringLiteral("--to"),
             QStringLiteral("/nowhere/a.wav")},
            2, "/nowhere/a.wav");
        row("what cannot be played", {QStringLiteral("play"), QStringLiteral("qobuz:searchNode")}, 1,
            "qobuz:searchNode");
    }
    void requestsAreValidated()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, sentence);
        const Players players;
        QCOMPARE(players.login().fault(), QString());
        compareFailure(players.pelk(arguments), exitCode, sentence);
    }

    void aFailingServiceIsReportedAndTheNextRequestSucceeds_data()
    {
        QTest::addColumn<QJsonObject>("fault");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* name, const QJsonObject& fault, const char* sentence) {
            QTest::newRow(name) << fault << QString::fromUtf8(sentence);
        };
        const QString kind = QStringLiteral("kind");
        const QString status = QStringLiteral("status");
        const QString form = QStringLiteral("form");
        row("error with JSON",
            {{kind, status},
             {status, 503},
             {form, QStringLiteral("json")},
             {QStringLiteral("message"), QStringLiteral("Down for repair")}},
            "Down for repair");
        row("error with HTML", {{kind, status}, {status, 502}, {form, QStringLiteral("html")}},
            "Unknown error (502).");
        row("not JSON", {{kind, QStringLiteral("not-json")}}, "Invalid data returned.");
        row("deep JSON",
            {{kind, QStringLiteral("body")}, {QStringLiteral("body"), QString(5000, QLatin1Char('['))}},
            "Invalid data returned.");
        row("huge answer", {{kind, QStringLiteral("oversize")}, {QStringLiteral("bytes"), 600000}},
            "Check your network connection.");
        row("connection lost", {{kind, QStringLiteral("reset")}}, "Check your network connection.");
        row("answer cut short", {{kind, QStringLiteral("truncate")}, {QStringLiteral("bytes"), 100}},
            "Check your network connection.");
        row("too many requests", {{kind, QStringLiteral("rate-limit")}, {QStringLiteral("retry_after"), 3}},
            "Too many requests (429).");
    }
    void aFailingServiceIsReportedAndTheNextRequestSucceeds()
    {
        QFETCH(QJsonObject, fault);
        QFETCH(QString, sentence);
        const Players players;
        QCOMPARE(players.login().fault(), QString());
        fault.insert(QStringLiteral("count"), 1);
        players.fault(QStringLiteral("playlist/getUserPlaylists"), fault);
        const QStringList rows{QStringLiteral("rows"), QStringLiteral("qobuz:playlists")};
        compareFailure(players.pelk(rows), 1, sentence);
        QCOMPARE(players.pelk(rows).exitCode, 0);
    }

    void withoutAServiceNothingIsLost()
    {
        Players players;
        QCOMPARE(players.login().fault(), QString());
        players.stopSandbox();
        compareFailure(players.pelk({QStringLiteral("rows"), QStringLiteral("qobuz:playlists")}), 1,
                       QStringLiteral("Check your network connection."));
        QCOMPARE(players.pelk({QStringLiteral("status")}).exitCode, 0);
    }

    void theSandboxNamesAPortInUse()
    {
        QTcpServer taken;
        QVERIFY(taken.listen(QHostAddress::LocalHost));
        QProcess sandbox;
        sandbox.start(QStringLiteral(PELK_BIN_DIR "/qobuz-sandbox"),
                      {QStringLiteral("--port"), QString::number(taken.serverPort())});
        QVERIFY(sandbox.waitForFinished(patienceMs));
        QCOMPARE(sandbox.exitCode(), 2);
        QVERIFY(sandbox.readAllStandardError().contains(QByteArray::number(taken.serverPort())));
    }
};

QTEST_GUILESS_MAIN(FailuresE2ETest)
#include "failures_e2e_test.moc"
