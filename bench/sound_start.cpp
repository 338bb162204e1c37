// How long it takes from an address to the first sound, over loopback. Usage: sound_start ROUNDS. Prints the
// median and the longest of its rounds for each of two FLAC files, in microseconds.

#include "tests/support/enginehost.h"
#include "tests/support/testhttpserver.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <gst/gst.h>

#include <algorithm>
#include <cstdio>
#include <vector>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    gst_init(nullptr, nullptr);
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1;
    TestHttpServer server;
    const auto serve = [&server](const QByteArray& path, const QByteArray& file) {
        TestHttpServer::Response response;
        response.headers = {{"Content-Type", "audio/flac"}};
        response.body = file;
        server.answer(path, response);
    };
    serve("/cd", EngineHost::flac(1, 20));
    serve("/hires", EngineHost::flac(2, 10, 192000, 24));
    for (const char* path : {"/cd", "/hires"}) {
        std::vector<qint64> times;
        for (int round = 0; round < rounds; ++round) {
            EngineHost host;
            host.worker.uris.insert(QStringLiteral("1"), server.url(QString::fromLatin1(path)));
            host.fill({QStringLiteral("1")});
            QElapsedTimer clock;
            QEventLoop loop;
            clock.start();
            host.engine.play(); // the scripted worker resolves at once
            while (host.output.samples().isEmpty() && clock.elapsed() < 10000)
                loop.processEvents(QEventLoop::AllEvents, 1);
            times.push_back(clock.nsecsElapsed() / 1000);
        }
        std::sort(times.begin(), times.end());
        std::printf("%lld %lld\n", static_cast<long long>(times.at(times.size() / 2)),
                    static_cast<long long>(times.back()));
    }
    return 0;
}
