#pragma once

#include "api/http/httpclient.h"
#include "api/play/pelkplaylogicdata.h"
#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"
#include "tests/module/samples.h"
#include "tests/support/logcapture.h"
#include "tests/support/rows.h"
#include "tests/support/usersession.h"
#include "tests/support/variantlines.h"

#include <atomic>
#include <memory>

using Request = TestHttpServer::Request;
using Response = TestHttpServer::Response;

Q_DECLARE_METATYPE(Response)

/// The module's log records and the finished replies, in one list.
class Log : public LogCapture
{
public:
    explicit Log(log4cplus::LogLevel level = log4cplus::TRACE_LOG_LEVEL)
        : LogCapture(QStringLiteral("Qobuz"), level)
    {
    }
    QStringList traces() const { return texts(log4cplus::TRACE_LOG_LEVEL); }
    QStringList debugs() const { return texts(log4cplus::DEBUG_LOG_LEVEL); }
    QStringList infos() const { return texts(log4cplus::INFO_LOG_LEVEL); }
    QStringList warnings() const { return texts(log4cplus::WARN_LOG_LEVEL); }
    QStringList errors() const { return texts(log4cplus::ERROR_LOG_LEVEL); }

    /// "LEVEL file: text" a record; of some source files only, if any are named.
    QStringList lines(const QStringList& files = {}) const
    {
        QStringList found;
        for (const Record& record : records())
            if (files.isEmpty() || files.contains(record.file))
                found << QString::fromStdString(log4cplus::getLogLevelManager().toString(record.level)) +
                             QLatin1Char(' ') + record.file + QStringLiteral(": ") + record.text;
        return found;
    }
    /// Records when a reply finishes, as "the reply" among the records.
    void watch(const CMVoidReply& reply) const
    {
        reply.addWatcher([note = noter()](const CMVoidReply&) { note(QStringLiteral("the reply")); },
                         Qt::DirectConnection);
    }
    /// The records that contain one of the words, and the reply, in order.
    QStringList order(const QStringList& words) const
    {
        QStringList found;
        for (const Record& record : records())
            for (const QString& word : words + QStringList{QStringLiteral("the reply")})
                if (record.text.contains(word)) {
                    found << word;
                    break;
                }
        return found;
    }
};

/// Base of the module's tests: the real module with a scripted server, whose API is below "/api/". Nothing
/// runs before start(), so that values can be set.
class ModuleTest : public QObject
{
public:
    void open()
    {
        m_server = std::make_unique<TestHttpServer>();
        m_host = std::make_unique<ModuleHost>(server().url(QStringLiteral("/api/")));
    }
    /// Starts the module, with a saved user or with the host's present values.
    void start(bool withUser = true)
    {
        if (withUser)
            host().setSession();
        host().start();
    }
    void close()
    {
        m_host.reset();
        m_server.reset();
    }
    TestHttpServer& server() const { return *m_server; }
    ModuleHost& host() const { return *m_host; }
    void dropHost() { m_host.reset(); }
    static bool wait(const CMVoidReply& reply) { return ModuleHost::wait(reply); }

    static Response json(const QByteArray& body, int status = 200)
    {
        return TestHttpServer::json(body, status);
    }
    static Response plain(const QByteArray& body, int status = 200)
    {
        return TestHttpServer::text(body, status);
    }
    static Response held(const QByteArray& body, int status = 200)
    {
        Response response = json(body, status);
        response.hold = true;
        return response;
    }
    /// Sends this response to every further request, and forgets the received ones.
    void serve(const Response& response)
    {
        server().setHandler([response](const Request&) { return response; });
        server().clearRequests();
    }
    void serve(const QByteArray& body, int status = 200) { serve(json(body, status)); }
    /// The targets of the requests received.
    QByteArrayList targets() const
    {
        QByteArrayList found;
        for (const Request& request : server().requests())
            found << request.target;
        return found;
    }
    ModuleHost::Rows rows(const QString& path, int first = 0, int last = 9)
    {
        return host().rows(path, first, last);
    }
    ModuleHost::Data resolve(const QString& path = QStringLiteral("qobuz:preplay?id=12345"),
                             const QVariant& row = QVariantHash())
    {
        return host().setData(path, PelkRoles::PrePlay(), row);
    }
    ModuleHost::Data write(const PelkQobuzAccount& account)
    {
        return host().setData(accountPath(), PelkRoles::Value(), accountValue(account));
    }
    /// Reports a change of a track's play state, as the player does.
    ModuleHost::Data report(PelkPlayLogicState::Enum state, int format = 6)
    {
        return host().setData(QStringLiteral("qobuz:stateChange?id=12345&format=%1").arg(format),
                              PelkRoles::Value(), playState(state));
    }
    static QVariant playState(int state, const QString& error = QString(),
                              const QString& track = QStringLiteral("qobuz:track?id=1"))
    {
        PelkRoles row;
        row.setPath(CMPath(track));
        PelkPlayLogicData data;
        data.setTrackRoles(row);
        data.setState(static_cast<PelkPlayLogicState::Enum>(state));
        if (!error.isEmpty())
            data.setError(error);
        return data.variant();
    }

    template <typename Answer>
    static bool succeeded(const Answer& answer)
    {
        return answer.finished && !answer.error.isSet();
    }

    /// Waits until the module has no pending request. A module that is stopped before that keeps its requests
    /// for ever, and the program never becomes idle again.
    static bool isIdle() { return HttpClient::waitForIdle(patienceMs); }
    /// The number of requests received when none is pending any more, so that repeated requests count; -1 if
    /// that takes too long.
    int requestsInAll() const { return isIdle() ? server().requestCount() : -1; }
    /// The thread that finishes a reply; read it when the module's thread is idle.
    static std::shared_ptr<std::atomic<QThread*>> threadOf(const CMVoidReply& reply)
    {
        const auto thread = std::make_shared<std::atomic<QThread*>>(nullptr);
        reply.addWatcher([thread](const CMVoidReply&) { *thread = QThread::currentThread(); },
                         Qt::DirectConnection);
        return thread;
    }
    static TrString translatable(const QByteArray& context, const QByteArray& source)
    {
        return TrString(TrCharData{context, source}, {});
    }

private:
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<ModuleHost> m_host;
};
