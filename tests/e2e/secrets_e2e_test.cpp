#include "tests/e2e/players.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>
#include <QUrlQuery>
#include <QtTest>

/// The player's log at each level during a login, browsing and playing a track: docs/security.md has the
/// table.
class SecretsE2ETest : public QObject
{
    Q_OBJECT

    struct Secrets
    {
        QString password = QStringLiteral("demo");
        QString token;
        QStringList signatures;    // of the requests for a stream
        QStringList streamQueries; // the permission to fetch it
    };

    static QString md5(const QString& text)
    {
        return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex());
    }

    /// Everything the player writes while it does its work.
    static QString workAtLevel(const Players& players, const QString& level, Secrets* secrets)
    {
        const QStringList log = {QStringLiteral("--log-level"), level};
        QString written;
        const auto run = [&](const QStringList& command, const QByteArray& input = QByteArray()) {
            const Players::Outcome outcome = players.pelk(log + command, input);
            written += outcome.output + outcome.errors;
            return outcome.exitCode;
        };
        const int login = run(
            {QStringLiteral("login"), QStringLiteral("demo@example.com"), QStringLiteral("--password-stdin")},
            secrets->password.toUtf8() + '\n');
        QFile file(players.loginFile());
        if (login != 0 || !file.open(QIODevice::ReadOnly))
            return QString();
        const QJsonObject saved = QJsonDocument::fromJson(file.readAll()).object();
        secrets->token = saved.value(QStringLiteral("session:qobuz"))
                             .toObject()
                             .value(QStringLiteral("qobuzUserSession"))
                             .toObject()
                             .value(QStringLiteral("userAuthToken"))
                             .toString();
        run({QStringLiteral("status")});
        run({QStringLiteral("rows"), QStringLiteral("qobuz:favourites/tracks"), QStringLiteral("--json")});
        const int id = players.controlGet(QStringLiteral("tracks?kind=24-192"))
                           .value(QStringLiteral("24-192"))
                           .toArray()
                           .first()
                           .toObject()
                           .value(QStringLiteral("id"))
                           .toInt();
        run({QStringLiteral("play"), QStringLiteral("qobuz:track?id=%1").arg(id), QStringLiteral("--seconds"),
             QStringLiteral("1"), QStringLiteral("--to"), players.home() + QStringLiteral("/out.wav")});
        const QJsonArray requests =
            players.controlGet(QStringLiteral("requests?all=1")).value(QStringLiteral("requests")).toArray();
        for (const QJsonValue& request : requests) {
            const QUrl url(request.toObject().value(QStringLiteral("target")).toString());
            const QUrlQuery query(url);
            if (query.hasQueryItem(QStringLiteral("request_sig")))
                secrets->signatures.append(query.queryItemValue(QStringLiteral("request_sig")));
            else if (url.path().endsWith(QLatin1String(".flac")))
                secrets->streamQueries.append(url.query());
        }
        run({QStringLiteral("logout")});
        return written;
    }

    /// Everything the player writes when a login and the reports about a track fail, and what it must not
    /// say: each is found in the requests that the service got.
    static QString failuresAtLevel(const Players& players, const QString& level, QStringList* persons)
    {
        const QStringList log = {QStringLiteral("--log-level"), level};
        players.login();
        for (const char* report : {"track/reportStreamingStart", "track/reportStreamingEnd"})
            players.fault(QString::fromLatin1(report),
                          QJsonObject{{QStringLiteral("kind"), QStringLiteral("status")},
                                      {QStringLiteral("status"), 500}});
        const int id = players.controlGet(QStringLiteral("tracks?kind=cd"))
                           .value(QStringLiteral("cd"))
                           .toArray()
                           .first()
                           .toObject()
                           .value(QStringLiteral("id"))
                           .toInt();
        QString written;
        written +=
            players
                .pelk(log + QStringList{QStringLiteral("play"), QStringLiteral("qobuz:track?id=%1").arg(id),
                                        QStringLiteral("--seconds"), QStringLiteral("1"),
                                        QStringLiteral("--to"), players.home() + QStringLiteral("/out.wav")})
                .errors;
        written += players
                       .pelk(log + QStringList{QStringLiteral("login"), QStringLiteral("demo@example.com"),
                                               QStringLiteral("--password-stdin")},
                             "wrong\n")
                       .errors;
        const QJsonArray requests =
            players.controlGet(QStringLiteral("requests?all=1")).value(QStringLiteral("requests")).toArray();
        for (const QJsonValue& request : requests) {
            const QUrlQuery query(QUrl(request.toObject().value(QStringLiteral("target")).toString()));
            for (const char* name :
                 {"username", "device_manufacturer_id", "user_id", "device_id", "credential_id"}) {
                const QString key = QString::fromLatin1(name);
                if (query.hasQueryItem(key))
                    *persons << key + QLatin1Char('=') + query.queryItemValue(key, QUrl::FullyEncoded);
            }
        }
        persons->removeDuplicates();
        return written;
    }

private Q_SLOTS:
    void onlyTraceShowsSecrets_data()
    {
        QTest::addColumn<bool>("userName");
        QTest::addColumn<bool>("secret");
        for (const char* level : {"off", "error", "warn", "info"})
            QTest::newRow(level) << false << false;
        QTest::newRow("debug") << true << false;
        QTest::newRow("trace") << true << true;
    }
    void onlyTraceShowsSecrets()
    {
        QFETCH(bool, userName);
        QFETCH(bool, secret);
        const Players players;
        Secrets secrets;
        const QString written = workAtLevel(players, QString::fromLatin1(QTest::currentDataTag()), &secrets);
        QVERIFY(!written.isEmpty());
        QVERIFY(!secrets.token.isEmpty());
        QVERIFY(!secrets.signatures.isEmpty());
        QVERIFY(!secrets.streamQueries.isEmpty());

        const auto shows = [&written](const QString& text) { return written.contains(text); };
        QCOMPARE(shows(QStringLiteral("username: \"demo@example.com\"")), userName);
        QCOMPARE(shows(QStringLiteral("password: \"demo\"")), secret);
        QCOMPARE(shows(md5(secrets.password)), secret);
        QCOMPARE(shows(secrets.signatures.first()), secret);
        QCOMPARE(shows(secrets.streamQueries.first()), secret);
        // These are in no line at any level.
        QVERIFY(!shows(secrets.token));
        QVERIFY(!shows(QStringLiteral("sandbox-secret-0123456789abcdef")));
    }

    void aFailureNamesNoPerson_data()
    {
        QTest::addColumn<QString>("level");
        for (const char* level : {"error", "info"})
            QTest::newRow(level) << QString::fromLatin1(level);
    }
    void aFailureNamesNoPerson()
    {
        QFETCH(QString, level);
        const Players players;
        QStringList persons;
        const QString written = failuresAtLevel(players, level, &persons);
        QVERIFY2(written.contains(QStringLiteral("HTTP call to user/login?")) &&
                     written.contains(QStringLiteral("HTTP call to track/reportStreamingStart?")),
                 qPrintable(written));
        QVERIFY2(persons.size() >= 5, qPrintable(persons.join(QLatin1Char(' '))));
        for (const QString& person : qAsConst(persons))
            QVERIFY2(!written.contains(person), qPrintable(person + QLatin1Char('\n') + written));
        QVERIFY2(!written.contains(QStringLiteral("demo@")), qPrintable(written));
    }
};

QTEST_GUILESS_MAIN(SecretsE2ETest)
#include "secrets_e2e_test.moc"
