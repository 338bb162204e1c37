#include "api/types/pelkvalue.h"
#include "player/base/LogMask.h"
#include "player/host/Logging.h"

#include <QtTest>
#include <log4cplus/loggingmacros.h>
#include <sys/wait.h>

#include <array>
#include <glib.h>
#include <iostream>
#include <sstream>
#include <unistd.h>

class LogMaskTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void secretsAreMasked_data()
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
    void secretsAreMasked()
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

    void personalDataIsMasked_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("masked");
        const auto row = [](const char* name, const char* line, const char* masked) {
            QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(masked);
        };
        row("nobody", "HTTP call to album/get?album_id=5&limit=50 failed (404): No such album",
            "HTTP call to album/get?album_id=5&limit=50 failed (404): No such album");
        row("words", "User is not logged in", "User is not logged in");
        row("a sentence about a device", "Device lost: 5 seconds", "Device lost: 5 seconds");
        row("a login",
            "HTTP call to user/login?app_id=1&username=jo%40host.example&password=***&"
            "device_manufacturer_id=0b-1c failed (401): jo is unknown",
            "HTTP call to user/login?app_id=1&username=***&password=***&device_manufacturer_id=*** "
            "failed (401): ***");
        row("a login without an answer", "HTTP call to user/login?username=jo&x=1 failed (0)",
            "HTTP call to user/login?username=***&x=1 failed (0)");
        row("a report",
            "HTTP call to track/reportStreamingEnd?user_id=7&date=1&track_id=5&device_id=8&"
            "credential_id=9 failed (500): Oops",
            "HTTP call to track/reportStreamingEnd?user_id=***&date=1&track_id=5&device_id=***&"
            "credential_id=*** failed (500): Oops");
        row("mail address", "wrote to jo.d+x@mail.host.example today", "wrote to *** today");
        row("JSON", "{\"email\":\"a\\\"b\",\"id\":1,\"user_id\":77,\"login\" : \"x\"}",
            "{\"email\":***,\"id\":1,\"user_id\":***,\"login\" : ***}");
        row("number in a record", "{userId: 77, kind: 3}", "{userId: ***, kind: 3}");
        row("name in a record", "{userName: \"a\"b\"}", "{userName: \"***\"}");
    }
    void personalDataIsMasked()
    {
        QFETCH(QString, line);
        QFETCH(QString, masked);
        QCOMPARE(maskPersons(line), masked);
        QCOMPARE(maskPersons(masked), masked);
    }

    void aLongLineIsSearchedForPersonsInTime()
    {
        const QString many = QStringLiteral("user").repeated(250000);
        QCOMPARE(maskPersons(many), many);
        QCOMPARE(maskPersons(many + QStringLiteral("@host.example")), QStringLiteral("***"));
    }

    void personsAreShownAtDebugLevelAlone()
    {
        std::ostringstream captured;
        std::streambuf* const before = std::cerr.rdbuf(captured.rdbuf());
        Logging::setUp(QStringLiteral("trace"));
        log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("Test"));
        LOG4CPLUS_DEBUG(logger, "username=debugged");
        LOG4CPLUS_INFO(logger, "username=informed");
        LOG4CPLUS_ERROR(logger, "username=failed");
        std::cerr.rdbuf(before);
        const QString text = QString::fromStdString(captured.str());
        QVERIFY2(text.contains(QStringLiteral("username=debugged")), qPrintable(text));
        QCOMPARE(text.count(QStringLiteral("username=***")), 2);
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

    void aRecordIsOneLineWithoutControlCharacters()
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

    void aFatalMessageOfALibraryIsASentenceInsteadOfAnAbort()
    {
        std::array<int, 2> ends{};
        QCOMPARE(::pipe(ends.data()), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            ::dup2(ends[1], STDERR_FILENO);
            Logging::endOnFatalMessages();
            g_error("Creating pipes: Too many open files");
        }
        ::close(ends[1]);
        QFile said;
        QVERIFY(said.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
        const QByteArray sentence = said.readAll();
        int status = 0;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QVERIFY2(WIFEXITED(status) && WEXITSTATUS(status) == 1, sentence.constData());
        QVERIFY2(sentence.startsWith("pelk: Fatal error; the player exits. (") &&
                     sentence.endsWith(": Creating pipes: Too many open files)\n"),
                 sentence.constData());
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
