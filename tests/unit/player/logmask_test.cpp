#include "api/types/pelkvalue.h"
#include "player/host/LogMask.h"
#include "player/host/Logging.h"

#include <QtTest>
#include <log4cplus/loggingmacros.h>

#include <iostream>
#include <sstream>

class LogMaskTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void secretsAreTakenOut_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("masked");
        const auto row = [](const char* name, const char* line, const char* masked) {
            QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(masked);
        };
        row("nothing secret", "album/get?album_id=5&limit=50", "album/get?album_id=5&limit=50");
        row("words", "Password wrong, token expired", "Password wrong, token expired");
        row("relative address", "user/login?app_id=1&password=abc&x=2",
            "user/login?app_id=1&password=***&x=2");
        row("signature", "track/getFileUrl?request_ts=1&request_sig=0a",
            "track/getFileUrl?request_ts=1&request_sig=***");
        row("token parameter", "a?user_auth_token=xyz b", "a?user_auth_token=*** b");
        row("stream", "resolved to https://s.example/f.flac?etsp=1&hmac=ab",
            "resolved to https://s.example/f.flac?***");
        row("two addresses", "http://a/?x=1 http://b/c?y=2 end", "http://a/?*** http://b/c?*** end");
        row("header", "X-User-Auth-Token: abc-def", "X-User-Auth-Token: ***");
        row("header with separators", "X-User-Auth-Token: a,b c}\"d", "X-User-Auth-Token: ***");
        row("user info", "to https://me:pw@h/a", "to https://***@h/a");
        row("apostrophe before a query", "to https://h/it's?hmac=ab", "to https://h/it's?***");
        row("JSON", "{\"user_auth_token\":\"ab\",\"id\":1}", "{\"user_auth_token\":***,\"id\":1}");
        row("JSON password", "{\"password\": \"a\\\"b\", \"id\":1}", "{\"password\": ***, \"id\":1}");
        row("application secret", "{appId: \"1\", appSecret: \"s\"}", "{appId: \"1\", appSecret: \"***\"}");
    }
    void secretsAreTakenOut()
    {
        QFETCH(QString, line);
        QFETCH(QString, masked);
        QCOMPARE(maskSecrets(line), masked);
        QCOMPARE(maskSecrets(masked), masked);
    }

    void noPasswordShowsFromAnAccount_data()
    {
        QTest::addColumn<QString>("password");
        QTest::newRow("plain") << QStringLiteral("s3cret");
        QTest::newRow("quote") << QStringLiteral("x\"s3cret");
        QTest::newRow("looks like the next field") << QStringLiteral("x\", username: \"y\"s3cret");
        QTest::newRow("line break") << QStringLiteral("x\ns3cret");
        QTest::newRow("brackets") << QStringLiteral("}}s3cret, a");
    }
    void noPasswordShowsFromAnAccount()
    {
        QFETCH(QString, password);
        PelkQobuzAccount account;
        account.setOperation(PelkQobuzAccountOperation::Login);
        account.setUsername(QStringLiteral("somebody"));
        account.setPassword(password);
        PelkValue value;
        value.setQobuzAccount(account);
        const QString masked = maskSecrets(QStringLiteral("value: '%1'").arg(value.toString()));
        QVERIFY2(!masked.contains(QStringLiteral("s3cret")), qPrintable(masked));
        QVERIFY2(masked.contains(QStringLiteral("somebody")), qPrintable(masked));
    }

    void noTokenShowsFromASavedLogin_data()
    {
        QTest::addColumn<QString>("token");
        QTest::newRow("plain") << QStringLiteral("s3cret");
        QTest::newRow("blank") << QStringLiteral("x s3cret");
        QTest::newRow("quote") << QStringLiteral("x\"s3cret");
        QTest::newRow("looks like the next field") << QStringLiteral("x\", userId: 5, s3cret");
        QTest::newRow("line break") << QStringLiteral("x\ns3cret");
    }
    void noTokenShowsFromASavedLogin()
    {
        QFETCH(QString, token);
        PelkQobuzUserSession session;
        session.setUserName(QStringLiteral("somebody"));
        session.setUserAuthToken(token);
        session.setUserId(77);
        const QString masked = maskSecrets(session.toString());
        QVERIFY2(!masked.contains(QStringLiteral("s3cret")), qPrintable(masked));
        QVERIFY(masked.contains(QStringLiteral("somebody")));
    }

    void noApplicationSecretShowsFromSettings()
    {
        PelkQobuzSettings settings;
        settings.setAppId(QStringLiteral("1"));
        settings.setAppSecret(QStringLiteral("x\"s3cret"));
        const QString masked = maskSecrets(settings.toString());
        QVERIFY2(!masked.contains(QStringLiteral("s3cret")), qPrintable(masked));
    }

    void aLongSecretIsMaskedToo_data()
    {
        QTest::addColumn<QString>("form");
        for (const char* form : {"{\"user_auth_token\":\"%1\"}", "password: \"%1\", username: \"x\"",
                                 "token=%1", "https://h/?x=%1", "X-User-Auth-Token: %1"})
            QTest::newRow(form) << QString::fromLatin1(form);
    }
    void aLongSecretIsMaskedToo()
    {
        QFETCH(QString, form);
        // An address has its quotes encoded.
        const bool encoded = form.contains(QLatin1String("=%1"));
        const QString secret = encoded ? QStringLiteral("%22s3cret") : QStringLiteral("\\\"s3cret");
        const QString masked = maskSecrets(form.arg(secret.repeated(100000)));
        QVERIFY2(masked.size() < 100, qPrintable(masked.left(200)));
    }

    void aRecordIsOneLineThatMovesNoCursor()
    {
        std::ostringstream captured;
        std::streambuf* const before = std::cerr.rdbuf(captured.rdbuf());
        Logging::setUp(QStringLiteral("error"));
        log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("Test"));
        LOG4CPLUS_ERROR(logger, "said: a\n12:00:00.000 INFO  forged\r\x1b[2Jb");
        std::cerr.rdbuf(before);
        const QString text = QString::fromStdString(captured.str());
        QVERIFY2(text.endsWith(QStringLiteral("said: a 12:00:00.000 INFO  forged  [2Jb\n")),
                 qPrintable(text));
        QCOMPARE(text.count(QLatin1Char('\n')), 1);
    }

    void everyLevelAboveTraceIsMasked()
    {
        std::ostringstream captured;
        std::streambuf* const before = std::cerr.rdbuf(captured.rdbuf());
        Logging::setUp(QStringLiteral("trace"));
        log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("Test"));
        LOG4CPLUS_DEBUG(logger, "password=debugged");
        LOG4CPLUS_ERROR(logger, "password=failed");
        LOG4CPLUS_TRACE(logger, "password=traced");
        Logging::setUp(QStringLiteral("warn"));
        LOG4CPLUS_INFO(logger, "quiet");
        LOG4CPLUS_WARN(logger, "loud");
        Logging::setUp(QStringLiteral("off"));
        LOG4CPLUS_FATAL(logger, "nothing");
        std::cerr.rdbuf(before);
        const QString text = QString::fromStdString(captured.str());
        QCOMPARE(text.count(QStringLiteral("password=***")), 2);
        QVERIFY(text.contains(QStringLiteral("password=traced")));
        QVERIFY(!text.contains(QStringLiteral("quiet")));
        QVERIFY(text.contains(QStringLiteral("loud")));
        QVERIFY(!text.contains(QStringLiteral("nothing")));
    }
};

QTEST_GUILESS_MAIN(LogMaskTest)
#include "logmask_test.moc"
