#include "player/server/access/Attempts.h"
#include "player/server/access/Credentials.h"
#include "player/server/access/DeviceName.h"
#include "player/server/access/Secrets.h"
#include "player/server/access/Sessions.h"
#include "tests/unit/player/server_fixture.h"

#include <QJsonArray>
#include <QtTest>
#include <sys/stat.h>

#include <algorithm>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

const QString password = QStringLiteral("correct horse");
const QByteArray proxied = "music.home.example";

constexpr qint64 startMs = 1'800'000'000'000;

/// Files of the state folder with a password, sessions and tokens, made once: to write a file takes as long
/// as the disk does.
struct Prepared
{
    Prepared()
    {
        QString error;
        Credentials credentials(folder.path());
        Sessions sessions(folder.path(), [] { return startMs; });
        bool isDone = credentials.setPasswordHash(Secrets::passwordHash(password), &error);
        const QByteArray mark = credentials.passwordMark();
        valid = sessions.add(QString(), mark);
        expired = sessions.add(QString(), mark);
        revoked = sessions.add(QString(), mark);
        isDone = isDone && sessions.remove(sessions.find(revoked, mark)->name) &&
                 credentials.addToken(text("reader"), true, &reader, &error) &&
                 credentials.addToken(text("writer"), false, &writer, &error) &&
                 credentials.addToken(text("removed"), false, &removed, &error) &&
                 credentials.removeToken(text("removed"), &error);
        if (!isDone)
            qFatal("%s", qPrintable(error));
    }
    static const Prepared& files()
    {
        static const Prepared prepared;
        return prepared;
    }
    QTemporaryDir folder;
    QByteArray valid;
    QByteArray revoked;
    QByteArray expired;
    QByteArray reader;
    QByteArray writer;
    QByteArray removed;
};

/// A server behind a proxy, so that this machine's requests are everybody's.
class LockedFixture : public ServerFixture
{
public:
    explicit LockedFixture(const QString& origin = QStringLiteral("http://music.home.example"))
    {
        options.origin = origin;
        options.stateFolder = folder.filePath(QStringLiteral("state"));
        options.tell = [this](const QString& sentence) { told.append(sentence); };
        options.wallClock = [this] { return nowMs; };
        options.steadyClock = [this] { return steadyMs; };
        QDir().mkpath(options.stateFolder);
        take("password.json");
    }
    /// Begins with a file of Prepared.
    void take(const char* name) const
    {
        if (!QFile::copy(Prepared::files().folder.filePath(text(name)), file(name)))
            qFatal("%s cannot be copied", name);
    }
    static PanelClient::Headers headers(const QByteArray& cookie = QByteArray())
    {
        PanelClient::Headers all{{"Host", proxied}};
        if (!cookie.isEmpty())
            all.append({"Cookie", cookie});
        return all;
    }
    static PanelClient::Headers bearer(const QByteArray& token)
    {
        return {{"Host", proxied}, {"Authorization", "Bearer " + token}};
    }
    PanelReply logIn(const QString& word, const PanelClient::Headers& more = {}) const
    {
        return client().post("/api/access/login", QJsonObject{{text("password"), word}}, headers() + more);
    }
    /// Logs in; what the browser sends from then on.
    QByteArray cookie() const { return logIn(password).headers.value("set-cookie").split(';').first(); }
    QByteArray cookieName() const { return "pelk-" + QByteArray::number(port) + '='; }
    QByteArray token(const char* name, bool isReadOnly) const
    {
        QByteArray secret;
        QString error;
        if (!Credentials(options.stateFolder).addToken(text(name), isReadOnly, &secret, &error))
            qFatal("%s", qPrintable(error));
        return secret;
    }
    int status(const PanelClient::Headers& sent) const { return client().get("/api/player", sent).status; }
    QString file(const QByteArray& name) const
    {
        return options.stateFolder + QLatin1Char('/') + QString::fromLatin1(name);
    }

    QStringList told;
    qint64 nowMs = startMs;
    qint64 steadyMs = 0;
};

} // namespace

/// Access from the network: sessions, tokens, and the limit of password attempts.
class ServerLoginTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// One row for each route that the server has, so that a new one cannot be forgotten.
    void everyRouteAsksForARight_data()
    {
        QTest::addColumn<QByteArray>("route");
        LockedFixture f;
        f.start();
        const QStringList endpoints = f.server->endpoints();
        for (const QString& endpoint : endpoints)
            QTest::newRow(qPrintable(endpoint)) << endpoint.toLatin1();
        QTest::newRow("nothing there") << QByteArray("GET /api/nothing");
        QTest::newRow("nothing there to change") << QByteArray("POST /api/nothing");
        QTest::newRow("the wrong method") << QByteArray("PUT /api/player");
        QTest::newRow("the head alone") << QByteArray("HEAD /api/events");
    }
    void everyRouteAsksForARight()
    {
        QFETCH(QByteArray, route);
        const QByteArray method = route.split(' ').first();
        const QByteArray path = route.split(' ').last();
        LockedFixture f;
        const Prepared& made = Prepared::files();
        f.take("sessions.json");
        f.take("tokens.json");
        f.options.limits.failedLoginsPerMinute = 1000;
        f.start();
        const QByteArray valid = f.cookieName() + made.valid;
        const QByteArray revoked = f.cookieName() + made.revoked;
        const QByteArray expired = f.cookieName() + made.expired;
        const auto ask = [&](const PanelClient::Headers& sent) {
            PanelClient::Headers all = sent;
            all.append(qMakePair(QByteArray("Content-Type"), QByteArray("application/json")));
            if (path != "/api/events" || method == "HEAD")
                return f.client().send(method, path, all, "{}");
            EventReader events(f.port, QByteArray(), sent);
            (void)QTest::qWaitFor([&] { return events.status() != 0; }, 20000);
            PanelReply reply;
            reply.status = events.status();
            return reply;
        };
        const bool isPublic = path == "/api/access" || path == "/api/access/login";
        const bool isLocal = path == "/api/access/password" || path == "/api/about";
        const bool isRead =
            (method == "GET" || method == "HEAD") && path != "/api/access/sessions" && !isLocal;
        const auto isLetIn = [](int status) { return status != 401 && status != 403; };

        const PanelReply none = ask(f.headers());
        QCOMPARE(none.status == 401 || isPublic, true);
        for (const PanelClient::Headers& wrong :
             {f.headers("pelk-" + QByteArray::number(f.port) + "=wrong"), f.headers(revoked),
              f.bearer("wrong"), f.bearer(made.removed), f.bearer(""), f.bearer(made.valid),
              f.headers(made.writer),
              PanelClient::Headers{{"Host", proxied}, {"Authorization", "Basic " + made.writer}}}) {
            const PanelReply reply = ask(wrong);
            QCOMPARE(reply.status, none.status);
            QCOMPARE(reply.body, none.body);
        }
        if (!isPublic) {
            QCOMPARE(isLetIn(ask(f.bearer(made.reader)).status), isRead);
            QCOMPARE(isLetIn(ask(f.bearer(made.writer)).status), !isLocal);
            QCOMPARE(isLetIn(ask(f.headers(valid)).status), !isLocal);
        }
        f.nowMs += Sessions::lifeMs;
        if (path != "/api/access/logout") // which has ended the valid one
            QCOMPARE(ask(f.headers(expired)).body, none.body);
    }

    void onlyThePageIsServedWithoutASession_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<int>("status");
        QTest::newRow("the page") << QByteArray("/") << 200;
        QTest::newRow("its script") << QByteArray("/assets/app.js") << 200;
        QTest::newRow("the interface's root") << QByteArray("/api/") << 401;
        QTest::newRow("in capitals") << QByteArray("/API/player") << 200; // an address of the page
        QTest::newRow("two slashes") << QByteArray("//api/player") << 200;
        QTest::newRow("encoded") << QByteArray("/%61pi/player") << 401;
        QTest::newRow("an encoded slash") << QByteArray("/api%2Fplayer") << 401;
        QTest::newRow("dots") << QByteArray("/x/../api/player") << 200;
        QTest::newRow("a parameter") << QByteArray("/api/player?lang=de") << 401;
    }
    void onlyThePageIsServedWithoutASession()
    {
        QFETCH(QByteArray, target);
        QFETCH(int, status);
        LockedFixture f;
        f.start();
        const PanelReply reply = f.client().get(target, f.headers());
        QCOMPARE(reply.status, status);
        QVERIFY2(status != 200 || reply.body.contains("the panel") || reply.body == "let a;",
                 reply.body.constData());
    }

    void thisMachineNeedsNoPassword()
    {
        ServerFixture f;
        f.start();
        QCOMPARE(f.client().get("/api/player").status, 200);
        QCOMPARE(f.client().get("/api/access").json().value(text("level")).toString(), text("local"));
    }

    void forwardedRequestsAreNotLocal_data()
    {
        QTest::addColumn<QByteArray>("name");
        for (const char* name :
             {"Forwarded", "Via", "X-Forwarded-For", "X-Forwarded-Host", "X-Forwarded-Proto", "X-Real-IP"})
            QTest::newRow(name) << QByteArray(name);
    }
    void forwardedRequestsAreNotLocal()
    {
        QFETCH(QByteArray, name);
        ServerFixture f; // nothing is said of a proxy
        f.start();
        QCOMPARE(f.client().get("/api/player", {{name, "127.0.0.1"}}).status, 401);
        LockedFixture behind;
        behind.start();
        // A proxy may send the player's own address as the Host, and say nothing of itself.
        QCOMPARE(behind.client().get("/api/player").status, 401);
    }

    void anAddressOfTheNetworkNeedsAPasswordOrToBeOpen()
    {
        ServerFixture f;
        f.options.stateFolder = f.folder.path();
        f.options.address = text("0.0.0.0");
        QString error;
        QVERIFY(!PanelServer(f.options, f.engine.get()).start(&error));
        QVERIFY2(error.contains(text("pelk password")) && error.contains(text("--open")), qPrintable(error));
        f.options.origin = text("https://music.home.example");
        f.options.address = text("127.0.0.1");
        QVERIFY(!PanelServer(f.options, f.engine.get()).start(&error));
        QVERIFY2(error.contains(f.options.origin), qPrintable(error));
        f.options.isOpen = true;
        f.start();
        QCOMPARE(f.client().get("/api/player", {{"Host", proxied}}).status, 200);
        QCOMPARE(f.client().post("/api/player/pause", QJsonObject(), {{"Host", proxied}}).status, 204);
        // Open is not this machine.
        QCOMPARE(
            f.client()
                .post("/api/access/password", QJsonObject{{text("password"), password}}, {{"Host", proxied}})
                .status,
            403);
    }

    void theRightPasswordLetsABrowserInFromThenOn()
    {
        LockedFixture f;
        f.start();
        QCOMPARE(f.status(f.headers()), 401);
        const PanelReply login = f.logIn(
            password, {{"User-Agent", "Mozilla/5.0 (Linux; Android 14) Chrome/120.0 Mobile Safari/537"}});
        QCOMPARE(login.status, 204);
        const QByteArray cookie = login.headers.value("set-cookie");
        for (const char* part : {"HttpOnly", "SameSite=Strict", "Path=/", "Max-Age=2592000"})
            QVERIFY2(cookie.contains(part), part);
        QVERIFY(!cookie.contains("Secure"));
        const auto sent = f.headers(cookie.split(';').first());
        QCOMPARE(f.status(sent), 200);
        QCOMPARE(f.client().post("/api/player/pause", QJsonObject(), sent).status, 204);
        const QJsonArray list =
            f.client().get("/api/access/sessions", sent).json().value(text("sessions")).toArray();
        QCOMPARE(list.size(), 1);
        QCOMPARE(list.at(0).toObject().value(text("device")).toString(), text("Chrome, Android"));
        QVERIFY(list.at(0).toObject().value(text("current")).toBool());
    }

    void aCookieOfAnEncryptedPageIsNeverSentInTheClear()
    {
        LockedFixture f(text("https://music.home.example"));
        f.start();
        QVERIFY(f.logIn(password).headers.value("set-cookie").contains("; Secure"));
    }

    void wrongMissingAndUnsetPasswordsGetTheSameResponse()
    {
        LockedFixture f;
        f.start();
        const PanelReply wrong = f.logIn(text("wrong horse"));
        QCOMPARE(wrong.status, 401);
        const auto send = [&](const QByteArray& body) {
            return f.client().post("/api/access/login", body, f.headers());
        };
        f.options.limits.failedLoginsPerMinute = 100;
        for (const QByteArray& body : {QByteArray("{}"), QByteArray(R"({"password":""})"),
                                       "{\"password\":\"" + QByteArray(10000, 'a') + "\"}"}) {
            f.steadyMs += 60000;
            const PanelReply reply = send(body);
            QCOMPARE(reply.status, 401);
            QCOMPARE(reply.body, wrong.body);
            QCOMPARE(reply.headers.keys(), wrong.headers.keys());
        }
        f.steadyMs += 60000;
        QVERIFY(QFile::remove(f.file("password.json")));
        QCOMPARE(f.logIn(password).body, wrong.body);
        QCOMPARE(f.logIn(QString()).body, wrong.body);
    }

    void aPasswordThatIsNotATextIsAnInvalidRequest()
    {
        LockedFixture f;
        f.start();
        QCOMPARE(f.client()
                     .post("/api/access/login", QByteArray("{\"password\":\"\xff\xfe\"}"), f.headers())
                     .status,
                 400);
        QCOMPARE(f.client().post("/api/access/login", QByteArray("{\"password\":1}"), f.headers()).status,
                 400);
    }

    void lettersAreTheSameHoweverADeviceWritesThem()
    {
        const QByteArray hash = Secrets::passwordHash(text("caf\u00e9 caf\u00e9"));
        QVERIFY(hash.startsWith("$argon2id$"));
        QVERIFY(Secrets::isPassword(text("cafe\u0301 cafe\u0301"), hash));
        QVERIFY(!Secrets::isPassword(text("cafe cafe"), hash));
        QVERIFY(!Secrets::isPassword(QString(), QByteArray()));
    }

    void fiveFailuresAMinuteOfOneAddressAreEnough()
    {
        LockedFixture f;
        f.start();
        for (int i = 0; i < 5; ++i)
            QCOMPARE(f.logIn(text("wrong %1").arg(i)).status, 401);
        const PanelReply refused = f.logIn(password); // the right one learns no more
        QCOMPARE(refused.status, 429);
        QCOMPARE(refused.headers.value("retry-after"), QByteArray("60"));
        QCOMPARE(refused.detail(), text("Too many attempts. Try again in 60 seconds."));
        f.steadyMs += 59999;
        QCOMPARE(f.logIn(password).status, 429);
        f.steadyMs += 1;
        QCOMPARE(f.logIn(password).status, 204);
    }

    void aRightPasswordDoesNotCountAsAFailure()
    {
        LockedFixture f;
        f.start();
        for (int i = 0; i < 7; ++i)
            QCOMPARE(f.logIn(password).status, 204);
    }

    void simultaneousAttemptsDoNotBypassTheLimit()
    {
        LockedFixture f;
        f.start();
        const QByteArray request = "POST /api/access/login HTTP/1.1\r\nHost: " + proxied +
                                   "\r\nContent-Type: application/json\r\nContent-Length: 24\r\n\r\n"
                                   "{\"password\":\"wrong one\"}";
        std::vector<std::unique_ptr<PendingReply>> all;
        for (int i = 0; i < 12; ++i)
            all.push_back(std::make_unique<PendingReply>(f.port, request));
        QHash<int, int> statuses;
        for (const auto& one : all) {
            QVERIFY(one->wait(30000));
            ++statuses[one->reply().status];
        }
        QCOMPARE(statuses.value(401), 5);
        QCOMPARE(statuses.value(429), 7);
    }

    void aHundredFailuresAnHourAreTheLimitForAllAddresses()
    {
        qint64 nowMs = 0;
        Attempts attempts(Limits(), [&nowMs] { return nowMs; });
        for (int i = 0; i < 100; ++i) {
            const QByteArray address = "192.0.2." + QByteArray::number(i);
            QCOMPARE(attempts.waitSeconds(address), 0);
            attempts.begin(address);
            nowMs += 1000;
        }
        QCOMPARE(attempts.waitSeconds("198.51.100.1"), 3500);
        nowMs = 3600 * 1000;
        QCOMPARE(attempts.waitSeconds("198.51.100.1"), 0);
    }

    void anIPv6NetworkCountsAsOneAddress()
    {
        qint64 nowMs = 0;
        Attempts attempts(Limits(), [&nowMs] { return nowMs; });
        for (int i = 0; i < 5; ++i)
            attempts.begin("2001:db8:0:1::" + QByteArray::number(i + 1));
        QVERIFY(attempts.waitSeconds("2001:db8:0:1:ffff::1") > 0);
        QCOMPARE(attempts.waitSeconds("2001:db8:0:2::1"), 0);
        attempts.forgive("2001:db8:0:1::9");
        QCOMPARE(attempts.waitSeconds("2001:db8:0:1::9"), 0);
    }

    void aPauseIsAnsweredWhilePasswordsAreTried()
    {
        LockedFixture f;
        f.options.limits.failedLoginsPerMinute = 1000;
        f.start();
        const QByteArray cookie = f.cookie();
        const QByteArray request = "POST /api/access/login HTTP/1.1\r\nHost: " + proxied +
                                   "\r\nContent-Type: application/json\r\nContent-Length: 24\r\n\r\n"
                                   "{\"password\":\"wrong one\"}";
        std::vector<std::unique_ptr<PendingReply>> all;
        for (int i = 0; i < 40; ++i)
            all.push_back(std::make_unique<PendingReply>(f.port, request));
        QTRY_VERIFY(std::any_of(all.cbegin(), all.cend(), [](const auto& one) { return one->isFinished(); }));
        QCOMPARE(f.client().post("/api/player/pause", QJsonObject(), f.headers(cookie)).status, 204);
        // The pause overtook attempts that came before it: nothing waits for a hash.
        QVERIFY(std::any_of(all.cbegin(), all.cend(), [](const auto& one) { return !one->isFinished(); }));
    }

    void sessionsSurviveARestart()
    {
        LockedFixture f;
        f.start();
        const QByteArray name = "pelk-" + QByteArray::number(f.port);
        const QByteArray cookie = f.cookie();
        f.options.port = f.port;
        f.server.reset();
        f.start();
        QCOMPARE(f.status(f.headers(cookie)), 200);
        QVERIFY(cookie.startsWith(name));
    }

    void nothingSecretIsSaved()
    {
        LockedFixture f;
        f.start();
        const QByteArray cookie = f.cookie().split('=').last();
        const QByteArray token = f.token("kitchen", false);
        f.server->stop();
        for (const char* name : {"password.json", "sessions.json", "tokens.json"}) {
            QFile file(f.file(name));
            QVERIFY2(file.open(QIODevice::ReadOnly), name);
            const QByteArray content = file.readAll();
            QVERIFY(!content.contains(cookie) && !content.contains(token) &&
                    !content.contains("correct horse"));
            struct stat status = {};
            QCOMPARE(::stat(QFile::encodeName(f.file(name)).constData(), &status), 0);
            QCOMPARE(int(status.st_mode & 0777), 0600);
        }
    }

    void aSessionEndsWithItsThirtyDays()
    {
        LockedFixture f;
        f.start();
        const QByteArray cookie = f.cookie();
        f.nowMs += Sessions::lifeMs - 1;
        QCOMPARE(f.status(f.headers(cookie)), 200);
        f.nowMs += 1;
        QCOMPARE(f.status(f.headers(cookie)), 401);
    }

    void aClockSetBackByAYearExtendsNoAccess()
    {
        constexpr qint64 yearMs = 365LL * 24 * 3600 * 1000;
        LockedFixture f;
        f.start();
        const QByteArray cookie = f.cookie();
        for (int i = 0; i < 5; ++i)
            f.logIn(text("wrong"));
        f.nowMs -= yearMs;
        QCOMPARE(f.status(f.headers(cookie)), 401);
        QCOMPARE(f.logIn(password).status, 429); // a wait is not on the wall's clock
        f.steadyMs += 60000;
        const QByteArray during = f.cookie();
        QCOMPARE(f.status(f.headers(during)), 200);
        f.nowMs += yearMs; // it was set right again
        QCOMPARE(f.status(f.headers(cookie)), 200);
        QCOMPARE(f.status(f.headers(during)), 401);
    }

    void anEventStreamEndsWithItsSession_data()
    {
        QTest::addColumn<QString>("how");
        for (const char* how : {"revoked", "logged out", "expired", "token removed", "password changed"})
            QTest::newRow(how) << text(how);
    }
    void anEventStreamEndsWithItsSession()
    {
        QFETCH(QString, how);
        LockedFixture f;
        f.options.limits.heartbeatMs = 20; // what is done outside of the player is seen with the next one
        f.start();
        const QByteArray mine = f.cookie();
        const QByteArray other = f.cookie();
        const QByteArray token = f.token("kitchen", true);
        const bool isToken = how == text("token removed");
        EventReader ending(f.port, QByteArray(), isToken ? f.bearer(token) : f.headers(mine));
        QTRY_COMPARE(ending.status(), 200);
        const int before = ending.comments();
        QTRY_VERIFY(ending.comments() > before);
        QVERIFY(!ending.hasEnded());
        QString error;
        if (how == text("revoked")) {
            const QJsonArray list = f.client()
                                        .get("/api/access/sessions", f.headers(mine))
                                        .json()
                                        .value(text("sessions"))
                                        .toArray();
            for (const QJsonValue& one : list)
                if (one.toObject().value(text("current")).toBool())
                    QCOMPARE(f.client()
                                 .post("/api/access/revoke",
                                       QJsonObject{{text("session"), one.toObject().value(text("session"))}},
                                       f.headers(other))
                                 .status,
                             204);
        } else if (how == text("logged out")) {
            QCOMPARE(f.client().post("/api/access/logout", QJsonObject(), f.headers(mine)).status, 204);
        } else if (how == text("expired")) {
            f.nowMs += Sessions::lifeMs;
        } else if (isToken) {
            QVERIFY(Credentials(f.options.stateFolder).removeToken(text("kitchen"), &error));
        } else {
            QVERIFY(Credentials(f.options.stateFolder)
                        .setPasswordHash(Secrets::passwordHash(text("another one")), &error));
        }
        QTRY_VERIFY(ending.hasEnded());
        if (how == text("revoked") || how == text("logged out"))
            QCOMPARE(f.status(f.headers(other)), 200);
    }

    void thisMachineSetsThePasswordInThePanel()
    {
        ServerFixture f;
        f.options.stateFolder = f.folder.filePath(text("state"));
        f.start();
        QCOMPARE(f.client().get("/api/access").json().value(text("passwordSet")).toBool(true), false);
        const auto set = [&](const QString& word) {
            return f.client().post("/api/access/password", QJsonObject{{text("password"), word}}).status;
        };
        QCOMPARE(set(QString()), 400);
        QCOMPARE(set(text("short")), 400);
        QCOMPARE(set(QString(10000, QLatin1Char('a'))), 400);
        QCOMPARE(set(password), 204);
        QCOMPARE(f.client().get("/api/access").json().value(text("passwordSet")).toBool(), true);
        QVERIFY(Secrets::isPassword(password, Credentials(f.options.stateFolder).passwordHash()));
    }

    void anUnreadableFileGrantsNoAccess_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("content");
        for (const char* name : {"password.json", "tokens.json"})
            for (const char* content : {"", "{\"concern\":\"passw", "[]", "{}", "null",
                                        R"({"concern":"other","version":1,"data":{}})",
                                        R"({"concern":"password","version":9,"data":{"hash":""}})"})
                QTest::addRow("%s: %s", name, content) << QByteArray(name) << QByteArray(content);
    }
    void anUnreadableFileGrantsNoAccess()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, content);
        LockedFixture f;
        f.start();
        const QByteArray cookie = f.cookie();
        const QByteArray token = f.token("kitchen", false);
        QCOMPARE(f.status(f.bearer(token)), 200);
        QFile file(f.file(name));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(content);
        file.close();
        const bool isPassword = name == "password.json";
        QCOMPARE(f.status(f.headers(cookie)), isPassword ? 401 : 200);
        QCOMPARE(f.status(f.bearer(token)), isPassword ? 200 : 401);
        QCOMPARE(f.status(f.headers()), 401);
        QCOMPARE(f.logIn(password).status, isPassword ? 401 : 204);
        QCOMPARE(f.logIn(QString()).status, 401);
        QCOMPARE(f.told.size(), 1);
        QVERIFY2(f.told.first().contains(text("renamed to")), qPrintable(f.told.first()));
        QVERIFY(QFile::exists(f.file(name + ".bad")));
    }

    void aTruncatedSessionFileGrantsNoAccess()
    {
        LockedFixture f;
        f.start();
        const QByteArray cookie = f.cookie();
        f.options.port = f.port;
        f.server.reset();
        QFile file(f.file("sessions.json"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.resize(file.size() / 2));
        file.close();
        f.start();
        QCOMPARE(f.status(f.headers(cookie)), 401);
        QCOMPARE(f.told.size(), 1);
        QVERIFY(QFile::exists(f.file("sessions.json.bad")));
        QCOMPARE(f.status(f.headers(f.cookie())), 200);
    }

    void tokensHaveNames()
    {
        QTemporaryDir folder;
        Credentials credentials(folder.path());
        QByteArray secret;
        QString error;
        QVERIFY(credentials.addToken(text("Küche.1"), false, &secret, &error));
        QVERIFY(secret.size() >= 43);
        QVERIFY(!credentials.addToken(text("Küche.1"), true, &secret, &error));
        QVERIFY2(error.contains(text("already")), qPrintable(error));
        for (const QString& name :
             {QString(), text("two words"), QString(41, QLatin1Char('a')), text("a\nb")})
            QVERIFY(!credentials.addToken(name, false, &secret, &error));
        QVERIFY(!credentials.removeToken(text("other"), &error));
        QCOMPARE(Credentials(folder.path()).tokens().size(), 1);
    }

    void devicesAreCalledAsPeopleCallThem_data()
    {
        QTest::addColumn<QByteArray>("agent");
        QTest::addColumn<QString>("name");
        const auto row = [](const char* name, const char* agent) {
            QTest::newRow(name) << QByteArray(agent) << text(name);
        };
        row("Safari, iPhone",
            "Mozilla/5.0 (iPhone; CPU iPhone OS 17_0 like Mac OS X) Version/17.0 Safari/604.1");
        row("Firefox, Linux", "Mozilla/5.0 (X11; Linux x86_64; rv:121.0) Gecko/20100101 Firefox/121.0");
        row("Edge, Windows", "Mozilla/5.0 (Windows NT 10.0) Chrome/120.0 Safari/537.36 Edg/120.0");
        row("Chrome, Mac", "Mozilla/5.0 (Macintosh; Intel Mac OS X) Chrome/120.0 Safari/537.36");
        row("", "curl/7.88.1");
    }
    void devicesAreCalledAsPeopleCallThem()
    {
        QFETCH(QByteArray, agent);
        QFETCH(QString, name);
        QCOMPARE(deviceName(agent), name);
    }
};

QTEST_GUILESS_MAIN(ServerLoginTest)
#include "server_login_test.moc"
