#pragma once

#include "api/core/model/cmerror.h"
#include "player/server/Translations.h"
#include "player/server/http/HttpMessage.h"

#include <QByteArray>
#include <QJsonObject>

/// The error response of a request, sent as application/problem+json (RFC 9457). Handlers may throw it.
struct Problem
{
    Problem(int httpStatus, const TrString& sentence);
    /// An error of the content model with its message, title and name; if the service did not respond,
    /// preceded by a sentence about the network.
    explicit Problem(const CMError& error);

    int status;
    TrString detail; ///< a sentence for people
    TrString reason; ///< further data of the content model; may be empty
    TrString title;
    QString name; ///< of the content model's error; otherwise empty
    int code = 0; ///< the service's error code, such as an HTTP status; 0 if there is none
    QVector<QPair<QByteArray, QByteArray>> headers;

    HttpResponse response(const Language& language) const;
};
