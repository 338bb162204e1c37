#pragma once

#include "api/core/model/cmsubscribe.h"
#include "modules/qobuz/QobuzApi.h"
#include "modules/qobuz/QobuzBrowser.h"
#include "modules/qobuz/QobuzHttpInterface.h"
#include "tests/support/modulehost.h"

#include <QVector>

#include <functional>

/// The module's own transport, API client and browser in front of a service that is the harness: a request
/// stays open until answer() is called. Nothing goes over a socket, so that an input takes microseconds.
class Service
{
public:
    /// A host whose settings have this base URL, and a user who is logged in.
    explicit Service(const QString& apiUrl = QStringLiteral("https://www.qobuz.com/api.json/0.2/"));

    /// Answers an open request, the oldest one if not told otherwise, and returns the URL that it went to.
    static PelkUrl answer(int code, const QByteArray& body, const QString& servingHost = QString(),
                          int which = 0);
    static int open();
    /// Drops open requests and what is queued to the root worker.
    static void reset();

    /// Every call of the API client, and the record that it answers with.
    struct Call
    {
        std::function<CMVoidReply(QobuzApi&)> make;
        /// The reply's record, as the hash it was made from, after each of its getters was called at every
        /// depth.
        std::function<PelkHash(const CMVoidReply&)> read;
    };
    static const QVector<Call>& calls();

    ModuleHost host; // for its values
    QobuzHttpInterface http;
    QobuzApi api;
    QobuzBrowser browser;
};
