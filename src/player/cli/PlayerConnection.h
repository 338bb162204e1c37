#pragma once

#include <QJsonObject>
#include <QPair>
#include <QString>
#include <QVector>

#include <functional>
#include <memory>

/// A request to the player's interface, as docs/panel-interface.md describes it.
struct PlayerRequest
{
    QString path; ///< "/api/rows"
    QVector<QPair<QString, QString>> params = {};
    bool isPost = false;
    QJsonObject body = {}; ///< of a POST
};

struct PlayerAnswer
{
    int status = 0; ///< of HTTP; 0 when the player gave no answer
    QJsonObject body;
    QString error; ///< a sentence; empty after a success

    bool isOk() const { return error.isEmpty(); }
};

/// The player's interface, as the commands use it: that of the running player or of one in this process.
/// Commands cannot distinguish them. Main thread; every operation blocks.
class PlayerConnection
{
public:
    virtual ~PlayerConnection() = default;

    /// Asks all at once, and returns the answers in the order of the requests.
    virtual QVector<PlayerAnswer> ask(const QVector<PlayerRequest>& requests) = 0;

    /// An event of the player's stream. Returns false to end the stream. Called with a null name once a
    /// second without an event.
    using Watcher = std::function<bool(const QString& event, const QJsonObject& data)>;
    /// Follows what changes until `watcher` has enough. False, with a sentence, when the stream ended before.
    /// The watcher may ask meanwhile.
    virtual bool follow(const Watcher& watcher, QString* error) = 0;

    PlayerAnswer get(const QString& path, const QVector<QPair<QString, QString>>& params = {});
    PlayerAnswer post(const QString& path, const QJsonObject& body = {});
    /// The present response of GET /api/about.
    QJsonObject about();

protected:
    /// Reads a response. An error is a sentence: the problem's detail with the service's code.
    static PlayerAnswer answer(int status, const QByteArray& body);
};

/// For commands that can do without: every request fails.
class NoPlayer final : public PlayerConnection
{
public:
    QVector<PlayerAnswer> ask(const QVector<PlayerRequest>& requests) override;
    bool follow(const Watcher& watcher, QString* error) override;
};
