#pragma once

#include "api/types/pelkroles.h"
#include "sandbox/Sandbox.h"
#include "sandbox/service/Records.h"
#include "tests/faults/endpoints.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"

#include <QHash>

#include <atomic>
#include <httplib.h>
#include <memory>

using sandbox::Json;

/// A request that is under way. Holds what tells how often it was answered.
struct Pending
{
    CMVoidReply reply;
    std::shared_ptr<std::atomic<int>> answers;
};

/// What a request came to. Two that came to the same are equal.
struct Outcome
{
    bool finished = false;
    int answers = 0; ///< how often the reply finished
    CMError error;
    Json records = Json::array(); ///< the rows; or the resolved row; or the user session; empty for a report
    int count = 0;                ///< of all rows
    int loginState = -1;          ///< after a login
    QStringList errorLines;       ///< the module's log records at error level meanwhile
};

/// The module, logged in to a sandbox whose answers can be made wrong.
class Stage
{
public:
    static constexpr int rowsAsked = 3;

    Stage();
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    /// False when the sandbox could not be started or the login failed; nothing else works then.
    bool isReady() const { return m_ready; }
    ModuleHost& host() { return *m_host; }
    int port() const { return m_sandbox->port(); }

    /// Switches a fault on for a call of the service, or "*", until disarm(). With the kind "refuse" nothing
    /// listens at all.
    bool arm(const char* call, const Json& fault);
    bool disarm();
    /// What the sandbox says at a path below /control/.
    Json control(const char* path);
    bool expireTokens();

    Pending send(const Endpoint& endpoint);
    /// Waits for the answer and for the end of all calls, at most so long.
    Outcome outcome(const Endpoint& endpoint, const Pending& pending, int waitMs);
    /// Sends and waits, with this fault if one is given. What the player says before and after a report goes
    /// without it. False in `armed` when the sandbox does not know the fault.
    Outcome run(const Endpoint& endpoint, const Json& fault = Json(), Pending* sent = nullptr,
                bool* armed = nullptr);

    /// The set-data request that tells of a state of the track.
    Pending changeState(const QString& trackId, int state);
    const QString& trackId() const { return m_trackId; }

    /// What the module has written to its log at error level since the last time that this was asked.
    QStringList takeErrorLines();

    /// A variant as JSON, a text that is translated as its source.
    static Json json(const QVariant& value);
    static const QStringList& roles();

private:
    void startSandbox(int port);
    bool post(const char* path, const Json& body);
    QString pathOf(const Endpoint& endpoint) const;
    Pending watched(const CMVoidReply& reply) const;
    Pending sendLogin();

    std::unique_ptr<sandbox::Sandbox> m_sandbox;
    std::unique_ptr<httplib::Client> m_http;
    std::unique_ptr<ModuleHost> m_host;
    LogCapture m_log;
    QHash<QString, QString> m_paths; // of an album, an artist and a playlist of the catalogue
    QVariant m_track;                // a row
    QString m_trackId;
    bool m_ready = false;
};
