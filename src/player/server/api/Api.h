#pragma once

#include "player/server/Translations.h"
#include "player/server/api/AccessRoutes.h"
#include "player/server/api/ContentRequests.h"
#include "player/server/api/QueueFilling.h"
#include "player/server/api/Route.h"
#include "player/server/events/EventStreams.h"
#include "player/server/http/AccessRules.h"
#include "player/server/http/Files.h"

class History;
class PlayEngine;

/// Handles a request: checks access, selects the route or file, and writes errors as problems.
class Api : public HttpHandler
{
public:
    struct Parts
    {
        QString panelFolder;
        QStringList translationFolders;
        QList<CMPath> closedPaths;          ///< whose values stay within the player
        std::function<QJsonObject()> about; ///< what programs that come through the socket file are told
        Limits limits;
        History* history = nullptr; ///< not owned; null: none
    };
    /// None of these is owned; all must outlive it. Without an engine there are no player routes; without
    /// access control every request has all rights.
    Api(const Parts& parts, PlayEngine* engine, EventStreams* streams, Access* access);

    /// Where the server listens; until then every request is refused.
    void setAccess(const AccessRules& rules, const QString& fingerprint)
    {
        m_rules = rules;
        m_way.fingerprint = fingerprint;
    }
    std::unique_ptr<HttpResponse> refusal(const HttpRequest& request, Fault fault) override;
    void handle(const HttpRequest& request, const Responder& responder) override;
    /// Fails everything that waits.
    void end() { m_contentRequests.end(); }
    const QVector<Route>& routes() const { return m_routes; }

private:
    void checkOrigin(const HttpRequest& request) const;
    void checkGrant(const HttpRequest& request) const;
    void checkMethod(const HttpRequest& request) const;
    Grant grantOf(const HttpRequest& request) const;
    const Route* route(const QByteArray& method, const QString& path) const;
    QByteArray allowedMethods(const QString& path) const;
    void openEvents(const ApiRequest& request, const ApiResponder& responder);
    HttpResponse file(const HttpRequest& request);
    const Language& languageOf(const HttpRequest& request) const;

    Access* const m_access;
    Limits m_limits;
    EventStreams* m_streams;
    Files m_files;
    Translations m_translations;
    ContentRequests m_contentRequests;
    QueueFilling m_filling;
    AccessRules m_rules{QString(), 0};
    WayIn m_way;
    QVector<Route> m_routes;
};
