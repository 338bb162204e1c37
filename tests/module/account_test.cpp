// The account node: what reads it, logging in, and what it refuses.

#include "tests/module/accounttest.h"

#include <QCryptographicHash>

class AccountTest : public AccountFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { openAccount(); }
    void cleanup() { closeAccount(); }

    void theFirstLoginStateIsThatOfTheSavedLogin_data()
    {
        Rows<QString, uint, int> row;
        row("nobody", QString(), 0U, int(LoggedOut));
        row("a user", "token", 77U, int(LoggedIn));
        row("a token without a user", "token", 0U, int(LoggedOut));
        row("a user without a token: the id alone counts", QString(), 77U, int(LoggedIn));
    }
    void theFirstLoginStateIsThatOfTheSavedLogin()
    {
        const auto [token, userId, expected] = fetched<QString, uint, int>();
        host().setSession(token, userId);
        host().start();
        QCOMPARE(loginState(), expected);
        const PelkValue value = host().root().getValue(PelkQobuzLoginStatePath());
        QCOMPARE(value.type(), int(PelkValue::QobuzLoginStateType));
    }

    void readingTheNodeGivesTheSessionForTheValueRole()
    {
        startWatching(true);
        const QStringList roles{PelkRoles::Value(), PelkRoles::Title(), PelkRoles::Value(), PelkRoles::Path(),
                                "unheardOf"_s};
        const ModuleHost::Data data = host().getData(accountPath(), roles);
        QVERIFY(succeeded(data));
        const QVariantList values = data.value.toList();
        QCOMPARE(values.size(), roles.size());
        for (int i : {0, 2}) {
            QCOMPARE(PelkValue(PelkHash(values.at(i).toHash())).type(), int(PelkValue::QobuzUserSessionType));
            QCOMPARE(sessionText(sessionIn(values.at(i))), savedUser);
        }
        for (int i : {1, 3, 4})
            QVERIFY(!values.at(i).isValid());
    }

    void readingNoRoleGivesAnEmptyList()
    {
        startWatching();
        const ModuleHost::Data data = host().getData(accountPath(), {});
        QVERIFY(succeeded(data));
        QCOMPARE(data.value.userType(), int(QMetaType::QVariantList));
        QVERIFY(data.value.toList().isEmpty());
    }

    void theAccountIsNeverShown()
    {
        startWatching();
        QVERIFY(!write(login()).error.isSet());
        const ModuleHost::Data data =
            host().getData(accountPath(), {PelkRoles::Value(), PelkQobuzAccount::Password(),
                                           PelkQobuzAccount::Username(), PelkValue::QobuzAccount()});
        const QString text = pelkToString(data.value);
        QVERIFY2(!text.contains("s3cret"_l), qPrintable(text));
        QVERIFY(!text.contains(PelkQobuzAccount::Password()));
        for (int i = 1; i < 4; ++i)
            QVERIFY(!data.value.toList().at(i).isValid());
    }

    void anotherRoleIsLeftToTheBaseNode_data()
    {
        Rows<QString, QVariant> row;
        row("an account", PelkRoles::Title(), accountValue(login()));
        row("the role is looked at before the type", PelkRoles::PrePlay(), 5);
        row("no role", QString(), accountValue(login()));
    }
    void anotherRoleIsLeftToTheBaseNode()
    {
        const auto [role, value] = fetched<QString, QVariant>();
        startWatching();
        const Log log;
        const ModuleHost::Data data = host().setData(accountPath(), role, value);
        QVERIFY(data.finished);
        QCOMPARE(data.error.message().context(), QByteArray("CMNode"));
        QCOMPARE(log.errors(), QStringList{"Expected value role!"_s});
        QCOMPARE(loginState(), int(LoggedOut));
        QCOMPARE(server().requestCount(), 0);
    }

    void anInvalidAccountIsRefused_data()
    {
        Rows<QVariant> row;
        PelkValue text;
        text.setString_("x"_s);
        row("a text value", text.variant());
        PelkValue session;
        session.setQobuzUserSession(PelkQobuzUserSession());
        row("a user session", session.variant());
        row("an account without its wrapper", login().variant());
        row("a plain text", "login"_s);
        row("nothing", QVariant());
    }
    void anInvalidAccountIsRefused()
    {
        const auto [value] = fetched<QVariant>();
        startWatching(true);
        const Log log;
        const ModuleHost::Data data = host().setData(accountPath(), PelkRoles::Value(), value);
        QVERIFY(data.finished);
        compareError(data.error, TrString(TrCharData{"Qobuz", "Invalid value type for account operation.",
                                                     "Account node - invalid input data format"},
                                          {}));
        QCOMPARE(log.errors(), QStringList{"Expected qobuz account value type!"_s});
        QVERIFY(log.debugs().isEmpty());
        QCOMPARE(loginState(), int(LoggedIn));
        QCOMPARE(server().requestCount(), 0);
    }

    void aLoginNeedsBothKeys_data()
    {
        Rows<bool, bool> row;
        row("without a user name", false, true);
        row("without a password", true, false);
        row("without both", false, false);
    }
    void aLoginNeedsBothKeys()
    {
        const auto [user, password] = fetched<bool, bool>();
        PelkQobuzAccount incomplete = login();
        if (!user)
            incomplete.remove(PelkQobuzAccount::Username());
        if (!password)
            incomplete.remove(PelkQobuzAccount::Password());
        startWatching(true);
        const ModuleHost::Data data = write(incomplete);
        QVERIFY(data.finished);
        compareError(data.error, translatable("Qobuz", "Username or password not set"));
        host().settle();
        QCoreApplication::processEvents();
        QCOMPARE(loginState(), int(LoggedIn));
        QVERIFY(m_published.isEmpty());
        QCOMPARE(host().session().userAuthToken(), "token-1"_s);
        QCOMPARE(server().requestCount(), 0);
    }

    void textsAreSentAsTheyAre_data()
    {
        Rows<QString, QString> row;
        row("an empty user name", ""_s, "s3cret"_s);
        row("an empty password", "u"_s, ""_s);
        row("both", ""_s, ""_s);
        row("texts that are null", QString(), QString());
        row("blanks around", " u ", " p ");
        row("blanks alone", "  ", " ");
        row("line breaks", "u\r\n", "p\n");
        row("composed letters", "\u00fc\u00e9", "\u00fc\u00e9");
        row("the same letters decomposed", "u\u0308e\u0301", "u\u0308e\u0301");
        row("compatible letters", "\ufb01\u212b\u3000", "\uff21");
        row("letter case", "User@Example.COM", "SeCret");
        row("no characters of their own", "\u200b\t", "\u00a0");
    }
    void textsAreSentAsTheyAre()
    {
        const auto [user, password] = fetched<QString, QString>();
        server().answer("/api/user/login", held(R"({"message":"Invalid username or password"})", 401));
        startWatching();
        const CMSetDataRequest request = send(login(user, password));
        QVERIFY(server().waitForRequests(1));
        QCOMPARE(loginState(), int(InProgress));
        QCOMPARE(server().requests().at(0).queryValue("username"), user.toUtf8());
        QCOMPARE(server().requests().at(0).queryValue("password"),
                 QCryptographicHash::hash(password.toUtf8(), QCryptographicHash::Md5).toHex());
        server().release();
        QVERIFY(wait(request.reply()));
        // The name of a successful login is stored as it was typed.
        answerLogin(loginAnswer);
        QVERIFY(!write(login(user, password)).error.isSet());
        QCOMPARE(host().session().userName(), user);
    }

    void aSuccessfulLoginReturnsTheSession()
    {
        startWatching();
        const ModuleHost::Data data = write(login());
        QVERIFY(succeeded(data));
        QCOMPARE(sessionText(host().session()), newUser);
        host().settle();
        QCOMPARE(loginState(), int(LoggedIn));
        QTRY_COMPARE(m_published, (QList<int>{InProgress, LoggedIn}));
        QVERIFY(!host().rows("qobuz:"_s, 0, 1).error.isSet());
    }

    void aRefusedLoginReportsItsError_data()
    {
        Rows<int, QByteArray, QString, QVariantHash> row;
        const QString code = "ErrorCode"_s;
        const QString reply = "ServerReply"_s;
        row("wrong password", 401, QByteArray(R"({"message":"Invalid username or password"})"),
            "Invalid username or password",
            QVariantHash{{code, 401}, {reply, "Invalid username or password"_s}});
        row("a service that is broken", 500, "<html>", "Unknown error", QVariantHash{{code, 500}});
        row("an answer that is not JSON", 200, "<html>", "Invalid data returned.", QVariantHash());
        row("a whole answer with another code", 201, loginAnswer, "Unknown error",
            QVariantHash{{code, 201}, {reply, QString()}});
        row("a message that is kept as it is", 401, R"({"message":" No\u0308\r\n %1 "})", " No\u0308\r\n %1 ",
            QVariantHash{{code, 401}, {reply, " No\u0308\r\n %1 "_s}});
    }
    void aRefusedLoginReportsItsError()
    {
        const auto [status, body, message, data] = fetched<int, QByteArray, QString, QVariantHash>();
        answerLogin(body, status);
        startWatching(true);
        const ModuleHost::Data answer = write(login());
        QVERIFY(answer.finished);
        QCOMPARE(answer.error.name(), CMError::DefaultName());
        QCOMPARE(answer.error.message().toString(), message);
        QCOMPARE(answer.error.data(), data);
        QVERIFY(answer.value.isNull());
        host().settle();
        QCOMPARE(loginState(), int(Failed));
        QTRY_COMPARE(m_published, (QList<int>{InProgress, Failed}));
        QCOMPARE(sessionText(host().session()), nobody); // the user before is gone too
    }

    void theReplyIsFinishedBeforeTheLoginStateIsSet_data()
    {
        Rows<int, int, int, int> row;
        row("a login that succeeds", 1, 200, int(InProgress), int(LoggedIn));
        row("a login that fails", 1, 401, int(InProgress), int(Failed));
        row("the account removed", 2, 200, int(LoggedIn), int(LoggedOut));
    }
    void theReplyIsFinishedBeforeTheLoginStateIsSet()
    {
        const auto row = fetched<int, int, int, int>();
        answerLogin(loginAnswer, std::get<1>(row));
        startWatching(true);
        const CMSetDataRequest request = requestFor(accountValue(loginAs(std::get<0>(row))));
        std::atomic<int> stateAtReply{-1};
        request.reply().addWatcher([&](const CMVoidReply&) { stateAtReply = loginState(); },
                                   Qt::DirectConnection);
        host().root().setDataRequest(request);
        QVERIFY(wait(request.reply()));
        host().settle();
        QCOMPARE(int(stateAtReply), std::get<2>(row));
        QCOMPARE(loginState(), std::get<3>(row));
    }

    void logRecordsAndReplyHaveThisOrder_data()
    {
        Rows<QVariant, QStringList> row;
        const QString reply = "the reply"_s;
        const QStringList entry{"account value"_s, "Enter bool"_s};
        row("an incomplete login", accountValue(account(1)), entry + QStringList{reply, "Leave bool"_s});
        row("a removal", accountValue(account(2)),
            entry + QStringList{"Account removed"_s, reply, "Leave bool"_s});
        row("a login", accountValue(login()), entry + QStringList{"Leave bool"_s, "httpCallback"_s, reply});
        row("no account", 5, {"account value type"_s, reply});
        row("no operation", accountValue(account(0)), entry + QStringList{"No operation"_s, "Leave bool"_s});
    }
    void logRecordsAndReplyHaveThisOrder()
    {
        const auto [value, order] = fetched<QVariant, QStringList>();
        startWatching(true);
        const Log log;
        const CMSetDataRequest request = requestFor(value);
        log.watch(request.reply());
        host().root().setDataRequest(request);
        host().settle();
        QVERIFY(!order.contains("the reply"_s) || wait(request.reply()));
        host().settle();
        QCOMPARE(log.order({"account value type"_s, "account value"_s, "Enter bool"_s, "Leave bool"_s,
                            "Account removed"_s, "No operation"_s, "httpCallback"_s}),
                 order);
    }

    void aLoginWithoutAUserIdStillSucceeds_data()
    {
        Rows<QByteArray, QString> row;
        row("no user", R"({"user_auth_token":"t"})", "user@example.com|t|0|0|0");
        row("a user without an id", R"({"user_auth_token":"t","user":{"login":"x"}})",
            "user@example.com|t|0|0|0");
        row("nothing", "{}", "user@example.com||0|0|0");
    }
    void aLoginWithoutAUserIdStillSucceeds()
    {
        const auto [body, session] = fetched<QByteArray, QString>();
        answerLogin(body);
        startWatching();
        const ModuleHost::Data data = write(login());
        QVERIFY(succeeded(data));
        QCOMPARE(sessionText(sessionIn(data.value.toList().value(0))), session);
        host().settle();
        QCOMPARE(loginState(), int(LoggedIn)); // by the reply alone
        QCOMPARE(host().rows("qobuz:"_s, 0, 1).error.message().source(), QByteArray("User is not logged in"));
    }

    void ofTwoLoginsTheLaterToFinishWins_data()
    {
        Rows<int, int, int> row;
        row("success, then failure", 401, int(LoggedIn), int(Failed));
        row("failure, then success", 200, int(Failed), int(LoggedIn));
    }
    void ofTwoLoginsTheLaterToFinishWins()
    {
        const auto [laterStatus, states0, states1] = fetched<int, int, int>();
        server().answerOnce("/api/user/login", held(loginAnswer, laterStatus));
        server().answerOnce("/api/user/login", json(loginAnswer, laterStatus == 200 ? 401 : 200));
        startWatching();
        const CMSetDataRequest first = send(login("first"_s));
        QVERIFY(server().waitForRequests(1));
        const ModuleHost::Data second = write(login("second"_s));
        QVERIFY(second.finished);
        QCOMPARE(second.error.isSet(), laterStatus == 200);
        QVERIFY(!first.reply().isFinished());
        server().release();
        QVERIFY(wait(first.reply()));
        QCOMPARE(first.reply().error().isSet(), laterStatus != 200);
        host().settle();
        QTRY_COMPARE(m_published, (QList<int>{InProgress, InProgress, states0, states1}));
        QCOMPARE(loginState(), states1);
    }
};

QTEST_GUILESS_MAIN(AccountTest)
#include "account_test.moc"
