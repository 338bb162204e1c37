#include "tests/faults/faulttable.h"
#include "tests/support/modulehost.h"

#include <QtTest>

#include <memory>

/// A token that expires while it is used: what is reported, what still works, and that a new login helps.
class TokenFaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_stage = std::make_unique<Stage>();
        QVERIFY(m_stage->isReady());
        m_right.clear();
        for (const Endpoint& endpoint : endpoints()) {
            m_right.append(m_stage->run(endpoint));
            QCOMPARE(difference(endpoint, {}, m_right.last(), m_right.last()), QString());
        }
    }
    void cleanup() { m_stage.reset(); }

    void aTokenThatExpiresWhileBrowsingIsRefusedUntilTheNextLogin()
    {
        const QString session = m_stage->host().session().toString();
        QVERIFY(m_stage->expireTokens());
        for (int round = 0; round < 2; ++round) {
            for (int i = 0; i < endpoints().size() - 1; ++i) {
                const Endpoint& endpoint = endpoints().at(i);
                // The featured lists are requested without the user's token.
                const bool open = QByteArray(endpoint.call) == "catalog/getFeatured";
                Outcome outcome = m_stage->run(endpoint);
                QCOMPARE(difference(endpoint, open ? Expected() : refused(), outcome, m_right.at(i)),
                         QString());
                // Nobody is logged out by it.
                QCOMPARE(m_stage->host().session().toString(), session);
            }
        }
        loginMendsIt();
    }

    void aTokenThatExpiresAfterPrePlayLosesOnlyTheReports()
    {
        const auto reports = [this] {
            QStringList found;
            const Json requests = m_stage->control("requests")["requests"];
            for (const Json& request : requests) {
                const auto call = QString::fromStdString(request["endpoint"].get<std::string>());
                if (call.startsWith(QLatin1String("track/report")))
                    found << call + QStringLiteral(" %1").arg(request["status"].get<int>());
            }
            return found;
        };
        const QStringList before = reports();
        const Endpoint& stream = endpointOf(Endpoint::Resolve);
        QCOMPARE(difference(stream, {}, m_stage->run(stream), m_right.at(indexOf(Endpoint::Resolve))),
                 QString());
        QVERIFY(m_stage->expireTokens());
        for (const Endpoint::Kind kind : {Endpoint::ReportStart, Endpoint::ReportEnd}) {
            const Endpoint& report = endpointOf(kind);
            const Pending pending = m_stage->send(report);
            QCOMPARE(difference(report, refused(), m_stage->outcome(report, pending, 10000), {}), QString());
        }
        QCOMPARE(reports().mid(before.size()), (QStringList{QStringLiteral("track/reportStreamingStart 401"),
                                                            QStringLiteral("track/reportStreamingEnd 401")}));
        loginMendsIt();
    }

private:
    static Expected refused()
    {
        return Expected::refused(401,
                                 "User authentication is required. (Invalid or expired user_auth_token)");
    }
    static int indexOf(Endpoint::Kind kind)
    {
        int index = 0;
        while (endpoints().at(index).kind != kind)
            ++index;
        return index;
    }
    static const Endpoint& endpointOf(Endpoint::Kind kind) { return endpoints().at(indexOf(kind)); }

    void loginMendsIt()
    {
        const Endpoint& login = endpointOf(Endpoint::Login);
        QCOMPARE(difference(login, {}, m_stage->run(login), m_right.last()), QString());
        for (int i = 0; i < endpoints().size(); ++i)
            QCOMPARE(difference(endpoints().at(i), {}, m_stage->run(endpoints().at(i)), m_right.at(i)),
                     QString());
    }

    std::unique_ptr<Stage> m_stage;
    QList<Outcome> m_right;
};

QTEST_GUILESS_MAIN(TokenFaultsTest)
#include "token_faults_test.moc"
