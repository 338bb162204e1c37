#include "tests/faults/faulttable.h"
#include "tests/support/figures.h"
#include "tests/support/testhttpserver.h"

#include <QSet>
#include <QtTest>
#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>
#include <unistd.h>

namespace {

/// A port that is reserved, so that nobody else can use it, and that refuses connections.
class RefusingPort
{
public:
    RefusingPort()
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (::bind(m_socket, generic, size) == 0 && ::getsockname(m_socket, generic, &size) == 0)
            m_port = ntohs(address.sin_port);
    }
    ~RefusingPort() { ::close(m_socket); }
    RefusingPort(const RefusingPort&) = delete;
    RefusingPort& operator=(const RefusingPort&) = delete;

    int port() const { return m_port; }

private:
    int m_socket;
    int m_port = 0;
};

} // namespace

/// Every call of the service that the content tree leads to, under everything that can go wrong with its
/// answer: the request is answered once, as it should be, and the next one works.
class EndpointFaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_elsewhere.setHandler([](const TestHttpServer::Request&) { return TestHttpServer::json("{}"); });
        m_stage = std::make_unique<Stage>();
        QVERIFY(m_stage->isReady());
        for (const Endpoint& endpoint : endpoints()) {
            const Json full = {{"kind", "body"}, {"body", fullAnswer(endpoint)}};
            Case own{endpoint, Json(), m_stage->run(endpoint), {}};
            own.faults = answerFaults(endpoint, own.right, m_elsewhere.url(), m_nobody.port());
            Case made{endpoint, full, m_stage->run(endpoint, full), {}};
            made.faults = shapeFaults(endpoint, made.right);
            for (const Case& one : {own, made}) {
                QCOMPARE(difference(endpoint, {}, one.right, one.right), QString());
                m_cases.append(one);
            }
        }
        QVERIFY(!m_stage->run(endpoints().last()).error.isSet()); // with a token that is good for the others
    }
    void cleanupTestCase()
    {
        // Nobody's request was answered a second time later.
        for (const Pending& pending : qAsConst(m_sent))
            QCOMPARE(int(*pending.answers), 1);
        QCOMPARE(m_elsewhere.requestCount(), endpoints().size());
        m_stage.reset();
        printFigures("%d combinations of %d endpoints and %d faults", m_combinations, endpoints().size(),
                     m_faults.size());
        QVERIFY(m_combinations >= 300);
    }

    void aFaultIsAnsweredOnceAsExpectedAndTheNextRequestWorks_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("fault");
        for (int index = 0; index < m_cases.size(); ++index) {
            const Case& one = m_cases.at(index);
            for (int fault = 0; fault < one.faults.size(); ++fault) {
                const QByteArray name = one.endpoint.name + (": " + one.faults.at(fault).name);
                QTest::newRow(name.constData()) << index << fault;
            }
        }
    }
    void aFaultIsAnsweredOnceAsExpectedAndTheNextRequestWorks()
    {
        QFETCH(int, index);
        QFETCH(int, fault);
        const Case& one = m_cases.at(index);
        const Fault& wrong = one.faults.at(fault);
        Pending sent;
        bool armed = false;
        const Outcome outcome = m_stage->run(one.endpoint, wrong.control, &sent, &armed);
        const Outcome next = m_stage->run(one.endpoint, one.good); // also where what follows finds a fault
        QVERIFY(armed);
        QCOMPARE(difference(one.endpoint, wrong.expected, outcome, one.right), QString());
        QCOMPARE(difference(one.endpoint, {}, next, one.right), QString());
        QCOMPARE(int(*sent.answers), 1);
        m_sent.append(sent);
        m_faults.insert(wrong.name);
        ++m_combinations;
    }

    void aRedirectToAnotherServerCarriesNoSecrets()
    {
        QVERIFY(m_elsewhere.requestCount() > 0);
        const QList<TestHttpServer::Request> requests = m_elsewhere.requests();
        for (const TestHttpServer::Request& request : requests) {
            QVERIFY(request.header("X-User-Auth-Token").isNull());
            QVERIFY(request.header("X-App-Id").isNull());
            QCOMPARE(request.target, QByteArray("/"));
        }
    }

private:
    /// Faults of one endpoint beside the answer that it gets without them.
    struct Case
    {
        Endpoint endpoint;
        Json good;     ///< how the sandbox gives that answer: by itself, or told to
        Outcome right; ///< what it comes to
        QList<Fault> faults;
    };
    TestHttpServer m_elsewhere{"127.0.0.2"};
    RefusingPort m_nobody;
    std::unique_ptr<Stage> m_stage;
    QList<Case> m_cases;
    QList<Pending> m_sent;
    QSet<QByteArray> m_faults;
    int m_combinations = 0;
};

QTEST_GUILESS_MAIN(EndpointFaultsTest)
#include "endpoint_faults_test.moc"
