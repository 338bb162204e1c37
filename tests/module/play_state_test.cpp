// How the module processes the player's play states: the reports to the service, the time played, and the
// notice about a restricted track.

#include "api/play/pelkplaylogicerrorname.h"
#include "api/types/pelknotificationdisplayitem.h"
#include "tests/module/decimals.h"
#include "tests/module/moduletest.h"
#include "tests/module/play_stories.h"

#include <QElapsedTimer>
#include <QUrlQuery>

#include <limits>

namespace {

/// Added to the time of elapsed timers, so that minutes of listening pass at once.
std::atomic<qint64> clockAheadMs{0};

constexpr qint64 nsPerSecond = 1000000000;

qint64 nowNs()
{
    return QDeadlineTimer::current(Qt::PreciseTimer).deadlineNSecs() + clockAheadMs * 1000000;
}

} // namespace

// The module uses these functions instead of Qt's, because symbols are looked up in the program first. Other
// clocks are not affected.
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

class PlayStateTest : public ModuleTest
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        clockAheadMs = 0;
        m_notices.clear();
        open();
        serve("{}");
        host().root().registerOperation(PelkNotificationDisplayOpenPath(),
                                        [this](const PelkHash& arguments, const CMReply<QVariant>& reply) {
                                            m_notices << arguments;
                                            reply.setValue(QVariant());
                                        });
        start();
        m_log = std::make_unique<Log>();
    }
    void cleanup()
    {
        m_log.reset();
        close();
    }

    void statesBecomeReports_data()
    {
        Rows<int> row;
        const auto all = stories();
        for (int i = 0; i < all.size(); ++i)
            row(all.at(i).name, i);
    }
    void statesBecomeReports()
    {
        const auto [row] = fetched<int>();
        const Story story = stories().at(row);
        for (const QString& text : QString::fromLatin1(story.steps).split(", "_l)) {
            const ModuleHost::Data data = change(stepFrom(text));
            // In any case, each change is acknowledged with an empty value.
            QVERIFY(succeeded(data));
            QVERIFY(data.value.isNull());
        }
        host().settle();
        QStringList expected = QString::fromLatin1(story.reports).split(", "_l, Qt::SkipEmptyParts);
        QCOMPARE(reportsSent(), expected);
        QVERIFY(server().waitForRequests(expected.size()));
        QStringList arrived = reportsOnTheWire();
        std::sort(expected.begin(), expected.end());
        std::sort(arrived.begin(), arrived.end());
        QCOMPARE(arrived, expected);
    }

    void theNumbersOfThePathAreReadAsDecimals_data()
    {
        Rows<int> row;
        for (const Decimal& decimal : decimals)
            row(decimal.text, decimal.number);
        row("5&id=6&format=6", 5); // the first of two counts
    }
    void theNumbersOfThePathAreReadAsDecimals()
    {
        const auto [number] = fetched<int>();
        const QByteArray text = QTest::currentDataTag();
        const QString report = "start %1 %2 0"_s;
        const QByteArray id = "format=6&id=" + text;
        const QByteArray format = "id=1&format=" + text;
        change({format, Playing});
        change({"id=1", Stopped});
        change({id, Playing});
        const QStringList expected{report.arg(1).arg(number), "end 1 5 0"_s, report.arg(number).arg(6)};
        QCOMPARE(reportsSent(), expected);
    }

    void anotherSoundQualityDoesNotAffectThePlayingTrack_data()
    {
        Rows<QString, int, QStringList> row;
        row("which stops", "id=1&format=6", Stopped, {"start 1 6 0"_s, "end 1 6 4"_s});
        row("which pauses", "id=1&format=6", Paused, {"start 1 6 0"_s});
        row("and another follows", "id=2&format=27", Playing,
            {"start 1 6 0"_s, "end 1 6 4"_s, "start 2 27 0"_s});
        row("and another without a format follows", "id=2", Opening, {"start 1 6 0"_s, "end 1 6 4"_s});
    }
    void anotherSoundQualityDoesNotAffectThePlayingTrack()
    {
        const auto [parameters, state, reports] = fetched<QString, int, QStringList>();
        change({"id=1&format=6", Playing, {}, 4100});
        for (const auto quality : {PelkQobuzSoundQuality::Hires192, PelkQobuzSoundQuality::Mp3}) {
            host().setQuality(quality);
            host().settle();
        }
        change({parameters.toLatin1(), state});
        QCOMPARE(reportsSent(), reports);
    }

    void aReportNamesTheUserAndIsNeverAPurchaseOrLocal()
    {
        change({"id=1&format=6", Playing, {}, 3100});
        QVERIFY(server().waitForRequests(1));
        change({"id=1&format=6", Stopped});
        QVERIFY(server().waitForRequests(2));
        for (const Request& request : server().requests()) {
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
        Rows<QString> row;
        row("another service", "other:track?id=1");
        row("a name that goes on", "qobuz2:track?id=1");
        row("no path", QString());
        row("the name somewhere else", "other:qobuz:track?id=1");
    }
    void aTrackOfAnotherServiceIsOnlyAcknowledged()
    {
        const auto [track] = fetched<QString>();
        change({"id=1&format=6", Playing, {}, 5100});
        const int linesBefore = m_log->traces().filter("Format "_s).size();
        const ModuleHost::Data data =
            host().setData("qobuz:stateChange?id=2&format=27&TrackRestrictedByRightHolders=1"_s,
                           PelkRoles::Value(), playState(Stopped, QString(), track));
        QVERIFY(succeeded(data));
        QVERIFY(data.value.isNull());
        QCOMPARE(m_log->traces().filter("Format "_s).size(), linesBefore);
        QVERIFY(m_log->warnings().isEmpty());
        // The track before is still the one that is reported.
        change({"id=1&format=6", Stopped});
        QCOMPARE(reportsSent(), (QStringList{"start 1 6 0"_s, "end 1 6 5"_s}));
    }

    void aValueThatIsNotARecordIsOnlyAcknowledged()
    {
        const ModuleHost::Data data =
            host().setData("qobuz:stateChange?id=1"_s, PelkRoles::Value(), "playing"_s);
        QVERIFY(succeeded(data));
        QVERIFY(reportsSent().isEmpty());
    }

    void theRoleOfAStateChangeDoesNotMatter()
    {
        QVERIFY(host()
                    .setData("qobuz:stateChange?id=1&format=6"_s, PelkRoles::PrePlay(), playState(Playing))
                    .finished);
        QVERIFY(host().setData("qobuz:stateChange?id=1&format=6"_s, QString(), playState(Stopped)).finished);
        QCOMPARE(reportsSent(), (QStringList{"start 1 6 0"_s, "end 1 6 0"_s}));
    }

    void theUsersErrorsHaveTheNamesOfTheTable()
    {
        QCOMPARE(PelkPlaylogicErrorName::PelkPlaylogicUserStop(), "userStop"_s);
        QCOMPARE(PelkPlaylogicErrorName::PelkPlaylogicUserSkip(), "userSkip"_s);
    }

    void theFormatIsLogged()
    {
        change({"id=1&format=27", Opening});
        change({"id=1", Opening, "streamFailed"_s});
        QCOMPARE(m_log->traces().filter(QRegularExpression("^Format "_s)),
                 (QStringList{"Format 27"_s, "Format 5"_s}));
    }

    void aRestrictedTrackIsReportedOnce()
    {
        const Step playing{"id=1&format=6&TrackRestrictedByRightHolders=1", Playing};
        change(playing);
        change(playing);
        change({"id=1&format=6&TrackRestrictedByRightHolders=1", Paused});
        QTRY_COMPARE(m_notices.size(), 1);
        QCOMPARE(m_log->warnings(), QStringList{"Track restricted by Right Holders"_s});
        QCOMPARE(reportsSent(), QStringList{"start 1 6 0"_s});
    }

    void aRestrictedTrackIsReportedAgainWhenItReturns()
    {
        change({"id=1&TrackRestrictedByRightHolders=1", Opening,
                "resolveFailed"_s}); // an error changes nothing here
        change({"id=2", Opening});
        change({"id=1&TrackRestrictedByRightHolders=1", Opening});
        change({"id=1&TrackRestrictedByRightHolders=1", Stopped});
        change({"id=1&TrackRestrictedByRightHolders=1", Opening});
        QTRY_COMPARE(m_notices.size(), 3);
        QCOMPARE(m_log->warnings().size(), 3);
    }

    void thePreviousTrackEndsBeforeARestrictedOneIsReported()
    {
        change({"id=1&format=6", Playing});
        m_log->clear();
        change({"id=2&format=6&TrackRestrictedByRightHolders=1", Playing});
        QStringList order;
        for (const LogCapture::Record& record : m_log->records()) {
            if (record.level == log4cplus::WARN_LOG_LEVEL || record.text.startsWith("Format "_l))
                order << record.text;
            else if (record.text.contains("QobuzApi::reportStreaming("_l))
                order << (record.text.contains("reportStreamingEnd"_l) ? "end"_s : "start"_s);
        }
        QCOMPARE(order,
                 (QStringList{"end"_s, "Track restricted by Right Holders"_s, "Format 6"_s, "start"_s}));
    }

    void aFailedReportIsNotRepeatedAndDelaysNothing()
    {
        server().setHandler([](const Request&) { return plain("no", 500); });
        QVERIFY(change({"id=1&format=6", Playing, {}, 4100}).finished);
        QVERIFY(server().waitForRequests(1));
        QVERIFY(change({"id=1&format=6", Stopped}).finished);
        QVERIFY(server().waitForRequests(2));
        QTRY_COMPARE(m_log->errors().size(), 2);
        QCOMPARE(server().requestCount(), 2);
    }

    void aChangeIsAcknowledgedBeforeItsReportIsAnswered()
    {
        server().answer("/api/track/reportStreamingStart", held("{}"));
        QVERIFY(change({"id=1&format=6", Playing}).finished);
        QVERIFY(server().waitForRequests(1));
        server().release();
    }

    void withoutAUserNoReportIsSent()
    {
        QVERIFY(write(account(PelkQobuzAccountOperation::Remove)).finished);
        const ModuleHost::Data data = change({"id=1&format=6", Playing});
        QVERIFY(succeeded(data));
        host().settle();
        QCOMPARE(server().requestCount(), 0);
    }

    void theRestrictionCountsByItsPresence_data()
    {
        Rows<QString, int> row;
        row("1", "id=1&TrackRestrictedByRightHolders=1", 1);
        row("0", "id=1&TrackRestrictedByRightHolders=0", 1);
        row("without a value", "id=1&TrackRestrictedByRightHolders=", 1);
        row("before the id", "TrackRestrictedByRightHolders=1&id=1", 1);
        row("absent", "id=1", 0);
        row("a track without an id is not new at first", "TrackRestrictedByRightHolders=1", 0);
        row("nor is track 0", "id=0&TrackRestrictedByRightHolders=1", 0);
        row("in another letter case", "id=1&trackrestrictedbyrightholders=1", 0);
        row("another restriction", "id=1&FormatRestrictedByFormatAvailability=1", 0);
    }
    void theRestrictionCountsByItsPresence()
    {
        const auto [parameters, notices] = fetched<QString, int>();
        change({parameters.toLatin1(), Opening});
        host().settle();
        QCoreApplication::processEvents();
        QCOMPARE(m_notices.size(), notices);
        QCOMPARE(m_log->warnings().size(), notices);
    }

    void aNoticeIsThisToTheLeaf()
    {
        change({"id=1&TrackRestrictedByRightHolders=1", Opening});
        QTRY_COMPARE(m_notices.size(), 1);
        const QByteArray context("void QobuzWorker::handlePlayStateChange(const CMSetDataRequest&)");
        const TrString title = translatable(context, "Track restriction");
        const TrString message =
            translatable(context, "The rights-holders have not made the streaming of this track possible");
        PelkNotificationDisplayItem item;
        item.setTitle(title);
        item.setMessage(message);
        PelkValue value;
        value.setNotificationDisplayItem(item);
        QCOMPARE(variantLines(m_notices.at(0).hash()),
                 variantLines(QVariantHash{{"value"_s, value.variant()}}));
        const PelkNotificationDisplayItem shown =
            PelkValue(PelkHash(m_notices.at(0).value("value"_s).toHash())).notificationDisplayItem();
        QVERIFY(shown.title() == title); // comment, count and arguments too
        QVERIFY(shown.message() == message);
    }

    void withoutADisplayForNoticesARestrictedTrackIsStillReported()
    {
        host().root().registerOperation(PelkNotificationDisplayOpenPath(), {});
        change({"id=1&format=6&TrackRestrictedByRightHolders=1", Playing});
        change({"id=1&format=6&TrackRestrictedByRightHolders=1", Stopped});
        QCOMPARE(reportsSent(), (QStringList{"start 1 6 0"_s, "end 1 6 0"_s}));
    }

    void dataWithoutAStateAreAStop()
    {
        change({"id=1&format=6", Playing});
        QVariantHash data = playState(Playing).toHash();
        data.remove(PelkPlayLogicData::State());
        QVERIFY(host().setData("qobuz:stateChange?id=1&format=6"_s, PelkRoles::Value(), data).finished);
        QCOMPARE(reportsSent(), (QStringList{"start 1 6 0"_s, "end 1 6 0"_s}));
    }

    void aChangeLeavesTheseRecordsAndIsAcknowledgedLast()
    {
        const CMSetDataRequest request(
            CMPath("qobuz:stateChange?id=1&format=27&TrackRestrictedByRightHolders=1"_s), PelkRoles::Value(),
            playState(Playing));
        m_log->watch(request.reply());
        host().root().setDataRequest(request);
        QVERIFY(wait(request.reply()));
        host().settle();
        const QString value =
            "(const CMSetDataRequest&): {state: 2, trackRoles: {path: \"qobuz:track?id=1\"}}"_s;
        QCOMPARE(
            m_log->lines({"QobuzWorker.cpp"_s, QString()}),
            (QStringList{"TRACE QobuzWorker.cpp: Enter virtual void QobuzWorker::setDataRequest"_s + value,
                         "TRACE QobuzWorker.cpp: Enter void QobuzWorker::on_setData_invoke"_s + value,
                         "WARN QobuzWorker.cpp: Track restricted by Right Holders"_s,
                         "TRACE QobuzWorker.cpp: Format 27"_s, "OFF : the reply"_s}));
        QCOMPARE(m_log->order({"Format 27"_s, "Leave void QobuzHttpInterface::get"_s}),
                 (QStringList{"Format 27"_s, "Leave void QobuzHttpInterface::get"_s, "the reply"_s}));
    }

private:
    /// One state change, and how long that state lasts.
    struct Step
    {
        QByteArray parameters; // of the state-change path
        int state;
        QString error = {};
        int lastsMs = 0;
    };

    static Step stepFrom(const QString& text)
    {
        static const QRegularExpression form(R"(^(\S+) (\S+?)(?:!(\w+))?(?: (\d+))?$)"_s);
        const QRegularExpressionMatch match = form.match(text);
        const QStringList states{"stopped"_s, "opening"_s, "playing"_s, "paused"_s};
        const int named = states.indexOf(match.captured(2));
        QString parameters = match.captured(1);
        parameters.replace(QRegularExpression("^(-?\\d+)/(\\d+)$"_s), "id=\\1&format=\\2"_s);
        return {parameters.toLatin1(), named < 0 ? match.captured(2).toInt() : named, match.captured(3),
                match.captured(4).toInt()};
    }
    ModuleHost::Data change(const Step& step)
    {
        ModuleHost::Data data = host().setData("qobuz:stateChange?"_s + QString::fromLatin1(step.parameters),
                                               PelkRoles::Value(), playState(step.state, step.error));
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
            const int at = record.text.indexOf(": track/reportStreaming"_l);
            if (at < 0 || !record.text.contains("QobuzHttpInterface::get("_l) ||
                !record.text.startsWith("Enter"_l))
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
        for (const Request& request : server().requests())
            reports << reportOf(request.path, request.queryValue("track_id"), request.queryValue("format_id"),
                                request.queryValue("duration"));
        return reports;
    }
    std::unique_ptr<Log> m_log;
    QList<PelkHash> m_notices; // the arguments
};

QTEST_GUILESS_MAIN(PlayStateTest)
#include "play_state_test.moc"
