#pragma once

#include "api/core/model/cmrequest.h"
#include "api/types/pelkroles.h"
#include "player/content/RowPaging.h"

#include <QVector>

/// Rows of a container: the requested range, as far as it exists.
struct RowPage
{
    QVector<PelkRoles> rows;
    int from = 0;
    int total = 0; ///< of the whole list, between 0 and RowPaging::mostRows
    int version = 0;

    /// Adds the rows of a reply to the request that `paging` described.
    void take(const PelkRowsRoles& reply, RowPaging* paging);
};

/// What requests to the content model have in common: their limits, roles and errors.
class ContentClient
{
public:
    static constexpr int timeoutMs = 35000;
    /// The maximum number of rows per request.
    static constexpr int pageSize = RowPaging::pageSize;

    /// The roles that a row can carry; every row request here asks for all of them.
    static QStringList allRoles();
    /// The rows of a reply to a request for allRoles().
    static QVector<PelkRoles> rowsOf(const PelkRowsRoles& reply);
    /// The sentence for a path that did not answer in time.
    static TrString noAnswer(const CMPath& path, int limitMs = timeoutMs);
    /// Whether the service sent no response or an incomplete one, as reported by modules that use HTTP.
    static bool isNetworkFault(const CMError& error);
    /// The message for the user, translatable: the content model's own message, or that the network may be
    /// down.
    static TrString userMessage(const CMError& error);
};
