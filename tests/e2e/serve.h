#pragma once

#include "tests/e2e/players.h"
#include "tests/support/panelclient.h"

#include <QtTest>

#include <csignal>

/// `pelk serve` as a process, on its own port.
class Serve
{
public:
    explicit Serve(const Players& players, const QString& address = QStringLiteral("127.0.0.1:0"),
                   const QStringList& options = {}, const QStringList& serveOptions = {})
        : process(players.start(options +
                                QStringList{QStringLiteral("serve"), QStringLiteral("--listen"), address} +
                                serveOptions))
    {
        readLine();
    }
    /// Starts it on any free port, with options of the command, and with a limit of file descriptors.
    Serve(const Players& players, const QStringList& options, int descriptors)
        : process(players.start(QStringList{QStringLiteral("serve"), QStringLiteral("--listen"),
                                            QStringLiteral("127.0.0.1:0")} +
                                    options,
                                descriptors))
    {
        readLine();
    }
    void readLine()
    {
        while (!process->canReadLine() && process->waitForReadyRead(60000)) {
        }
        line = QString::fromUtf8(process->readLine()).trimmed();
        port = quint16(QUrl(line.section(QLatin1Char(' '), -1)).port());
    }
    ~Serve()
    {
        if (process->state() != QProcess::NotRunning)
            end();
    }
    Serve(const Serve&) = delete;
    Serve& operator=(const Serve&) = delete;

    PanelClient client() const { return PanelClient(port); }
    /// Stops it and returns the exit code, or -1 if it did not end properly.
    int end(int signal = SIGTERM) const
    {
        ::kill(pid_t(process->processId()), signal);
        return process->waitForFinished(30000) && process->exitStatus() == QProcess::NormalExit
                   ? process->exitCode()
                   : -1;
    }
    QString errors() const { return QString::fromUtf8(process->readAllStandardError()); }

    PanelReply login(const char* password = "demo") const
    {
        return client().post(
            "/api/data",
            QJsonObject{
                {QStringLiteral("path"), QStringLiteral("account:qobuz")},
                {QStringLiteral("role"), QStringLiteral("value")},
                {QStringLiteral("value"),
                 QJsonObject{{QStringLiteral("type"), 138},
                             {QStringLiteral("qobuzAccount"),
                              QJsonObject{{QStringLiteral("operation"), 1},
                                          {QStringLiteral("username"), QStringLiteral("demo@example.com")},
                                          {QStringLiteral("password"), QString::fromUtf8(password)}}}}}});
    }
    PanelReply logout() const
    {
        return client().post("/api/data",
                             QJsonObject{{QStringLiteral("path"), QStringLiteral("account:qobuz")},
                                         {QStringLiteral("role"), QStringLiteral("value")},
                                         {QStringLiteral("value"),
                                          QJsonObject{{QStringLiteral("type"), 138},
                                                      {QStringLiteral("qobuzAccount"),
                                                       QJsonObject{{QStringLiteral("operation"), 2}}}}}});
    }
    void play(const char* path) const
    {
        QCOMPARE(client()
                     .post("/api/player/queue/add",
                           QJsonObject{{QStringLiteral("path"), QString::fromUtf8(path)},
                                       {QStringLiteral("where"), QStringLiteral("replace")}})
                     .status,
                 202);
        QTRY_COMPARE(state(), QStringLiteral("playing"));
    }
    QString state() const
    {
        return client().get("/api/player").json().value(QStringLiteral("state")).toString();
    }

    std::unique_ptr<QProcess> process;
    QString line;
    quint16 port = 0;
};
