// Sends the module every kind of request, with the sandbox as its service, and prints the requests on the
// wire and the replies. Values that differ between runs (ports, tokens, times) are replaced, so that all runs
// print the same text, also on different architectures.

#include "api/play/pelkplaylogicdata.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkqobuzaccount.h"
#include "api/types/pelkqobuzsoundquality.h"
#include "api/types/pelkroles.h"
#include "api/types/pelkvalue.h"
#include "api/types/qobuzpaths.h"
#include "sandbox/Sandbox.h"
#include "tests/module/samples.h"
#include "tests/support/logcapture.h"
#include "tests/support/modulehost.h"
#include "tests/support/rows.h"
#include "tests/support/variantlines.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QThread>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <httplib.h>

namespace {

sandbox::Options onAnyPort()
{
    sandbox::Options options;
    options.port = 0;
    return options;
}

class Transcript
{
public:
    Transcript()
        : m_sandbox(onAnyPort())
        , m_started(m_sandbox.start())
        , m_control("127.0.0.1", m_sandbox.port())
        , m_host(QString::fromStdString(m_sandbox.baseUrl()))
        , m_log("Qobuz"_s)
    {
        m_host.setSettings(QString::fromStdString(m_sandbox.baseUrl()), "100000001"_s,
                           "sandbox-secret-0123456789abcdef"_s);
        m_host.start();
    }

    bool started() const { return m_started; }

    /// Prints the rows of a path; gives them, each with the values of all roles.
    QVariantList rows(const QString& path, int from = 0, int to = 9)
    {
        print("rows %1 %2..%3"_s.arg(path).arg(from).arg(to));
        const ModuleHost::Rows answer = m_host.rows(path, from, to, allRoles());
        if (answer.finished && !answer.error.isSet())
            print("  %1 in all, version %2"_s.arg(answer.count).arg(answer.version));
        outcome(answer.finished, answer.error, answer.rows);
        return answer.rows;
    }

    /// `reports` is how many requests follow that the answer does not wait for.
    QVariant setData(const QString& path, const QString& role, const QVariant& value, int reports = 0)
    {
        print("set %1 %2"_s.arg(path, role));
        const ModuleHost::Data answer = m_host.setData(path, role, value);
        outcome(answer.finished, answer.error, answer.value, reports);
        return answer.value;
    }

    void getData(const QString& path)
    {
        print("get "_s + path);
        const ModuleHost::Data answer = m_host.getData(path, {PelkRoles::Value(), PelkRoles::Title()});
        outcome(answer.finished, answer.error, answer.value);
    }

    void setQuality(int quality)
    {
        m_host.setQuality(static_cast<PelkQobuzSoundQuality::Enum>(quality));
        m_host.settle();
    }

private:
    void outcome(bool finished, const CMError& error, const QVariant& value, int reports = 0)
    {
        // Work after the reply belongs to this request too: the last log line, a report.
        for (int tries = 0; reportsAnswered() < reports && tries < 500; ++tries)
            QThread::msleep(20);
        m_host.settle();
        if (!finished)
            print("  no answer"_s);
        else if (error.isSet())
            print(variantLines(error.variant(), "  error"_s));
        else
            print(variantLines(value, "  value"_s));
        printWire();
        const QList<LogCapture::Record> records = m_log.records();
        for (const LogCapture::Record& record : records)
            print("  log %1 %2:%3 %4"_s.arg(record.level).arg(record.file).arg(record.line).arg(record.text));
        m_log.clear();
    }

    /// The reports of streaming whose answer the module has heard.
    int reportsAnswered() const
    {
        const QStringList texts = m_log.texts(log4cplus::TRACE_LOG_LEVEL);
        return static_cast<int>(std::count_if(texts.begin(), texts.end(), [](const QString& text) {
            return text.contains("QobuzHttpInterface::httpCallback"_l);
        }));
    }

    void printWire()
    {
        const auto answer = m_control.Get("/control/requests");
        auto requests = answer ? nlohmann::json::parse(answer->body).at("requests") : nlohmann::json::array();
        for (int i = 0; i < m_printed && !requests.empty(); ++i)
            requests.erase(0);
        m_printed += static_cast<int>(requests.size());
        for (const auto& request : requests) {
            print("  wire %1 %2"_s.arg(QString::fromStdString(request.at("method")),
                                       QString::fromStdString(request.at("target"))));
            print("    "_s + QString::fromStdString(request.at("headers").dump()));
            print("    status %1"_s.arg(request.at("status").get<int>()));
        }
    }

    void print(const QStringList& lines)
    {
        for (const QString& line : lines)
            print(line);
    }
    void print(QString line)
    {
        static const QRegularExpression token("\\b\\d{13}-\\d{13}-[0-9a-f]{64}\\b"_s);
        static const QRegularExpression timed(
            "((request_ts|request_sig|expires|signature|date|duration)=)[0-9a-f]+"_s);
        line.replace(":"_l + QString::number(m_sandbox.port()), ":PORT"_s);
        line.replace(token, "TOKEN"_s);
        line.replace(timed, "\\1TIMED"_s);
        std::puts(line.toUtf8().constData());
    }

    sandbox::Sandbox m_sandbox;
    bool m_started;
    httplib::Client m_control;
    ModuleHost m_host;
    LogCapture m_log;
    int m_printed = 0; // requests
};

QVariant ofRole(const QVariant& row, const QString& role)
{
    return row.toList().value(allRoles().indexOf(role));
}

/// The path that a row leads to, in its text form.
QString pathOf(const QVariant& row)
{
    return ofRole(row, PelkRoles::Path()).toString();
}

/// The whole row again, as the player sends it to be resolved.
PelkRoles rowFrom(const QVariant& row)
{
    QVariantHash hash;
    for (const QString& role : allRoles())
        if (ofRole(row, role).isValid())
            hash.insert(role, ofRole(row, role));
    return PelkRoles(PelkHash(hash));
}

void browse(Transcript& transcript)
{
    const QVariantList menu = transcript.rows("qobuz:"_s);
    for (const QVariant& row : menu)
        transcript.rows(pathOf(row));
    for (const char* list :
         {"featured/albums", "featured/artists", "featured/playlists", "playlists", "favourites/tracks",
          "favourites/albums", "favourites/artists", "purchases/tracks", "purchases/albums"}) {
        const QString path = "qobuz:"_s + QLatin1String(list);
        const QVariantList rows = transcript.rows(path, 3, 12);
        for (const QVariant& row : rows.mid(0, 2))
            transcript.rows(pathOf(row), 0, 4);
    }
    for (const char* list : {"artists", "albums", "tracks", "playlists"})
        for (const char* text : {"summer", "\xe6\x9d\xb1\xe4\xba\xac & +%?#", ""}) {
            CMPath path("qobuz:search/"_s + QLatin1String(list));
            path.addParam("query"_s, QString::fromUtf8(text));
            transcript.rows(path.toString(), 0, 4);
        }
    transcript.rows("qobuz:featured/albums"_s, -1, 9);
    transcript.rows("qobuz:featured/albums"_s, 9, 3);
    transcript.rows("qobuz:featured/albums"_s, 1000000, 1000009);
    transcript.rows("qobuz:featured/unheardOf"_s);
    transcript.rows("qobuz:album?id=nothing"_s);
    transcript.rows("qobuz:artist?id=x"_s);
    transcript.rows("qobuz:track?id=1"_s);
}

void play(Transcript& transcript)
{
    const QVariant track = transcript.rows("qobuz:favourites/tracks"_s, 0, 0).value(0);
    const PelkRoles row = rowFrom(track);
    const QString preplay = row.mediaData().metaData().prePlayPath().toString();
    for (int quality = 0; quality < 4; ++quality) {
        transcript.setQuality(quality);
        const PelkRoles resolved(
            PelkHash(transcript.setData(preplay, PelkRoles::PrePlay(), row.variant()).toHash()));
        const QString changes = resolved.mediaData().metaData().contentStateChangePath().toString();
        for (const auto state : {PelkPlayLogicState::Playing, PelkPlayLogicState::Stopped}) {
            PelkPlayLogicData data;
            data.setTrackRoles(resolved);
            data.setState(state);
            transcript.setData(changes, PelkRoles::Value(), data.variant(), 1);
        }
    }
    transcript.setData("qobuz:preplay?id=0"_s, PelkRoles::PrePlay(), row.variant());
    transcript.setData("qobuz:preplay"_s, PelkRoles::PrePlay(), row.variant());
}

} // namespace

int main(int argc, char** argv)
try {
    const QCoreApplication application(argc, argv);
    Transcript transcript;
    if (!transcript.started()) {
        std::fputs("The sandbox did not start.\n", stderr);
        return 1;
    }
    transcript.rows("qobuz:featured/albums"_s);
    transcript.getData(accountPath());
    transcript.setData(accountPath(), PelkRoles::Value(),
                       accountValue(login("demo@example.com"_s, "wrong"_s)));
    transcript.setData(accountPath(), PelkRoles::Value(),
                       accountValue(login("demo@example.com"_s, "demo"_s)));
    browse(transcript);
    play(transcript);
    transcript.setData(accountPath(), PelkRoles::Value(),
                       accountValue(account(PelkQobuzAccountOperation::Remove)));
    transcript.rows("qobuz:featured/albums"_s);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
