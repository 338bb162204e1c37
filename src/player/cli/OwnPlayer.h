#pragma once

#include "player/cli/PlayerConnection.h"
#include "player/server/api/Api.h"

/// The interface in this process, for commands while no player runs: the same code answers that answers
/// over HTTP, without the routes of playing. Needs loaded modules.
class OwnPlayer final : public PlayerConnection
{
public:
    /// The response of GET /api/about.
    explicit OwnPlayer(const std::function<QJsonObject()>& about);
    ~OwnPlayer() override;

    QVector<PlayerAnswer> ask(const QVector<PlayerRequest>& requests) override;
    /// Nothing changes here.
    bool follow(const Watcher& watcher, QString* error) override;

private:
    EventStreams m_streams;
    Api m_api;
};
