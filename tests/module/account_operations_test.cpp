// The account node: removing the account, operations that it does not know, the order of its steps, and its
// replies.

#include "tests/module/accounttest.h"

class AccountOperationsTest : public AccountFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { openAccount(); }
    void cleanup() { closeAccount(); }

    void removingTheAccountForgetsTheUser()
    {
        startWatching(true);
        const Log log;
        const ModuleHost::Data data = write(account(PelkQobuzAccountOperation::Remove));
        QVERIFY(succeeded(data));
        QCOMPARE(sessionText(host().session()), nobody);
        host().settle();
        QCOMPARE(loginState(), int(LoggedOut));
        QTRY_COMPARE(m_published, QList<int>{LoggedOut});
        QCOMPARE(log.infos(), QStringList{"Account removed"_s});
        QCOMPARE(server().requestCount(), 0); // the service is not told
        QCOMPARE(host().rows("qobuz:"_s, 0, 1).error.message().source(), QByteArray("User is not logged in"));
    }

    void removingTheAccountStopsATrackOfThisService_data()
    {
        Rows<QString, int, bool> row;
        row("playing", "qobuz", int(PelkPlayLogicState::Playing), true);
        row("opening", "qobuz", int(PelkPlayLogicState::Opening), true);
        row("paused", "qobuz", int(PelkPlayLogicState::Paused), true);
        row("stopped", "qobuz", int(PelkPlayLogicState::Stopped), true);
        row("another service", "other", int(PelkPlayLogicState::Playing), false);
        row("no service", QString(), int(PelkPlayLogicState::Playing), false);
        row("another letter case", "Qobuz", int(PelkPlayLogicState::Playing), false);
        row("a blank around", " qobuz", int(PelkPlayLogicState::Playing), false);
        row("a name that goes on", "qobuz2", int(PelkPlayLogicState::Playing), false);
    }
    void removingTheAccountStopsATrackOfThisService()
    {
        const auto [service, playState, stopped] = fetched<QString, int, bool>();
        const Player player(service, static_cast<PelkPlayLogicState::Enum>(playState));
        startWatching(true);
        const Log log;
        // It is not waited for that the player has stopped.
        QVERIFY(write(account(PelkQobuzAccountOperation::Remove)).finished);
        QCOMPARE(int(player.stops), stopped ? 1 : 0);
        QStringList lines{"Account removed"_s};
        if (stopped) {
            lines << "We were playing qobuz when logged out - stopping player"_s;
            QCOMPARE(int(player.lastReason), 0);
        }
        QCOMPARE(log.infos(), lines);
    }

    void aLoginDoesNotStopThePlayer()
    {
        const Player player(PelkService_Qobuz_Id(), PelkPlayLogicState::Playing);
        startWatching(true);
        QVERIFY(write(login()).finished);
        QCOMPARE(int(player.stops), 0);
    }

    void withoutAnOperationTheReplyStaysOpen_data()
    {
        Rows<bool> row;
        row("operation 0", true);
        row("the key left out", false);
    }
    void withoutAnOperationTheReplyStaysOpen()
    {
        const auto [given] = fetched<bool>();
        startWatching(true);
        const Log log;
        PelkQobuzAccount written = login();
        written.setOperation(PelkQobuzAccountOperation::None);
        if (!given)
            written.remove(PelkQobuzAccount::Operation());
        const CMSetDataRequest request = send(written);
        host().settle();
        QVERIFY(!request.reply().isFinished());
        QCOMPARE(log.warnings(), QStringList{"No operation on account node specified!"_s});
        QCOMPARE(loginState(), int(LoggedIn));
        QVERIFY(m_published.isEmpty());
    }

    void anUnknownOperationDoesNothing_data()
    {
        Rows<int> row;
        row("3", 3);
        row("7", 7);
        row("a negative number", -1);
    }
    void anUnknownOperationDoesNothing()
    {
        const auto [operation] = fetched<int>();
        startWatching(true);
        const Log log(log4cplus::INFO_LOG_LEVEL);
        const PelkQobuzAccount written = loginAs(operation);
        const CMSetDataRequest request = send(written);
        host().settle();
        QVERIFY(!request.reply().isFinished());
        QVERIFY(log.records().isEmpty());
        QCOMPARE(loginState(), int(LoggedIn));
        QCOMPARE(server().requestCount(), 0);
    }

    void writingAndProcessingAreLoggedAtDebugLevel_data()
    {
        Rows<int> row;
        for (int operation : {0, 1, 2, 7})
            row(QByteArray::number(operation).constData(), operation);
    }
    void writingAndProcessingAreLoggedAtDebugLevel()
    {
        const auto [operation] = fetched<int>();
        startWatching();
        const PelkQobuzAccount written = loginAs(operation);
        const Log log(log4cplus::DEBUG_LOG_LEVEL);
        server().answer("/api/user/login", held("{}"));
        send(written);
        host().settle();
        const QString function =
            "bool QobuzAccountNode::processSetDataRequest(PelkQobuzAccount, CMSetDataRequest): "_s;
        QCOMPARE(log.debugs(),
                 (QStringList{"Qobuz account value: '{qobuzAccount: {operation: %1, password: "
                              "\"s3cret\", username: \"user@example.com\"}, type: 138}'"_s.arg(operation),
                              "Enter "_s + function, "Leave "_s + function}));
        for (const LogCapture::Record& record : log.records())
            QCOMPARE(record.file, "QobuzAccountNode.cpp"_s);
    }

    void aLoginIsInProgressBeforeAnythingIsDoneForIt()
    {
        BareWorker<WatchingRoot> bare(server().url("/api/"_s));
        QCOMPARE(loginState(), int(LoggedIn));
        const CMSetDataRequest request = requestFor(accountValue(login()));
        bare.root().watching = true;
        bare.worker()->setDataRequest(request);
        QVERIFY(wait(request.reply()));
        QVERIFY(!bare.root().accesses.isEmpty());
        for (const QString& access : qAsConst(bare.root().accesses))
            QVERIFY2(access.endsWith("in state 1"_l), qPrintable(access));
        // Written when the user before is forgotten and when the new one is known, and read once more for the
        // answer, all of it before the state is set.
        QCOMPARE(bare.root().accesses.filter("write session:qobuz"_s).size(), 2);
        QCOMPARE(bare.root().accesses.last(), "read session:qobuz in state 1"_s);
        QCOMPARE(loginState(), int(LoggedIn));
    }

    void anIncompleteLoginTouchesNothing()
    {
        BareWorker<WatchingRoot> bare(server().url("/api/"_s));
        const CMSetDataRequest request = requestFor(accountValue(account(PelkQobuzAccountOperation::Login)));
        bare.root().watching = true;
        bare.worker()->setDataRequest(request);
        QVERIFY(wait(request.reply()));
        QVERIFY(request.reply().error().isSet());
        QCOMPARE(bare.root().accesses, QStringList());
    }

    void aRemovalFollowsTheseSteps()
    {
        BareWorker<WatchingRoot> bare(server().url("/api/"_s));
        const Log log;
        const CMSetDataRequest request = requestFor(accountValue(account(PelkQobuzAccountOperation::Remove)));
        const Player player(PelkService_Qobuz_Id(), PelkPlayLogicState::Paused, [&] {
            QCOMPARE(bare.root().accesses, QStringList{"write session:qobuz in state 0"_s});
            QCOMPARE(log.infos(), (QStringList{"Account removed"_s,
                                               "We were playing qobuz when logged out - stopping player"_s}));
            QVERIFY(!request.reply().isFinished());
        });
        bare.root().watching = true;
        bare.worker()->setDataRequest(request);
        QVERIFY(wait(request.reply()));
        QCOMPARE(int(player.stops), 1);
        QCOMPARE(bare.root().accesses,
                 (QStringList{"write session:qobuz in state 0"_s, "read session:qobuz in state 0"_s}));
        QCOMPARE(loginState(), int(LoggedOut));
    }

    void answersAreTheseToTheLeaf_data()
    {
        Rows<int, QStringList> row;
        const auto lines = [](std::initializer_list<const char*> texts) {
            QStringList strings;
            for (const char* text : texts)
                strings << QString::fromLatin1(text);
            return strings;
        };
        row("a login", int(PelkQobuzAccountOperation::Login),
            lines({"credentialId: uint \"12\"", "deviceId: uint \"13\"", "userAuthToken: QString \"token-2\"",
                   "userId: uint \"4711\"", "userName: QString \"user@example.com\""}));
        row("a removal", int(PelkQobuzAccountOperation::Remove),
            lines({"credentialId: uint \"0\"", "deviceId: uint \"0\"", "userAuthToken: QString \"\"",
                   "userId: uint \"0\"", "userName: QString \"\""}));
    }
    void answersAreTheseToTheLeaf()
    {
        const auto [operation, session] = fetched<int, QStringList>();
        startWatching(true);
        const PelkQobuzAccount written = loginAs(operation);
        QStringList expected;
        for (const QString& line : session)
            expected << "/0/qobuzUserSession/"_s + line;
        expected << "/0/type: int \"%1\""_s.arg(int(PelkValue::QobuzUserSessionType));
        QStringList answer = variantLines(write(written).value);
        QCOMPARE(answer.takeFirst(), ": QVariantList of 2"_s);
        QCOMPARE(answer.takeLast(), "/1: bool \"false\""_s);
        QCOMPARE(answer, expected);
        // Reading the node returns the same.
        answer = variantLines(host().getData(accountPath(), {PelkRoles::Value()}).value);
        QCOMPARE(answer.takeFirst(), ": QVariantList of 1"_s);
        QCOMPARE(answer, expected);
    }

    void eachOperationSetsItsStateFromAnyState_data()
    {
        Rows<QList<int>, int> row; // 1: a login, -1: a login that is refused, 2: a removal
        row("a login after a refusal", QList<int>{-1, 1}, int(LoggedIn));
        row("a login after a login", QList<int>{1, 1}, int(LoggedIn));
        row("a login after a removal", QList<int>{1, 2, 1}, int(LoggedIn));
        row("a refusal after a login", QList<int>{1, -1}, int(Failed));
        row("a refusal after a removal", QList<int>{2, -1}, int(Failed));
        row("a removal after a refusal", QList<int>{-1, 2}, int(LoggedOut));
        row("a removal after a removal", QList<int>{2, 2}, int(LoggedOut));
        row("a removal while nobody is logged in", QList<int>{2}, int(LoggedOut));
    }
    void eachOperationSetsItsStateFromAnyState()
    {
        const auto [operations, state] = fetched<QList<int>, int>();
        start(false);
        for (const int operation : qAsConst(operations)) {
            answerLogin(loginAnswer, operation < 0 ? 401 : 200);
            const ModuleHost::Data data = write(operation == 2 ? account(2) : login());
            QVERIFY(data.finished);
            QCOMPARE(data.error.isSet(), operation < 0);
            host().settle();
        }
        QCOMPARE(loginState(), state);
        QCOMPARE(host().rows("qobuz:"_s, 0, 9).error.isSet(), state != LoggedIn);
    }

    void aKeyWithoutAValueCounts()
    {
        answerLogin("{}", 401);
        start(false);
        PelkQobuzAccount written = account(PelkQobuzAccountOperation::Login);
        written.insert(PelkQobuzAccount::Username(), QVariant());
        written.insert(PelkQobuzAccount::Password(), QVariant());
        QVERIFY(write(written).error.isSet());
        QCOMPARE(server().requestCount(), 1);
        host().settle();
        QCOMPARE(loginState(), int(Failed));
    }

    void answersAreFinishedOnTheWorkersThread_data()
    {
        Rows<QVariant> row;
        row("a login", accountValue(login()));
        row("an incomplete login", accountValue(account(1)));
        row("a removal", accountValue(account(2)));
        row("no account", QVariant(5));
    }
    void answersAreFinishedOnTheWorkersThread()
    {
        const auto [value] = fetched<QVariant>();
        start(true);
        const CMSetDataRequest request = requestFor(value);
        const auto thread = threadOf(request.reply());
        host().root().setDataRequest(request);
        QVERIFY(wait(request.reply()));
        host().settle();
        QCOMPARE(thread->load(), host().workerThread());
    }

    void creatingTheNodeIsLogged()
    {
        const Log log;
        startWatching(true);
        QCOMPARE(log.records().size(), 1);
        const LogCapture::Record record = log.records().at(0);
        QCOMPARE(record.level, log4cplus::TRACE_LOG_LEVEL);
        QCOMPARE(record.file, "QobuzAccountNode.cpp"_s);
        QCOMPARE(record.text, "creating Qobuz Account node"_s);
    }
};

QTEST_GUILESS_MAIN(AccountOperationsTest)
#include "account_operations_test.moc"
