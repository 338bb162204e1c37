#pragma once

#include "api/types/pelkhash.h"
#include "player/server/Problem.h"

#include <QJsonObject>
#include <QPair>
#include <QVector>

#include <functional>

/// A request to one of the panel's endpoints, as far as it concerns them.
struct ApiRequest
{
    QVector<QPair<QString, QString>> params; ///< of the query, decoded
    PelkHash body;                           ///< of a POST
    const Language* language = nullptr;      ///< the reader's; never null

    /// Reads the body of a POST. Throws a Problem where it is no JSON object.
    void readBody(const QByteArray& json);

    /// The first parameter of a name; empty where there is none.
    QString param(const QString& name) const;
    QStringList all(const QString& name) const;
    /// A parameter that is a whole number from `least` to `most`. Throws a Problem where it is not.
    int number(const QString& name, int least, int most) const;
    /// A field of the body, as param() and number(). Throw a Problem where it is of another type.
    QString text(const QString& name) const;
    qint64 whole(const QString& name, qint64 least, qint64 most) const;
    bool boolean(const QString& name) const;
};

struct ApiAnswer
{
    int status = 200;
    QJsonObject body = {}; ///< of a 204: none
};

/// One endpoint. The handler may block within the limits of ContentCalls, and throws a Problem.
struct Endpoint
{
    QByteArray method;
    QByteArray path;
    std::function<ApiAnswer(const ApiRequest&)> handler;
};
