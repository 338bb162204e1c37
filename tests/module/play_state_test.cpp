// What the module makes of the play states that the player sends it: the reports to the service, the time
// listened to, and the notice about a restricted track.

#include "api/play/pelkplaylogicdata.h"
#include "api/play/pelkplaylogicerrorname.h"
#include "api/types/pelknotificationdisplayitem.h"
#include "api/types/pelkqobuzaccount.h"
#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"
#include "tests/module/play_stories.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/ownprocess.h"
#include "tests/support/testhttpserver.h"

#include <QElapsedTimer>
#include <QUrlQuery>
#include <QtTest>

#include <atomic>
#include <memory>

namespace {

/// What is added to the time that elapsed timers see, so that minutes of listening pass at once.
std::atomic<qint64> clockAheadMs{0};

constexpr qint64 nsPerSecond = 1000000000;

qint64 nowNs()
{
    return QDeadlineTimer::current(Qt::PreciseTimer).deadlineNSecs() + clockAheadMs * 1000000;
}

} // namespace

// The module takes these from the program, not from Qt's library, since the program comes first when symbols
// are looked up. Other clocks go on as they are.
void QElapsedTimer::start() noexcept
{
    const qint64 now = nowNs();
    t1 = now / nsPerSecond;
    t2 = now % nsPerSecond;
}

qint64 QElapsedTimer::elapsed() const noexcept
{
    return (nowNs() - t1 * nsPerSecond - t2) / 1000000;
}

class PlayStateTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<ModuleHost> m_host;
    std::unique_ptr<LogCapture> m_log;
    QList<QPair<PelkNotificationDisplayItem, QVariantHash>> m_notices;

    ModuleHost& host() { return *m_host; }

    QVariant dataOf(int state, const QString& error,
                    const QString& track = QStringLiteral("qobuz:track?id=1"))
    {
        PelkRoles row;
        row.setPath(CMPath(track));
        PelkPlayLogicData data;
        data.setTrackRoles(row);
        data.setState(static_cast<PelkPlayLogicState::Enum>(state));
        data.setError(error);
        return data.variant();
    }

    ModuleHost::Data change(const Step& step)
    {
        ModuleHost::Data data =
            host().setData(QStringLiteral("qobuz:stateChange?") + QString::fromLatin1(step.parameters),
                           PelkRoles::Value(), dataOf(step.state, QString::fromLatin1(step.error)));
        clockAheadMs += step.lastsMs;
        return data;
    }

    static QString reportOf(const QByteArray& path, const QByteArray& track, const QByteArray& format,
                            const QByteArray& duration)
    {
        const QByteArray kind = path.endsWith("reportStreamingStart") ? "start"
                                : path.endsWith("reportStreamingEnd") ? "end"
                                                                      : path;
        return QString::fromLatin1(kind + ' ' + track + ' ' + format + ' ' + duration);
    }

    /// The reports as they were handed to the transport, in order. On the wire two that go out together may
    /// overtake each other.
    QStringList reportsSent() const
    {
        QStringList reports;
        for (const LogCapture::Record& record : m_log->records()) {
            const int at = record.text.indexOf(QLatin1String(": track/reportStreaming"));
            if (at < 0 || !record.text.contains(QLatin1String("QobuzHttpInterface::get(")) ||
                !record.text.startsWith(QLatin1String("Enter")))
                continue;
            const QUrl url(record.text.mid(at + 2));
            const QUrlQuery query(url);
            const auto item = [&query](const char* name) {
                return query.queryItemValue(QString::fromLatin1(name)).toLatin1();
            };
            reports << reportOf(url.path().toLatin1(), item("track_id"), item("format_id"), item("duration"));
        }
        return reports;
    }

    QStringList reportsOnTheWire() const
    {
        QStringList reports;
        for (const TestHttpServer::Request& request : m_server->requests())
            reports << reportOf(request.path, request.queryValue("track_id"), request.queryValue("format_id"),
                                request.queryValue("duration"));
        return reports;
    }

private Q_SLOTS:
    void init()
    {
        clockAheadMs = 0;
        m_notices.clear();
        m_server = std::make_unique<TestHttpServer>();
        m_server->setHandler(
            [](const TestHttpServer::Request&) { return TestHttpServer::json(R"({"status":"success"})"); });
        m_host = std::make_unique<ModuleHost>(m_server->url());
        m_host->setSession();
        m_host->root().registerOperation(
            PelkNotificationDisplayOpenPath(),
            [this](const PelkHash& arguments, const CMReply<QVariant>& reply) {
                const PelkValue value(PelkHash(arguments.value(QStringLiteral("value")).toHash()));
                m_notices.append({value.notificationDisplayItem(), arguments.hash()});
                reply.setValue(QVariant());
            });
        m_host->start();
        m_log = std::make_unique<LogCapture>(QStringLiteral("Qobuz"));
    }
    void cleanup()
    {
        m_log.reset();
        m_host.reset();
        m_server.reset();
    }

    void statesBecomeReports_data()
    {
        QTest::addColumn<int>("row");
        const auto all = stories();
        for (int i = 0; i < all.size(); ++i)
            QTest::newRow(all.at(i).name) << i;
    }
    void statesBecomeReports()
    {
        QFETCH(int, row);
        const Story story = stories().at(row);
        for (const Step& step : story.steps) {
            const ModuleHost::Data data = change(step);
            // Whatever comes of it, each change is acknowledged with an empty value.
            QVERIFY(data.finished);
            QVERIFY(!data.error.isSet());
            QVERIFY(data.value.isNull());
        }
        host().settle();
        QCOMPARE(reportsSent(), story.reports);
        QVERIFY(m_server->waitForRequests(story.reports.size()));
        QStringList expected = story.reports;
        QStringList arrived = reportsOnTheWire();
        std::sort(expected.begin(), expected.end());
        std::sort(arrived.begin(), arrived.end());
        QCOMPARE(arrived, expected);
    }

    void aReportSaysWhoListensAndIsNeverAPurchaseOrLocal()
    {
        change({"id=1&format=6", Playing, "", 3100});
        QVERIFY(m_server->waitForRequests(1));
        change({"id=1&format=6", Stopped});
        QVERIFY(m_server->waitForRequests(2));
        for (const TestHttpServer::Request& request : m_server->requests()) {
            QList<QByteArray> names;
            for (const auto& item : request.queryItems())
                names << item.first;
            QCOMPARE(names, (QList<QByteArray>{"user_id", "date", "duration", "online", "intent", "sample",
                                               "track_id", "purchase", "local", "format_id", "device_id",
                                               "credential_id"}));
            QCOMPARE(request.queryValue("user_id"), QByteArray("77"));
            QCOMPARE(request.queryValue("purchase"), QByteArray("false"));
            QCOMPARE(request.queryValue("local"), QByteArray("false"));
            QCOMPARE(request.queryValue("device_id"), QByteArray("99"));
            QCOMPARE(request.queryValue("credential_id"), QByteArray("88"));
            QCOMPARE(request.header("X-User-Auth-Token"), QByteArray("token-1"));
        }
    }

    void aTrackOfAnotherServiceIsOnlyAcknowledged_data()
    {
        QTest::addColumn<QString>("track");
        QTest::newRow("another service") << "other:track?id=1";
        QTest::newRow("a name that goes on") << "qobuz2:track?id=1";
        QTest::newRow("no path") << QString();
        QTest::newRow("the name somewhere else") << "other:qobuz:track?id=1";
    }
    void aTrackOfAnotherServiceIsOnlyAcknowledged()
    {
        QFETCH(QString, track);
        change({"id=1&format=6", Playing, "", 5100});
        const int linesBefore =
            m_log->texts(log4cplus::TRACE_LOG_LEVEL).filter(QStringLiteral("Format ")).size();
        const ModuleHost::Data data =
            host().setData(QStringLiteral("qobuz:stateChange?id=2&format=27&TrackRestrictedByRightHolders=1"),
                           PelkRoles::Value(), dataOf(Stopped, QString(), track));
        QVERIFY(data.finished);
        QVERIFY(!data.error.isSet());
        QVERIFY(data.value.isNull());
        QCOMPARE(m_log->texts(log4cplus::TRACE_LOG_LEVEL).filter(QStringLiteral("Format ")).size(),
                 linesBefore);
        QVERIFY(m_log->texts(log4cplus::WARN_LOG_LEVEL).isEmpty());
        // The track before is still the one that is reported.
        change({"id=1&format=6", Stopped});
        QCOMPARE(reportsSent(), (QStringList{QStringLiteral("start 1 6 0"), QStringLiteral("end 1 6 5")}));
    }

    void aValueThatIsNoRecordIsOnlyAcknowledged()
    {
        const ModuleHost::Data data = host().setData(QStringLiteral("qobuz:stateChange?id=1"),
                                                     PelkRoles::Value(), QStringLiteral("playing"));
        QVERIFY(data.finished);
        QVERIFY(!data.error.isSet());
        QVERIFY(reportsSent().isEmpty());
    }

    void theRoleOfAStateChangeDoesNotMatter()
    {
        QVERIFY(host()
                    .setData(QStringLiteral("qobuz:stateChange?id=1&format=6"), PelkRoles::PrePlay(),
                             dataOf(Playing, QString()))
                    .finished);
        QVERIFY(host()
                    .setData(QStringLiteral("qobuz:stateChange?id=1&format=6"), QString(),
                             dataOf(Stopped, QString()))
                    .finished);
        QCOMPARE(reportsSent(), (QStringList{QStringLiteral("start 1 6 0"), QStringLiteral("end 1 6 0")}));
    }

    void theUsersErrorsHaveTheNamesOfTheTable()
    {
        QCOMPARE(PelkPlaylogicErrorName::PelkPlaylogicUserStop(), QString::fromLatin1(userStop));
        QCOMPARE(PelkPlaylogicErrorName::PelkPlaylogicUserSkip(), QString::fromLatin1(userSkip));
    }

    void theFormatIsLogged()
    {
        change({"id=1&format=27", Opening});
        change({"id=1", Opening, "streamFailed"});
        QCOMPARE(
            m_log->texts(log4cplus::TRACE_LOG_LEVEL).filter(QRegularExpression(QStringLiteral("^Format "))),
            (QStringList{QStringLiteral("Format 27"), QStringLiteral("Format 5")}));
    }

    void aRestrictedTrackIsToldOnce()
    {
        const Step playing{"id=1&format=6&TrackRestrictedByRightHolders=1", Playing};
        change(playing);
        change(playing);
        change({"id=1&format=6&TrackRestrictedByRightHolders=1", Paused});
        QTRY_COMPARE(m_notices.size(), 1);
        const PelkNotificationDisplayItem item = m_notices.at(0).first;
        const QByteArray context("void QobuzWorker::handlePlayStateChange(const CMSetDataRequest&)");
        QCOMPARE(item.title().source(), QByteArray("Track restriction"));
        QCOMPARE(item.title().context(), context);
        QCOMPARE(item.message().source(),
                 QByteArray("The rights-holders have not made the streaming of this track possible"));
        QCOMPARE(item.message().context(), context);
        QCOMPARE(m_notices.at(0).second.size(), 1);
        QCOMPARE(m_log->texts(log4cplus::WARN_LOG_LEVEL),
                 QStringList{QStringLiteral("Track restricted by Right Holders")});
        QCOMPARE(reportsSent(), QStringList{QStringLiteral("start 1 6 0")});
    }

    void aRestrictedTrackIsToldAgainWhenItComesBack()
    {
        change({"id=1&TrackRestrictedByRightHolders=1", Opening,
                "resolveFailed"}); // an error changes nothing here
        change({"id=2", Opening});
        change({"id=1&TrackRestrictedByRightHolders=1", Opening});
        change({"id=1&TrackRestrictedByRightHolders=1", Stopped});
        change({"id=1&TrackRestrictedByRightHolders=1", Opening});
        QTRY_COMPARE(m_notices.size(), 3);
        QCOMPARE(m_log->texts(log4cplus::WARN_LOG_LEVEL).size(), 3);
    }

    void theTrackBeforeEndsBeforeARestrictedOneIsTold()
    {
        change({"id=1&format=6", Playing});
        m_log->clear();
        change({"id=2&format=6&TrackRestrictedByRightHolders=1", Playing});
        QStringList order;
        for (const LogCapture::Record& record : m_log->records()) {
            if (record.level == log4cplus::WARN_LOG_LEVEL || record.text.startsWith(QLatin1String("Format ")))
                order << record.text;
            else if (record.text.contains(QLatin1String("QobuzApi::reportStreaming(")))
                order << (record.text.contains(QLatin1String("reportStreamingEnd"))
                              ? QStringLiteral("end")
                              : QStringLiteral("start"));
        }
        QCOMPARE(order,
                 (QStringList{QStringLiteral("end"), QStringLiteral("Track restricted by Right Holders"),
                              QStringLiteral("Format 6"), QStringLiteral("start")}));
    }

    void otherRestrictionsAreNoNews()
    {
        change({"id=1&FormatRestrictedByFormatAvailability=1&trackrestrictedbyrightholders=1", Playing});
        host().settle();
        QCoreApplication::processEvents();
        QVERIFY(m_notices.isEmpty());
        QVERIFY(m_log->texts(log4cplus::WARN_LOG_LEVEL).isEmpty());
    }

    void anotherSoundQualityDoesNotTouchTheTrackThatPlays()
    {
        change({"id=1&format=6", Playing, "", 4100});
        host().setQuality(PelkQobuzSoundQuality::Hires192);
        host().settle();
        change({"id=1&format=6", Stopped});
        QCOMPARE(reportsSent(), (QStringList{QStringLiteral("start 1 6 0"), QStringLiteral("end 1 6 4")}));
    }

    void aReportThatFailsIsNotRepeatedAndHoldsNothingUp()
    {
        m_server->setHandler([](const TestHttpServer::Request&) { return TestHttpServer::text("no", 500); });
        QVERIFY(change({"id=1&format=6", Playing, "", 4100}).finished);
        QVERIFY(m_server->waitForRequests(1));
        QVERIFY(change({"id=1&format=6", Stopped}).finished);
        QVERIFY(m_server->waitForRequests(2));
        QTRY_COMPARE(m_log->texts(log4cplus::ERROR_LOG_LEVEL).size(), 2);
        QCOMPARE(m_server->requestCount(), 2);
    }

    void aChangeIsAcknowledgedBeforeItsReportIsAnswered()
    {
        TestHttpServer::Response held = TestHttpServer::json("{}");
        held.hold = true;
        m_server->answer("/track/reportStreamingStart", held);
        QVERIFY(change({"id=1&format=6", Playing}).finished);
        QVERIFY(m_server->waitForRequests(1));
        m_server->release();
    }

    void whenTheUserIsGoneNothingIsSent()
    {
        PelkQobuzAccount account;
        account.setOperation(PelkQobuzAccountOperation::Remove);
        PelkValue value;
        value.setQobuzAccount(account);
        QVERIFY(
            host().setData(QStringLiteral("account:qobuz"), PelkRoles::Value(), value.variant()).finished);
        const ModuleHost::Data data = change({"id=1&format=6", Playing});
        QVERIFY(data.finished);
        QVERIFY(!data.error.isSet());
        QCOMPARE(m_server->requestCount(), 0);
    }

    void aRequestWhoseReplyIsMissingIsAnAssertion_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("a track of this service") << "qobuz:track?id=1";
        QTest::newRow("a track of another service") << "other:track?id=1";
    }
    void aRequestWhoseReplyIsMissingIsAnAssertion()
    {
        QFETCH(QString, name);
        const OwnProcess process = OwnProcess::play(name);
        QVERIFY2(process.errors.contains("ASSERT: \"d()\""), process.errors.constData());
        QVERIFY(process.crashed);
    }
};

namespace {

/// A request with everything but a reply.
class RequestWithoutReply : public CMSetDataRequest
{
public:
    RequestWithoutReply(const CMPath& path, const QVariant& value)
    {
        struct Base : CMRequest
        {
            Base(const CMPath& path, const QVariant& value)
                : CMRequest(make(path, value))
            {
            }
            static Data* make(const CMPath& path, const QVariant& value)
            {
                auto* data = new Data;
                data->kind = SetData;
                data->path = path;
                data->value = value;
                return data;
            }
        };
        static_cast<CMRequest&>(*this) = Base(path, value);
    }
};

int play(const QString& track)
{
    ModuleHost host(QStringLiteral("http://127.0.0.1:9/"));
    host.setSession();
    host.start();
    PelkRoles row;
    row.setPath(CMPath(track));
    PelkPlayLogicData data;
    data.setTrackRoles(row);
    data.setState(PelkPlayLogicState::Opening);
    host.worker()->setDataRequest(
        RequestWithoutReply(CMPath(QStringLiteral("qobuz:stateChange?id=1")), data.variant()));
    host.settle();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    return OwnProcess::main<PlayStateTest>(argc, argv, play);
}

#include "play_state_test.moc"
