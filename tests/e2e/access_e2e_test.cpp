#include "tests/e2e/serve.h"
#include "tests/e2e/terminalprocess.h"

#include <QHostAddress>
#include <QNetworkInterface>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

const PanelClient::Headers network{{"X-Forwarded-For", "192.0.2.1"}};

/// The output of `pelk password` on a terminal when these lines are typed at its prompts.
QByteArray typed(const Players& players, const QByteArrayList& lines, int* exitCode)
{
    TerminalProcess terminal({PELK_BIN_DIR "/pelk", "password"}, players.environment());
    for (const QByteArray& line : lines) {
        terminal.readUpTo(": ");
        terminal.type(line + '\n');
    }
    *exitCode = terminal.end();
    return terminal.output();
}

} // namespace

/// The commands that let other devices in, and the player that they are for.
class AccessE2ETest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anAddressOfTheNetworkIsRefusedWithoutAPassword_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::newRow("every address") << QStringList{text("--listen"), text("0.0.0.0:0")};
        QTest::newRow("a proxy") << QStringList{text("--listen"), text("127.0.0.1:0"), text("--origin"),
                                                text("https://music.home.example")};
    }
    void anAddressOfTheNetworkIsRefusedWithoutAPassword()
    {
        QFETCH(QStringList, options);
        const Players players;
        const Players::Outcome outcome = players.pelk(QStringList{text("serve")} + options);
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY2(outcome.errors.contains(text("\"pelk password\"")) &&
                     outcome.errors.contains(text("--open")),
                 qPrintable(outcome.errors));
    }

    void aPasswordThatCannotBeUsedIsRefused_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("an empty line") << QByteArray("\n");
        QTest::newRow("too short") << QByteArray("short\n");
        QTest::newRow("10,000 characters") << QByteArray(10000, 'a') + '\n';
        QTest::newRow("no UTF-8") << QByteArray("pass\xff\xfeword\n");
    }
    void aPasswordThatCannotBeUsedIsRefused()
    {
        QFETCH(QByteArray, input);
        const Players players;
        const Players::Outcome outcome = players.pelk({text("password")}, input);
        QCOMPARE(outcome.exitCode, 2);
        QVERIFY2(outcome.errors.startsWith(text("pelk: ")), qPrintable(outcome.errors));
        QVERIFY(!QFile::exists(players.home() + text("/state/pelk/password.json")));
    }

    void aPasswordLetsOtherDevicesIn()
    {
        const Players players;
        QCOMPARE(players.pelk({text("password")}, "correct horse\n").fault(), QString());
        const Serve serve(players, text("0.0.0.0:0"));
        const QString errors = serve.errors();
        QVERIFY2(errors.contains(text("is not encrypted")) && !errors.contains(text("everybody")),
                 qPrintable(errors));
        QCOMPARE(serve.client().get("/api/player", network).status, 401);
        const auto logIn = [&](const char* word) {
            return serve.client().post("/api/access/login", QJsonObject{{text("password"), text(word)}},
                                       network);
        };
        QCOMPARE(logIn("wrong horse").status, 401);
        const QByteArray cookie = logIn("correct horse").headers.value("set-cookie").split(';').first();
        QCOMPARE(serve.client().get("/api/player", network + PanelClient::Headers{{"Cookie", cookie}}).status,
                 200);
        // A new one ends what the old one let in.
        QCOMPARE(players.pelk({text("password")}, "another horse\n").fault(), QString());
        QCOMPARE(serve.client().get("/api/player", network + PanelClient::Headers{{"Cookie", cookie}}).status,
                 401);
        QCOMPARE(logIn("another horse").status, 204);
        QCOMPARE(serve.end(), 0);
    }

    void aTypedPasswordIsNotShownAndMustBeRepeated()
    {
        const Players players;
        int exitCode = -1;
        const QByteArray differing = typed(players, {"correct horse", "wrong horse"}, &exitCode);
        QCOMPARE(exitCode, 2);
        QVERIFY2(differing.contains("The two passwords differ"), differing.constData());
        const QByteArray seen = typed(players, {"correct horse", "correct horse"}, &exitCode);
        QCOMPARE(exitCode, 0);
        QVERIFY2(seen.contains("The password is set."), seen.constData());
        QVERIFY2(!seen.contains("horse") && !differing.contains("horse"), seen.constData());
    }

    void tokensLetProgramsIn()
    {
        const Players players;
        const Serve serve(players);
        const auto status = [&](const QByteArray& token, bool isWrite = false) {
            const PanelClient::Headers sent =
                network + PanelClient::Headers{{"Authorization", "Bearer " + token}};
            return isWrite ? serve.client().post("/api/player/pause", QJsonObject(), sent).status
                           : serve.client().get("/api/player", sent).status;
        };
        const Players::Outcome added = players.pelk({text("token"), text("add"), text("kitchen")});
        QCOMPARE(added.fault(), QString());
        const QByteArray kitchen = added.output.trimmed().toLatin1();
        QVERIFY(!kitchen.contains(' ') && kitchen.size() >= 43);
        const QByteArray display =
            players.pelk({text("token"), text("add"), text("--read-only"), text("display")})
                .output.trimmed()
                .toLatin1();
        QCOMPARE(status(kitchen), 200);
        QCOMPARE(status(kitchen, true), 204);
        QCOMPARE(status(display), 200);
        QCOMPARE(status(display, true), 403);
        QCOMPARE(players.pelk({text("token"), text("list")}).output, text("kitchen\ndisplay  read-only\n"));
        const Players::Outcome again = players.pelk({text("token"), text("add"), text("kitchen")});
        QCOMPARE(again.exitCode, 1);
        QVERIFY2(again.errors.contains(text("There is a token \"kitchen\" already")),
                 qPrintable(again.errors));
        QCOMPARE(players.pelk({text("token"), text("remove"), text("kitchen")}).fault(), QString());
        QCOMPARE(status(kitchen), 401);
        QCOMPARE(players.pelk({text("token"), text("remove"), text("kitchen")}).exitCode, 1);
        QCOMPARE(players.pelk({text("token")}).exitCode, 2);
    }

    void theCertificateIsPrintedAndKept()
    {
        const Players players;
        const auto fingerprint = [&players] {
            const Serve serve(players, text("127.0.0.1:0"), {}, {text("--tls")});
            while (!serve.process->canReadLine() && serve.process->waitForReadyRead(60000)) {
            }
            const QString line = QString::fromUtf8(serve.process->readLine());
            return serve.line.startsWith(text("The panel is at https://")) && serve.end() == 0
                       ? line.section(QLatin1Char(' '), -1).trimmed()
                       : QString();
        };
        const QString first = fingerprint();
        QCOMPARE(first.size(), 95);
        QCOMPARE(fingerprint(), first);
    }

    void theStatusShowsTheCertificateAndEveryAddress()
    {
        const Players players;
        const Serve serve(players, text("0.0.0.0:0"), {}, {text("--tls"), text("--open")});
        while (!serve.process->canReadLine() && serve.process->waitForReadyRead(60000)) {
        }
        const QString fingerprint =
            QString::fromUtf8(serve.process->readLine()).section(QLatin1Char(' '), -1).trimmed();
        const QString shown = players.pelk({text("status")}).output;
        QVERIFY2(shown.contains(text("Addresses    https://127.0.0.1:%1/\n").arg(serve.port)),
                 qPrintable(shown));
        QVERIFY2(shown.contains(text("Certificate  ") + fingerprint.left(48) + text("\n             ") +
                                fingerprint.mid(48) + QLatin1Char('\n')),
                 qPrintable(shown));
        const QList<QHostAddress> own = QNetworkInterface::allAddresses();
        for (const QHostAddress& address : own)
            if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
                QVERIFY2(shown.contains(text("https://%1:%2/\n").arg(address.toString()).arg(serve.port)),
                         qPrintable(shown));
    }

    void aCertificateWithoutItsKeyIsRefused_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("told");
        QTest::newRow("no key") << QStringList{text("--tls-cert"), text("a.pem")} << 2 << text("--tls-key");
        QTest::newRow("no certificate")
            << QStringList{text("--tls-key"), text("a.pem")} << 2 << text("--tls-cert");
        QTest::newRow("no files") << QStringList{text("--tls-cert"), text("/none.pem"), text("--tls-key"),
                                                 text("/none.pem")}
                                  << 1 << text("/none.pem cannot be used for TLS");
    }
    void aCertificateWithoutItsKeyIsRefused()
    {
        QFETCH(QStringList, options);
        QFETCH(int, exitCode);
        QFETCH(QString, told);
        const Players players;
        const Players::Outcome outcome =
            players.pelk(QStringList{text("serve"), text("--listen"), text("127.0.0.1:0")} + options);
        QCOMPARE(outcome.exitCode, exitCode);
        QVERIFY2(outcome.errors.contains(told), qPrintable(outcome.errors));
    }
};

QTEST_GUILESS_MAIN(AccessE2ETest)
#include "access_e2e_test.moc"
