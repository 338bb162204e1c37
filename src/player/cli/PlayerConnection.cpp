#include "player/cli/PlayerConnection.h"

#include <QJsonDocument>

PlayerAnswer PlayerConnection::get(const QString& path, const QVector<QPair<QString, QString>>& params)
{
    return ask({{path, params}}).first();
}

PlayerAnswer PlayerConnection::post(const QString& path, const QJsonObject& body)
{
    return ask({{path, {}, true, body}}).first();
}

QJsonObject PlayerConnection::about()
{
    return get(QStringLiteral("/api/about")).body;
}

PlayerAnswer PlayerConnection::answer(int status, const QByteArray& body)
{
    PlayerAnswer answer;
    answer.status = status;
    answer.body = QJsonDocument::fromJson(body).object();
    if (status >= 200 && status < 300)
        return answer;
    answer.error = answer.body.value(QStringLiteral("detail")).toString().trimmed();
    if (answer.error.isEmpty())
        answer.error = QStringLiteral("The player did not respond.");
    const int code = answer.body.value(QStringLiteral("code")).toInt();
    if (code != 0)
        answer.error += QStringLiteral(" (%1)").arg(code);
    if (!answer.error.endsWith(QLatin1Char('.')) && !answer.error.endsWith(QLatin1Char('!')))
        answer.error += QLatin1Char('.');
    return answer;
}

QVector<PlayerAnswer> NoPlayer::ask(const QVector<PlayerRequest>& requests)
{
    return QVector<PlayerAnswer>(requests.size(), answer(0, QByteArray()));
}

bool NoPlayer::follow(const Watcher& /*watcher*/, QString* error)
{
    *error = QStringLiteral("No player is running.");
    return false;
}
