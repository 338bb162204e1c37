// A host of the module, up to the first reply: the root menu. Usage: module_host [without]. Prints "ready"
// when the reply is there, and then how many KiB are resident; with the argument the module is never loaded,
// but for that the program is the same.

#include "api/http/httpclient.h"
#include "api/types/qobuzpaths.h"
#include "bench/resident.h"
#include "tests/support/modulehost.h"

#include <QCoreApplication>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const bool with = argc < 2;
    const log4cplus::Initializer initializer;
    log4cplus::Logger::getRoot().addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::WARN_LOG_LEVEL);

    // Any host of modules has the SDK's libraries loaded, the one for HTTP among them.
    HttpClient::waitForIdle(0);
    ModuleHost host(QStringLiteral("http://127.0.0.1:1/api.json/0.2/"));
    host.setSession();
    if (with) {
        host.start();
        if (host.rows(PelkQobuzBrowsePath().toString(), 0, 99).rows.size() != 5)
            qFatal("the root menu does not have its rows");
    }
    std::puts("ready");
    std::fflush(stdout);
    std::printf("%ld\n", residentKib());
    host.stop();
    return 0;
}
