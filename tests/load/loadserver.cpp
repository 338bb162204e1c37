#include "tests/load/loadserver.h"

#include "tests/load/loadservice.h"
#include "tests/support/patience.h"

#include <QCoreApplication>

#include <atomic>
#include <cstdio>

LoadServer::LoadServer()
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationFilePath(),
                    {QStringLiteral("--play"), QStringLiteral("serve")});
    while (!m_process.canReadLine())
        if (!m_process.waitForReadyRead(20000))
            qFatal("the server did not start");
    m_url = QString::fromUtf8(m_process.readLine().trimmed());
}

LoadServer::~LoadServer()
{
    stop();
}

QPair<int, int> LoadServer::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return {};
    m_process.closeWriteChannel();
    if (!m_process.waitForFinished(20000)) {
        m_process.kill();
        m_process.waitForFinished(patienceMs);
    }
    const QList<QByteArray> words = m_process.readAll().simplified().split(' ');
    return {words.value(0).toInt(), words.value(1).toInt()};
}

int LoadServer::serve()
{
    std::atomic<int> answered{0};
    TestHttpServer server;
    server.setHandler([&](const TestHttpServer::Request& request) {
        if (++answered % 1000 == 0)
            server.clearRequests(); // nobody looks at them
        return loadAnswer(request);
    });
    std::puts(qPrintable(server.url(QStringLiteral("/api/"))));
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    std::printf("%d %d\n", int(answered), server.connectionCount());
    return 0;
}
