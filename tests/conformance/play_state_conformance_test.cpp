// Play states: what counts as a new track, what a notice carries to the leaf, and what is written about a
// change.

#include "api/play/pelkplaylogicdata.h"
#include "api/types/playerpaths.h"
#include "tests/module/play_stories.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/testhttpserver.h"
#include "tests/support/variantlines.h"

#include <QtTest>

#include <memory>

class PlayStateConformanceTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<ModuleHost> m_host;
    QList<PelkHash> m_notices; // the arguments
    ModuleHost& host() { return *m_host; }

    void start(bool withDisplay = true)
    {
        host().setSession();
        if (withDisplay)
            host().root().registerOperation(
                PelkNotificationDisplayOpenPath(),
                [this](const PelkHash& arguments, const CMReply<QVariant>& reply) {
                    m_notices << arguments;
                    reply.setValue(QVariant());
                });
        host().start();
    }

    static PelkPlayLogicData dataOf(int state)
    {
        PelkRoles row;
        row.setPath(CMPath(QStringLiteral("qobuz:track?id=1")));
        PelkPlayLogicData data;
        data.setTrackRoles(row);
        data.setState(static_cast<PelkPlayLogicState::Enum>(state));
        return data;
    }

    void change(const QString& parameters, const PelkPlayLogicData& data)
    {
        const ModuleHost::Data answer = host().setData(QStringLiteral("qobuz:stateChange") + parameters,
                                                       PelkRoles::Value(), data.variant());
        QVERIFY(answer.finished);
        QVERIFY(!answer.error.isSet());
        QVERIFY(!answer.value.isValid());
    }

    /// The reports that have arrived: kind and track. Each has to have arrived before the next goes out.
    QStringList reports(int count)
    {
        if (!m_server->waitForRequests(count))
            return {QStringLiteral("too few")};
        QStringList found;
        for (const TestHttpServer::Request& request : m_server->requests())
            found << QString::fromLatin1(request.path.mid(int(qstrlen("/track/reportStreaming"))) + ' ' +
                                         request.queryValue("track_id"));
        return found;
    }

private Q_SLOTS:
    void init()
    {
        m_notices.clear();
        m_server = std::make_unique<TestHttpServer>();
        m_server->setHandler([](const TestHttpServer::Request&) { return TestHttpServer::json("{}"); });
        m_host = std::make_unique<ModuleHost>(m_server->url());
    }
    void cleanup()
    {
        m_host.reset();
        m_server.reset();
    }

    void theRestrictionCountsByItsPresence_data()
    {
        QTest::addColumn<QString>("parameters");
        QTest::addColumn<int>("notices");
        QTest::newRow("1") << "?id=1&TrackRestrictedByRightHolders=1" << 1;
        QTest::newRow("0") << "?id=1&TrackRestrictedByRightHolders=0" << 1;
        QTest::newRow("without a value") << "?id=1&TrackRestrictedByRightHolders=" << 1;
        QTest::newRow("before the id") << "?TrackRestrictedByRightHolders=1&id=1" << 1;
        QTest::newRow("absent") << "?id=1" << 0;
        QTest::newRow("a track without an id is not new at first") << "?TrackRestrictedByRightHolders=1" << 0;
        QTest::newRow("nor is track 0") << "?id=0&TrackRestrictedByRightHolders=1" << 0;
    }
    void theRestrictionCountsByItsPresence()
    {
        QFETCH(QString, parameters);
        QFETCH(int, notices);
        start();
        const LogCapture log(QStringLiteral("Qobuz"));
        change(parameters, dataOf(Opening));
        host().settle();
        QCoreApplication::processEvents();
        QCOMPARE(m_notices.size(), notices);
        QCOMPARE(log.texts(log4cplus::WARN_LOG_LEVEL).size(), notices);
    }

    void aNoticeIsThisToTheLeaf()
    {
        start();
        change(QStringLiteral("?id=1&TrackRestrictedByRightHolders=1"), dataOf(Opening));
        QTRY_COMPARE(m_notices.size(), 1);
        const QString context = QStringLiteral(
            "\" of \"void QobuzWorker::handlePlayStateChange(const CMSetDataRequest&)\", read as \"");
        const QString title = QStringLiteral("Track restriction");
        const QString message =
            QStringLiteral("The rights-holders have not made the streaming of this track possible");
        QStringList lines = variantLines(m_notices.at(0).hash());
        QVERIFY(lines.removeOne(QStringLiteral("/value/notificationDisplayItem/title: TrString \"") + title +
                                context + title + QLatin1Char('"')));
        QVERIFY(lines.removeOne(QStringLiteral("/value/notificationDisplayItem/message: TrString \"") +
                                message + context + message + QLatin1Char('"')));
        QCOMPARE(
            lines,
            QStringList{
                QStringLiteral("/value/type: int \"%1\"").arg(int(PelkValue::NotificationDisplayItemType))});
        for (const char* key : {"title", "message"}) {
            const auto text = TrString::fromVariant(m_notices.at(0)
                                                        .value(QStringLiteral("value"))
                                                        .toHash()
                                                        .value(QStringLiteral("notificationDisplayItem"))
                                                        .toHash()
                                                        .value(QLatin1String(key)));
            QVERIFY(text.comment().isEmpty());
            QCOMPARE(text.count(), -1);
            QVERIFY(text.arguments().isEmpty());
        }
    }

    void whereNoticesCannotBeShownARestrictedTrackIsReportedAllTheSame()
    {
        start(false);
        const QString restricted = QStringLiteral("?id=1&TrackRestrictedByRightHolders=1");
        change(restricted, dataOf(Playing));
        QCOMPARE(reports(1), QStringList{QStringLiteral("Start 1")});
        change(restricted, dataOf(Stopped));
        QCOMPARE(reports(2), (QStringList{QStringLiteral("Start 1"), QStringLiteral("End 1")}));
    }

    void theIdIsReadAsADecimalNumber_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("report");
        QTest::newRow("a large number") << "2147483647"
                                        << "Start 2147483647";
        QTest::newRow("a negative number") << "-5"
                                           << "Start -5";
        QTest::newRow("leading zeros") << "007"
                                       << "Start 7";
        QTest::newRow("more than 32 bits") << "4294967297"
                                           << "Start 0";
        QTest::newRow("hexadecimal") << "0x10"
                                     << "Start 0";
        QTest::newRow("a number and more") << "5x"
                                           << "Start 0";
        QTest::newRow("a fraction") << "1.5"
                                    << "Start 0";
        QTest::newRow("empty") << ""
                               << "Start 0";
    }
    void theIdIsReadAsADecimalNumber()
    {
        QFETCH(QString, id);
        QFETCH(QString, report);
        start();
        change(QStringLiteral("?format=6&id=") + id, dataOf(Playing));
        QCOMPARE(reports(1), QStringList{report});
    }

    void dataWithoutAStateAreAStop()
    {
        start();
        change(QStringLiteral("?id=1"), dataOf(Playing));
        QCOMPARE(reports(1), QStringList{QStringLiteral("Start 1")});
        PelkPlayLogicData data = dataOf(Playing);
        data.remove(PelkPlayLogicData::State());
        change(QStringLiteral("?id=1"), data);
        QCOMPARE(reports(2), (QStringList{QStringLiteral("Start 1"), QStringLiteral("End 1")}));
    }

    void aChangeLeavesTheseRecordsOfTheWorker()
    {
        start();
        const LogCapture log(QStringLiteral("Qobuz"));
        change(QStringLiteral("?id=1&format=27&TrackRestrictedByRightHolders=1"), dataOf(Opening));
        host().settle();
        QStringList records;
        for (const LogCapture::Record& record : log.records()) {
            QCOMPARE(record.file, QStringLiteral("QobuzWorker.cpp"));
            records << QString::fromStdString(log4cplus::getLogLevelManager().toString(record.level)) +
                           QLatin1Char(' ') + record.text;
        }
        const QString value =
            QStringLiteral("(const CMSetDataRequest&): {state: 1, trackRoles: {path: \"qobuz:track?id=1\"}}");
        QCOMPARE(records,
                 (QStringList{QStringLiteral("TRACE Enter virtual void QobuzWorker::setDataRequest") + value,
                              QStringLiteral("TRACE Enter void QobuzWorker::on_setData_invoke") + value,
                              QStringLiteral("WARN Track restricted by Right Holders"),
                              QStringLiteral("TRACE Format 27")}));
    }
};

QTEST_GUILESS_MAIN(PlayStateConformanceTest)
#include "play_state_conformance_test.moc"
