#pragma once

#include "api/core/model/cmrequest.h"
#include "api/types/pelkroles.h"
#include "player/content/RowPaging.h"

#include <QVector>

/// Rows of a container, as many as were asked for and are there.
struct RowPage
{
    QVector<PelkRoles> rows;
    int from = 0;
    int total = 0; ///< of the whole list, between 0 and RowPaging::mostRows
    int version = 0;

    /// Adds the rows of a reply to a request for what `paging` said.
    void take(const PelkRowsRoles& reply, RowPaging* paging);
};

/// Asks the content model and waits for its answer, with the event loop running. Main thread. Each operation
/// returns false when there was an error or no answer within 35 seconds; `error` is then a sentence.
class ContentClient
{
public:
    static constexpr int timeoutMs = 35000;
    /// The most rows that are asked for at once.
    static constexpr int pageSize = RowPaging::pageSize;

    /// The roles that a row can carry; every row request here asks for all of them.
    static QStringList allRoles();
    /// The rows of a reply to a request for allRoles().
    static QVector<PelkRoles> rowsOf(const PelkRowsRoles& reply);
    /// The sentence for a path that did not answer in time.
    static TrString noAnswer(const CMPath& path, int limitMs = timeoutMs);
    /// Whether the service gave no answer, or not a whole one, as modules that speak HTTP tell it.
    static bool isNetworkFault(const CMError& error);
    /// An error for people who read different languages: what the content model says, as it came, or that the
    /// network may be down.
    static TrString told(const CMError& error);
    /// An error as a sentence, in the program's language.
    static QString sentence(const CMError& error);

    /// The rows `from` to `to`, both inclusive. Answers may be shorter than asked for, so this asks again
    /// from where one ended as RowPaging says.
    static bool rows(const CMPath& path, int from, int to, RowPage* page, QString* error);
    /// Waits for a reply that comes from this path.
    static bool wait(const CMVoidReply& reply, const CMPath& path, QString* error);
};
