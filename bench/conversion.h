#pragma once

#include "api/core/model/cmrequest.h"
#include "bench/pages.h"

/// The measurement in memory: from the callback of the HTTP client, with status code and body, to the
/// finished reply of the row request. The transport, the API client and the browser are the module's own.
class Conversion
{
public:
    /// Only one at a time per process, which must have a QCoreApplication. `page` must outlive it.
    explicit Conversion(const Page& page);

    /// Requests the page's rows, as the player does.
    void ask();
    /// Delivers the body. Afterwards the reply is finished.
    void answer();
    /// Instead of answer(): the same work with QJsonDocument and hashes, up to the finished reply.
    void answerByQJsonDocument();

    /// The rows of the finished reply, each the list of its values.
    QVariantList rows() const;
    /// The rows as JSON: a list of objects of the values that are there.
    QByteArray rowsAsJson() const;
    /// Ends the program with a sentence unless the reply has the page's rows.
    void check() const;

private:
    const Page& m_page;
    QByteArray m_body;
    CMGetRowsRequest m_request;
};
