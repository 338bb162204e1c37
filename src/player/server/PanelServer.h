#pragma once

#include "api/types/cmpath.h"
#include "player/server/http/Limits.h"

#include <QStringList>

#include <memory>

class PelkNotificationDisplayItem;
class PlayEngine;

/// The panel's server: the panel's files, and a small JSON interface to the content model and the player, for
/// browsers; docs/panel-interface.md describes it. Lives on the main thread, with its event loop, while the
/// root worker is there. It has no threads of its own.
class PanelServer
{
public:
    struct Options
    {
        /// One of a socket file that listens already; who connects there may do everything. -1: none.
        int localSocket = -1;
        QString address = QStringLiteral("127.0.0.1");
        quint16 port = 8080; ///< 0: any free one
        int socket = -1;     ///< one that listens already, in place of address and port
        QString origin;      ///< of a proxy in front of it, as AccessRules::originOf() gives it
        QString panelFolder;
        QStringList translationFolders;
        QList<CMPath> closedPaths; ///< whose values stay within the player
        Limits limits;
    };

    /// The engine is not owned and outlives the server.
    PanelServer(const Options& options, PlayEngine* engine);
    /// As stop().
    ~PanelServer();
    PanelServer(const PanelServer&) = delete;
    PanelServer& operator=(const PanelServer&) = delete;

    /// Listens and answers. False, with a sentence, when the address and port cannot be had.
    bool start(QString* error);
    /// Refuses what comes, ends what is waited for, and closes every connection.
    void stop();

    /// What it listens on.
    QString address() const;
    /// Where browsers of this machine find it: "http://127.0.0.1:8080/".
    QString url() const;
    /// Shows a notice to everybody who listens. Any thread.
    void notify(const PelkNotificationDisplayItem& notice);
    /// Each route as method and path: "GET /api/rows".
    QStringList endpoints() const;
    int connectionCount() const;

private:
    class Private;
    std::unique_ptr<Private> m_d;
};
