#pragma once

#include "modules/qobuz/QobuzApi.h"
#include "modules/qobuz/QobuzBrowser.h"
#include "modules/qobuz/QobuzHttpInterface.h"
#include "tests/support/modulehost.h"

/// The module's own transport, API client and browser, with a service inside this program: a request stays
/// open until answer() is called. No sockets are used, so a response takes microseconds.
///
/// For programs that link the library pelk_test_memory_service, whose HttpClient replaces that of the SDK.
class MemoryService
{
public:
    /// A host with this base URL in its settings, and a logged-in user.
    explicit MemoryService(const QString& apiUrl = QStringLiteral("https://www.qobuz.com/api.json/0.2/"));

    /// Answers an open request, by default the oldest one, and returns its URL.
    static PelkUrl answer(int code, const QByteArray& body, const QString& servingHost = QString(),
                          int which = 0);
    static int open();
    /// Drops open requests and calls queued to the root worker.
    static void reset();

    ModuleHost host; // for its values
    QobuzHttpInterface http;
    QobuzApi api;
    QobuzBrowser browser;
};
