#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>

/// The real sandbox and the real player as processes, with their own home folder.
class Players
{
public:
    struct Outcome
    {
        int exitCode = -1;
        QString output; ///< standard output
        QString errors; ///< standard error
        QJsonObject json() const;
        /// Exit code and standard error; empty after a success.
        QString fault() const;
    };

    /// Starts the sandbox and writes settings for it.
    Players();
    ~Players();
    Players(const Players&) = delete;
    Players& operator=(const Players&) = delete;

    QString home() const { return m_home.path(); }
    QString settingsFile() const { return m_home.path() + QStringLiteral("/config/pelk/pelk.ini"); }
    QString loginFile() const { return m_home.path() + QStringLiteral("/state/pelk/session.json"); }
    /// Base address of the sandbox's web API.
    QString apiUrl() const { return m_apiUrl; }
    quint16 sandboxPort() const { return quint16(QUrl(m_apiUrl).port()); }

    void writeSettings(const QString& text) const;
    /// Settings for the sandbox, with this API URL.
    void writeSettingsFor(const QString& apiUrl) const;
    void stopSandbox();

    /// Runs a command of the player to its end; `input` goes to its standard input.
    Outcome pelk(const QStringList& arguments, const QByteArray& input = QByteArray()) const;
    /// Starts a command of the player, with an empty standard input, and with a limit of file descriptors if
    /// one is given.
    std::unique_ptr<QProcess> start(const QStringList& arguments, int descriptors = 0) const;
    /// The environment of the player's processes.
    QProcessEnvironment environment() const;
    /// Logs the demo account in.
    Outcome login() const;
    /// Rows of a path as the reply's JSON.
    QJsonObject rows(const QString& path, int from, int to) const;

    /// The sandbox's control paths, below /control/.
    QJsonObject controlGet(const QString& path) const;
    void controlPost(const QString& path, const QJsonObject& body) const;
    void controlDelete(const QString& path) const;
    /// Switches a fault on.
    void fault(const QString& endpoint, QJsonObject fault) const;
    /// A path of the web API, as a client with the right application id sees it.
    QJsonObject apiGet(const QString& target) const;

private:
    QByteArray curl(const QStringList& arguments) const;

    QTemporaryDir m_home;
    QProcess m_sandbox;
    QString m_apiUrl;
    QString m_controlUrl;
};
