#include "api/http/httpclient.h"
#include "tests/module/samples.h"
#include "tests/support/badlink.h"
#include "tests/support/figures.h"

#include <QDir>
#include <QElapsedTimer>
#include <QtTest>

#include <memory>

/// The real module with a bad link between it and its service. PELK_TEST_LONG makes the outage a minute long,
/// which is longer than a request may take.
class BadLinkModuleTest : public QObject
{
    Q_OBJECT

    static constexpr int rowsAsked = 50;
    static constexpr int requestLimitMs = 30000; // what a request may take
    static constexpr int answerLimitMs = 40000;

    /// The outcome of one request.
    struct Outcome
    {
        int answers = 0;
        QStringList titles;
        CMError error;
    };

    const bool m_long = qEnvironmentVariableIsSet("PELK_TEST_LONG");
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<BadLink> m_link;
    std::unique_ptr<ModuleHost> m_host;
    std::map<int, Outcome> m_outcomes; // by the number of the album
    std::shared_ptr<int> m_inReplies;  // one reference in each reply that still exists
    int m_next = 0;

    /// An album of 50 tracks, whose titles name it, in an answer of some 50 kB.
    static TestHttpServer::Response album(const QByteArray& id)
    {
        QByteArrayList tracks;
        for (int i = 0; i < rowsAsked; ++i) {
            const QByteArray number = QByteArray::number(i);
            tracks << "{\"id\":" + number + ",\"title\":\"" + id + "-" + number + "\",\"performers\":\"" +
                          QByteArray(1000, 'p') + "\"}";
        }
        return TestHttpServer::json("{\"id\":\"" + id + "\",\"tracks\":" + list(rowsAsked, tracks) + "}");
    }

    static QStringList titlesOf(int number)
    {
        QStringList titles;
        for (int i = 0; i < rowsAsked; ++i)
            titles << QStringLiteral("%1-%2").arg(number).arg(i);
        return titles;
    }

    /// Asks for the rows of so many albums, each one for the first time.
    void ask(int count)
    {
        for (; count > 0; --count) {
            const int number = m_next++;
            m_outcomes[number] = Outcome();
            const CMGetRowsRequest request(CMPath(pathWith(QStringLiteral("qobuz:album"),
                                                           QStringLiteral("id"), QString::number(number))),
                                           0, rowsAsked - 1, {PelkRoles::Title()});
            request.reply().addWatcher([this, number, reference = m_inReplies](const CMVoidReply& finished) {
                Outcome& outcome = m_outcomes[number];
                ++outcome.answers;
                outcome.error = finished.error();
                outcome.titles = texts(CMReply<PelkRowsRoles>::from(finished).value().rows().toList());
            });
            m_host->root().getRowsRequest(request);
        }
    }

    bool allAnswered() const
    {
        return std::all_of(m_outcomes.begin(), m_outcomes.end(),
                           [](const auto& outcome) { return outcome.second.answers > 0; });
    }

    /// Checks that each request was answered once, with the rows of its album or with the error of a missing
    /// response; returns how many had rows.
    void count(int* withRows)
    {
        *withRows = 0;
        for (const auto& [number, outcome] : m_outcomes) {
            QCOMPARE(outcome.answers, 1);
            if (!outcome.error.isSet()) {
                QCOMPARE(outcome.titles, titlesOf(number));
                ++*withRows;
                continue;
            }
            QCOMPARE(outcome.titles, QStringList());
            QCOMPARE(outcome.error.message().toString(), QStringLiteral("Unknown error"));
            QCOMPARE(outcome.error.data(), (QVariantHash{{QStringLiteral("ErrorCode"), 0}}));
        }
    }

    /// Checks that nothing is left of the requests so far: no reply, and no transfer in the HTTP client.
    bool nothingIsOpen() const { return m_inReplies.use_count() == 1 && HttpClient::waitForIdle(0); }

    void askOnceMore()
    {
        m_outcomes.clear();
        ask(1);
        QTRY_VERIFY_WITH_TIMEOUT(allAnswered(), answerLimitMs);
        int withRows = 0;
        count(&withRows);
        QCOMPARE(withRows, 1);
    }

    static int openFiles()
    {
        return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size();
    }

private Q_SLOTS:
    void init()
    {
        m_outcomes.clear();
        m_inReplies = std::make_shared<int>(0);
        m_server = std::make_unique<TestHttpServer>();
        m_server->setHandler(
            [](const TestHttpServer::Request& request) { return album(request.queryValue("album_id")); });
        m_link = std::make_unique<BadLink>(m_server->port());
        m_host = std::make_unique<ModuleHost>(m_link->url(QStringLiteral("/api/")));
        m_host->setSession();
        m_host->start();
    }
    void cleanup()
    {
        m_host.reset();
        m_link.reset();
        m_server.reset();
    }

    void everyRequestIsAnsweredOnce_data()
    {
        QTest::addColumn<int>("latencyMs");
        QTest::addColumn<double>("loss");
        QTest::newRow("500 ms each way") << 500 << 0.0;
        QTest::newRow("2 % loss") << 0 << 0.02;
        QTest::newRow("10 % loss") << 0 << 0.1;
        QTest::newRow("500 ms each way and 10 % loss") << 500 << 0.1;
    }
    void everyRequestIsAnsweredOnce()
    {
        QFETCH(int, latencyMs);
        QFETCH(double, loss);
        constexpr int requests = 40;
        m_link->setLatencyMs(latencyMs);
        m_link->setLoss(loss);
        QElapsedTimer timer;
        timer.start();
        ask(requests);
        QTRY_VERIFY_WITH_TIMEOUT(allAnswered(), answerLimitMs);
        const qint64 elapsedMs = timer.elapsed();
        int withRows = 0;
        count(&withRows);
        // A connection that is lost four times in a row when it is opened takes half of the time; one
        // request in a thousand may fail so.
        QVERIFY2(withRows >= requests - 2, qPrintable(QString::number(withRows)));
        QTRY_VERIFY(nothingIsOpen());
        const BadLink::Counters counters = m_link->counters();
        printFigures("%s: %d of %d requests had their rows within %.1f s (%d connections, %lld segments, "
                     "%lld lost)",
                     QTest::currentDataTag(), withRows, requests, double(elapsedMs) / 1000,
                     counters.connections, qlonglong(counters.segments), qlonglong(counters.lost));
        m_link->setLoss(0);
        m_link->setLatencyMs(0);
        askOnceMore();
    }

    void anOutageAnswersEveryRequestAndIsOverWhenTheLinkIsBack()
    {
        constexpr int requests = 10;
        const int outageMs = m_long ? 60000 : 3000;
        m_link->setLatencyMs(300);
        ask(requests);
        QTRY_COMPARE_WITH_TIMEOUT(m_link->counters().connections, requests, answerLimitMs);
        m_link->setAway(true);
        QElapsedTimer timer;
        timer.start();
        ask(requests);
        if (m_long) {
            QTRY_VERIFY_WITH_TIMEOUT(allAnswered(), answerLimitMs);
            QVERIFY(timer.elapsed() >= requestLimitMs - 1000);
            printFigures("an outage of a minute: all requests were answered after %.1f s",
                         double(timer.elapsed()) / 1000);
        }
        // Nothing is waited for here: this is how long the link is away.
        QTest::qWait(int(qMax<qint64>(0, outageMs - timer.elapsed())));
        m_link->setAway(false);
        m_link->setLatencyMs(0);
        QTRY_VERIFY_WITH_TIMEOUT(allAnswered(), answerLimitMs);
        int withRows = 0;
        count(&withRows);
        QCOMPARE(withRows, m_long ? 0 : 2 * requests);
        QTRY_VERIFY(nothingIsOpen());
        timer.restart();
        askOnceMore();
        printFigures("an outage of %d s: usable %.2f s after the link was back", outageMs / 1000,
                     double(timer.elapsed()) / 1000);
    }

    void outagesLeaveNothingOpen()
    {
        constexpr int outages = 5;
        constexpr int requests = 8;
        constexpr int keptConnections = 16;
        const int before = openFiles();
        for (int i = 0; i < outages; ++i) {
            m_link->setAway(true);
            ask(requests);
            m_host->settle(); // the requests are on their way by then
            m_link->setAway(false);
            QTRY_VERIFY_WITH_TIMEOUT(allAnswered(), answerLimitMs);
        }
        int withRows = 0;
        count(&withRows);
        QCOMPARE(withRows, outages * requests);
        QTRY_VERIFY(nothingIsOpen());
        // A kept connection is a socket of the module, two of the link and one of the server, all of them in
        // this process; one more for the listener of the link.
        QTRY_VERIFY2(openFiles() - before <= 4 * keptConnections + 1,
                     qPrintable(QStringLiteral("%1 before, %2 now").arg(before).arg(openFiles())));
    }

    // Must be the last test: the module keeps its HTTP client with its transfers.
    void theWorkerEndsWhileItsRequestsHang()
    {
        m_link->setAway(true);
        ask(10);
        m_host->settle();
        QElapsedTimer timer;
        timer.start();
        m_host->stop();
        // It does not wait for their time-out.
        QVERIFY2(timer.elapsed() < requestLimitMs / 2, qPrintable(QString::number(timer.elapsed())));
    }
};

QTEST_GUILESS_MAIN(BadLinkModuleTest)
#include "bad_link_module_test.moc"
