#pragma once

#include "modules/qobuz/QobuzApi.h"
#include "modules/qobuz/QobuzBrowser.h"
#include "modules/qobuz/QobuzHttpInterface.h"
#include "tests/support/modulehost.h"

/// The module's own transport, API client and browser in front of a service that is the program: a request
/// stays open until answer() is called. Nothing goes over a socket, so that an answer takes microseconds.
///
/// For programs that link the library pelk_test_memory_service, whose HttpClient takes the place of the
/// SDK's.
class MemoryService
{
public:
    /// A host whose settings have this base URL, and a user who is logged in.
    explicit MemoryService(const QString& apiUrl = QStringLiteral("https://www.qobuz.com/api.json/0.2/"));

    /// Answers an open request, the oldest one if not told otherwise, and returns the URL that it went to.
    static PelkUrl answer(int code, const QByteArray& body, const QString& servingHost = QString(),
                          int which = 0);
    static int open();
    /// Drops open requests and what is queued to the root worker.
    static void reset();

    ModuleHost host; // for its values
    QobuzHttpInterface http;
    QobuzApi api;
    QobuzBrowser browser;
};
