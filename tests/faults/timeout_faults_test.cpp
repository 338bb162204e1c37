#include "api/http/httpclient.h"
#include "tests/faults/faulttable.h"
#include "tests/support/figures.h"
#include "tests/support/testhttpserver.h"

#include <QtTest>

namespace {

constexpr int timeoutMs = 30000; // of every request of the module
constexpr int slackMs = 15000;

} // namespace

/// Every call of the service that the content tree uses, without a timely response. All wait at the same
/// time, because each of them waits for the whole time-out.
class TimeoutFaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_stage = std::make_unique<Stage>();
        QVERIFY(m_stage->isReady());
        for (const Endpoint& endpoint : endpoints()) {
            m_right.append(m_stage->run(endpoint));
            QCOMPARE(difference(endpoint, {}, m_right.last(), m_right.last()), QString());
        }
    }
    void cleanupTestCase() { m_stage.reset(); }

    void anUnansweredRequestTimesOutAndTheNextOneWorks()
    {
        // Each hop is quick enough, all together are not: the time is one for the whole way.
        TestHttpServer slow("127.0.0.2");
        slow.setHandler([&slow](const TestHttpServer::Request&) {
            TestHttpServer::Response response = TestHttpServer::redirect(slow.url());
            response.delayMs = timeoutMs * 2 / 5;
            return response;
        });
        const QList<Fault> faults{
            {"no answer", {{"kind", "delay"}, {"ms", 2 * timeoutMs}}, Expected::noAnswer()},
            {"nothing after a part of the body", {{"kind", "stall"}, {"bytes", 20}}, Expected::noAnswer()},
            {"slices for too long",
             {{"kind", "drip"}, {"bytes", 1}, {"interval_ms", timeoutMs / 20}},
             Expected::noAnswer()},
            {"slow redirects",
             {{"kind", "redirect"}, {"location", slow.url().toStdString()}},
             Expected::noAnswer()}};

        struct Sent
        {
            Fault fault;
            Endpoint endpoint;
            Pending pending;
        };
        QList<Sent> all;
        const int before = received();
        QElapsedTimer timer;
        timer.start();
        // The logins are last, because nobody is logged in while one is in progress.
        for (const bool login : {false, true}) {
            for (const Fault& fault : faults) {
                QVERIFY(m_stage->arm(login ? "user/login" : "*", fault.control));
                for (const Endpoint& endpoint : endpoints())
                    if ((endpoint.kind == Endpoint::Login) == login)
                        all.append({fault, endpoint, m_stage->send(endpoint)});
                // Each has to meet its own fault.
                QTRY_COMPARE_WITH_TIMEOUT(received() - before, all.size(), slackMs);
                QVERIFY(m_stage->disarm());
            }
        }

        for (const Sent& one : qAsConst(all)) {
            QVERIFY(ModuleHost::wait(one.pending.reply, int(timeoutMs + slackMs - timer.elapsed())));
            if (!one.endpoint.isReport())
                QVERIFY(timer.elapsed() >= timeoutMs);
        }
        QVERIFY(HttpClient::waitForIdle(slackMs));
        QVERIFY(timer.elapsed() >= timeoutMs);
        m_stage->host().settle();
        QStringList lines = m_stage->takeErrorLines();
        for (const Sent& one : qAsConst(all)) {
            Outcome outcome = m_stage->outcome(one.endpoint, one.pending, slackMs);
            const QString start = QStringLiteral("HTTP call to %1?").arg(QLatin1String(one.endpoint.call));
            const int line = lines.indexOf(QRegularExpression(
                QLatin1Char('^') + QRegularExpression::escape(start) + QStringLiteral(".*")));
            if (line >= 0)
                outcome.errorLines = QStringList{lines.takeAt(line)};
            const QString problem = difference(one.endpoint, one.fault.expected, outcome, {});
            const QByteArray name = one.endpoint.name + (": " + one.fault.name + ": ");
            QVERIFY2(problem.isEmpty(), (name + problem.toUtf8()).constData());
        }
        QCOMPARE(lines, QStringList());

        QVERIFY(!m_stage->run(endpoints().last()).error.isSet());
        for (int i = 0; i < endpoints().size(); ++i) {
            const Endpoint& endpoint = endpoints().at(i);
            QCOMPARE(difference(endpoint, {}, m_stage->run(endpoint), m_right.at(i)), QString());
        }
        for (const Sent& one : qAsConst(all))
            QCOMPARE(int(*one.pending.answers), 1);
        printFigures("%d combinations of %d endpoints and %d faults", all.size(), endpoints().size(),
                     faults.size());
    }

private:
    /// How many calls the service has received.
    int received() { return int(m_stage->control("requests").value("requests", Json::array()).size()); }

    std::unique_ptr<Stage> m_stage;
    QList<Outcome> m_right;
};

QTEST_GUILESS_MAIN(TimeoutFaultsTest)
#include "timeout_faults_test.moc"
