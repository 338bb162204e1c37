#pragma once

#include "api/types/cmpath.h"
#include "player/server/http/Limits.h"

#include <QJsonObject>
#include <QStringList>

#include <functional>
#include <memory>

class PelkNotificationDisplayItem;
class History;
class PlayEngine;

/// The panel's server: the panel's files and a JSON interface to the content model and the player; see
/// docs/panel-interface.md. Main thread, with its event loop, while the root worker exists. It has no threads
/// of its own.
class PanelServer
{
public:
    struct Options
    {
        /// A listening socket of a socket file, whose clients have all rights; -1 if there is none.
        int localSocket = -1;
        QString address = QStringLiteral("127.0.0.1");
        quint16 port = 8080;     ///< 0: any free one
        int socket = -1;         ///< one that listens already, in place of address and port
        QString origin;          ///< of a proxy in front of it, as AccessRules::originOf() gives it
        bool hasTls = false;     ///< with a certificate that is generated, unless there is one of these
        QString certificateFile; ///< in PEM; empty where there is none
        QString keyFile;
        QString panelFolder;
        QStringList translationFolders;
        QList<CMPath> closedPaths;          ///< whose values stay within the player
        std::function<QJsonObject()> about; ///< what programs that come through the socket file are told
        QString stateFolder;                ///< of the password, the sessions and the tokens
        History* history = nullptr;         ///< not owned, and outlives the server; null: none
        bool isOpen = false;                ///< everybody who reaches it may use it
        Limits limits;
        std::function<qint64()> wallClock;   ///< of sessions, for tests; null: the system's
        std::function<qint64()> steadyClock; ///< of failed logins
        /// Called with a sentence for the operator of the player; may be empty.
        std::function<void(const QString&)> tell;
    };

    /// The engine is not owned and outlives the server.
    PanelServer(const Options& options, PlayEngine* engine);
    /// As stop().
    ~PanelServer();
    PanelServer(const PanelServer&) = delete;
    PanelServer& operator=(const PanelServer&) = delete;

    /// Starts to listen. False, with a sentence, if the address and port are not available, or if others
    /// could reach them without a password although `isOpen` is not set.
    bool start(QString* error);
    /// Refuses new requests, fails waiting ones, and closes every connection.
    void stop();

    /// The address on which it listens.
    QString address() const;
    /// Where browsers of this machine find it: "http://127.0.0.1:8080/".
    QString url() const;
    /// Every address at which browsers find it: url(), a proxy's, and those that other machines can reach.
    QStringList urls() const;
    quint16 port() const;
    /// Of the certificate, as browsers show it: "AB:CD:…"; empty without TLS.
    QString fingerprint() const;
    /// Sends a notice to every event stream. Any thread.
    void notify(const PelkNotificationDisplayItem& notice);
    /// Each route as method and path: "GET /api/rows".
    QStringList endpoints() const;
    int connectionCount() const;

private:
    class Private;
    std::unique_ptr<Private> m_d;
};
