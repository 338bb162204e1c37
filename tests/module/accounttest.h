#pragma once

#include "api/core/model/cmvalueitem.h"
#include "api/play/playlogicinterface.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkqobuzloginstate.h"
#include "tests/module/moduletest.h"
#include "tests/support/bareworker.h"

enum LoginState
{
    LoggedIn = 0,
    InProgress = 1,
    LoggedOut = 2,
    Failed = 3
};

inline const char* const loginAnswer =
    R"({"user":{"id":4711,"credential":{"id":12},"device":{"id":13}},"user_auth_token":"token-2"})";
inline const QString savedUser = "user@example.com|token-1|77|88|99"_s;
inline const QString newUser = "user@example.com|token-2|4711|12|13"_s;
inline const QString nobody = "||0|0|0"_s;

inline int loginState()
{
    return int(CMRoot()->getValue(PelkQobuzLoginStatePath()).qobuzLoginState().state());
}

/// A root that notes the login state at each read and each write of another value.
class WatchingRoot : public CMRootWorker
{
public:
    PelkValue getValue(const CMPath& path) override
    {
        if (watching && !(path == PelkQobuzLoginStatePath()))
            accesses << "read %1 in state %2"_s.arg(path.toString()).arg(loginState());
        return CMRootWorker::getValue(path);
    }
    void setValue(const CMPath& path, const PelkValue& value, const CMReply<QVariant>& reply) override
    {
        if (watching)
            accesses << "write %1 in state %2"_s.arg(path.toString()).arg(loginState());
        CMRootWorker::setValue(path, value, reply);
    }

    bool watching = false;
    QStringList accesses;

private:
    int loginState()
    {
        return int(CMRootWorker::getValue(PelkQobuzLoginStatePath()).qobuzLoginState().state());
    }
};

/// A player that plays what the test says, and counts its stops. The test can observe the state at each stop.
class Player : public PlayLogicInterface
{
public:
    Player(
        const QString& service, PelkPlayLogicState::Enum state, std::function<void()> onStop = [] {})
        : m_onStop(std::move(onStop))
    {
        PelkMetaData metaData;
        metaData.setServiceID(service);
        PelkMediaData mediaData;
        mediaData.setMetaData(metaData);
        PelkRoles row;
        row.setMediaData(mediaData);
        m_data.setTrackRoles(row);
        m_data.setState(state);
    }
    PelkPlayLogicData data() const override { return m_data; }
    CMVoidReply stop(PelkPlayLogicStopReason::Enum reason) override
    {
        ++stops;
        lastReason = int(reason);
        m_onStop();
        return CMReply<QVariant>::create(); // and nobody finishes it
    }

    std::atomic<int> stops{0};
    std::atomic<int> lastReason{-1};

private:
    std::function<void()> m_onStop;
    PelkPlayLogicData m_data;
};

/// Base of the tests of the account node: a service that accepts the login, and the login states that
/// subscribers see.
class AccountFixture : public ModuleTest
{
protected:
    void openAccount()
    {
        open();
        answerLogin(loginAnswer);
    }
    void closeAccount()
    {
        m_stateItem.reset();
        close();
    }
    void startWatching(bool loggedIn = false)
    {
        start(loggedIn);
        m_published.clear();
        m_stateItem = std::make_unique<CMValueItem>(nullptr, PelkQobuzLoginStatePath());
        connect(m_stateItem.get(), &CMValueItem::changed, this,
                [this](const PelkValue& value) { m_published << int(value.qobuzLoginState().state()); });
    }
    static void compareError(const CMError& error, const TrString& message)
    {
        QCOMPARE(variantLines(error.variant()), variantLines(CMError(message).variant()));
        QVERIFY(error.message() == message); // comment, count and arguments too
    }
    static CMSetDataRequest requestFor(const QVariant& value)
    {
        return CMSetDataRequest(PelkQobuzConfigureAccountPath(), PelkRoles::Value(), value);
    }
    CMSetDataRequest send(const PelkQobuzAccount& account)
    {
        const CMSetDataRequest request = requestFor(accountValue(account));
        host().root().setDataRequest(request);
        return request;
    }
    void answerLogin(const QByteArray& body, int status = 200)
    {
        server().answer("/api/user/login", json(body, status));
    }
    static PelkQobuzAccount loginAs(int operation)
    {
        PelkQobuzAccount written = login();
        written.setOperation(static_cast<PelkQobuzAccountOperation::Enum>(operation));
        return written;
    }

    std::unique_ptr<CMValueItem> m_stateItem;
    QList<int> m_published; // the login states that subscribers are told
};
