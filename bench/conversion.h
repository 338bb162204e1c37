#pragma once

#include "api/core/model/cmrequest.h"
#include "bench/pages.h"

/// What is measured in memory: a page's way from the callback of the HTTP client, with its code and body, to
/// the finished reply of the row request. The transport, the API client and the browser are the module's own.
class Conversion
{
public:
    /// One at a time in a process, which has a QCoreApplication. `page` outlives it.
    explicit Conversion(const Page& page);

    /// Asks for the page's rows, as the player does.
    void ask();
    /// Answers with the body. Afterwards the reply is finished.
    void answer();
    /// Instead of answer(): the same work by way of QJsonDocument and hashes, up to the finished reply.
    void answerByQJsonDocument();

    /// The rows of the finished reply, each the list of its values.
    QVariantList rows() const;
    /// The rows as JSON: a list of objects of the values that are there.
    QByteArray rowsAsJson() const;
    /// Ends the program with a sentence unless the reply has the page's rows, whatever made them.
    void check() const;

private:
    const Page& m_page;
    QByteArray m_body;
    CMGetRowsRequest m_request;
};
