// The processor time that it takes to play a FLAC file of 24 bits at 192 kHz into a silent sink, at the pace
// of the clock. Usage: play_cost engine|pipeline MILLISECONDS. "engine": the player's, with the file over
// loopback from another process; "pipeline": GStreamer alone, with the file from the disk. Prints
// microseconds.

#include "api/core/model/cmrootworker.h"
#include "player/play/AudioOutput.h"
#include "player/play/PlayEngine.h"
#include "tests/support/enginehost.h"
#include "tests/support/scriptedplayworker.h"
#include "tests/support/testhttpserver.h"

#include <QCoreApplication>
#include <QTemporaryFile>
#include <QTimer>
#include <gst/gst.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace {

constexpr int leadMs = 1000; // what opening the stream costs is not counted

/// Stops the playing process when the file cannot be made: a bench has nothing to recover.
[[noreturn]] void give(const char* sentence)
{
    std::fprintf(stderr, "%s\n", sentence);
    std::exit(1);
}

GstElement* parsed(const QString& line, bool isBin)
{
    GError* error = nullptr;
    const QByteArray text = line.toUtf8();
    GstElement* made = isBin ? gst_parse_bin_from_description(text.constData(), TRUE, &error)
                             : gst_parse_launch(text.constData(), &error);
    if (error)
        give(error->message);
    return made;
}

const QString sink = QStringLiteral("audioconvert ! fakesink sync=true");

class SilentOutput final : public AudioOutput
{
public:
    GstElement* makeSink(QString* /*error*/) override { return parsed(sink, true); }
};

/// Of all threads of the process, in microseconds.
qint64 processorTime()
{
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return qint64(time.tv_sec) * 1000000 + time.tv_nsec / 1000;
}

/// Runs the event loop for so long, and prints the processor time but that of the lead.
void measure(int milliseconds)
{
    qint64 before = 0;
    QTimer::singleShot(leadMs, [&before] { before = processorTime(); });
    QTimer::singleShot(leadMs + milliseconds, &QCoreApplication::quit);
    QCoreApplication::exec();
    std::printf("%lld\n", static_cast<long long>(processorTime() - before));
}

/// A process that serves the file until it is killed; gives its address.
QString serve(const QByteArray& flac, pid_t* server)
{
    int ends[2];
    if (::pipe(ends) != 0)
        give("no pipe");
    *server = ::fork();
    if (*server == 0) {
        TestHttpServer http;
        TestHttpServer::Response response;
        response.headers = {{"Content-Type", "audio/flac"}};
        response.body = flac;
        http.answer("/hires", response);
        const QByteArray address = http.url(QStringLiteral("/hires")).toUtf8() + '\n';
        if (::write(ends[1], address.constData(), size_t(address.size())) == address.size())
            ::pause();
        ::_exit(0);
    }
    char address[200] = {};
    if (::read(ends[0], address, sizeof address - 1) <= 0)
        give("the server did not start");
    return QString::fromLatin1(address).trimmed();
}

} // namespace

int main(int argc, char** argv)
{
    const bool isEngine = argc == 3 && qstrcmp(argv[1], "engine") == 0;
    if (argc != 3 || (!isEngine && qstrcmp(argv[1], "pipeline") != 0))
        give("Usage: play_cost engine|pipeline MILLISECONDS");
    const int milliseconds = std::atoi(argv[2]);
    const QByteArray flac = EngineHost::flac(2, (leadMs + milliseconds) / 1000 + 2, 192000, 24);
    pid_t server = 0;
    const QString address = isEngine ? serve(flac, &server) : QString(); // before there are threads
    const QCoreApplication application(argc, argv);
    gst_init(nullptr, nullptr);
    if (isEngine) {
        CMRootWorker root;
        ScriptedPlayWorker worker;
        root.addWorker(&worker);
        worker.uris.insert(QStringLiteral("1"), address);
        SilentOutput output;
        PlayEngine engine(&output);
        engine.queue().add({ScriptedPlayWorker::row(QStringLiteral("1"))}, PlayQueue::Where::Replace);
        engine.play();
        measure(milliseconds);
        if (engine.status().positionMs < milliseconds)
            give("It was not played at the pace of the clock.");
        ::kill(server, SIGKILL);
        ::waitpid(server, nullptr, 0);
        return 0;
    }
    QTemporaryFile file;
    if (!file.open() || file.write(flac) != flac.size() || !file.flush())
        give("no file");
    GstElement* pipeline = parsed(
        QStringLiteral("filesrc location=%1 ! flacparse ! flacdec ! ").arg(file.fileName()) + sink, false);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    measure(milliseconds);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    return 0;
}
