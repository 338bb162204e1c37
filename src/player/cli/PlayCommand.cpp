#include "player/cli/PlayCommand.h"

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "api/types/pelkresource.h"
#include "player/base/PrintableText.h"
#include "player/cli/CommandLine.h"
#include "player/cli/ExitCode.h"
#include "player/cli/ServiceProfile.h"
#include "player/cli/SignalWatch.h"
#include "player/cli/Terminal.h"
#include "player/host/ServiceAccount.h"
#include "player/play/AudioOutput.h"
#include "player/play/QueueLoader.h"

#include <QEventLoop>
#include <gst/gst.h>

#include <memory>

namespace {

constexpr int progressMs = 250;

QString clock(qint64 seconds)
{
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

/// "Title, Artist", or the path of a row without both.
QString titleOf(const PelkRoles& row)
{
    QString title = row.title().toString();
    if (title.isEmpty())
        title = row.path().toString();
    const QString artist = row.mediaData().metaData().artist();
    return printableText(artist.isEmpty() ? title : title + QStringLiteral(", ") + artist);
}

/// Turns a text that was written to stand alone into a sentence.
QString whole(const TrString& sentence)
{
    const QString text = sentence.toString();
    const bool isWhole = QStringLiteral(".!?").contains(text.right(1));
    return isWhole ? text : text + QLatin1Char('.');
}

} // namespace

PlayCommand::PlayCommand(const CommandLine& line, const QString& path)
    : m_path(path)
    , m_wavFile(line.text("to"))
    , m_seconds(line.whole("seconds", 0))
{
}

int PlayCommand::run(SignalWatch* signalWatch)
{
    CMPath path;
    QString error;
    if (!CMPath::parse(m_path, &path, &error)) {
        Terminal::error(error);
        return ExitCode::usage;
    }
    gst_init(nullptr, nullptr);
    if (m_wavFile.isEmpty()) {
        DeviceOutput output;
        if (!output.notice().isEmpty())
            Terminal::note(output.notice());
        return play(&output, path, signalWatch);
    }
    WavWriter writer(m_wavFile);
    writer.setLimit(m_seconds);
    if (!writer.open(&error)) {
        Terminal::error(error);
        return ExitCode::usage;
    }
    WavOutput output(&writer);
    const int code = play(&output, path, signalWatch);
    if (!writer.finish(&error)) {
        Terminal::error(error);
        return ExitCode::failed;
    }
    if (writer.milliseconds() > 0)
        Terminal::note(QStringLiteral("Wrote %1 of sound to %2.")
                           .arg(writer.milliseconds() == 1000
                                    ? QStringLiteral("1 second")
                                    : QStringLiteral("%1 seconds").arg(double(writer.milliseconds()) / 1000),
                                m_wavFile));
    return code;
}

int PlayCommand::play(AudioOutput* output, const CMPath& path, SignalWatch* signalWatch)
{
    PlayEngine engine(output, serviceProfile());
    QueueLoader loader(&engine.queue(), path, PlayQueue::Where::Replace);
    QEventLoop loop;
    QTimer progress;
    connect(&progress, &QTimer::timeout, this, [&] { showProgress(engine); });
    connect(&engine, &PlayEngine::trackStarted, this, [&](const PelkRoles& row) {
        onStarted(row);
        const PlayerStatus status = engine.status();
        QString format = status.format.toString();
        if (status.lowerThanAsked)
            format += QStringLiteral(", below your setting");
        if (Terminal::errorIsTerminal())
            showProgress(engine);
        else
            Terminal::note(
                QStringLiteral("Playing %1%2")
                    .arg(m_title, format.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(format)));
    });
    connect(&engine, &PlayEngine::trackEnded, this, [&](const PelkRoles&) {
        if (m_showing)
            Terminal::note(QStringLiteral("Played %1").arg(m_title));
        m_showing = false;
    });
    connect(&engine, &PlayEngine::trackFailed, this, &PlayCommand::onFailed);
    connect(&engine, &PlayEngine::trackBrokeOff, this, &PlayCommand::onBrokeOff);
    connect(&engine, &PlayEngine::trackStalled, this, &PlayCommand::onStalled);
    connect(&engine, &PlayEngine::trackResumed, this, [this] { m_stalled = false; });
    connect(&engine, &PlayEngine::outputGone, this, [](const TrString& sentence) {
        Terminal::error(
            QStringLiteral("The audio output was lost. Playback resumes when it is available again. (%1)")
                .arg(sentence.toString()));
    });
    connect(&engine, &PlayEngine::finished, &loop, &QEventLoop::quit);
    connect(signalWatch, &SignalWatch::caught, &engine, [&] {
        if (engine.status().state == PelkPlayLogicState::Stopped)
            loop.quit(); // nothing has begun that could be finished
        engine.stop();
    });
    connect(&loader, &QueueLoader::pageAdded, &engine, [&engine, first = true]() mutable {
        if (first)
            engine.play();
        first = false;
    });
    connect(&loader, &QueueLoader::finished, &engine, [&](const TrString& sentence) {
        if (sentence != TrString())
            onFailed(PelkRoles(), sentence);
        if (loader.added() == 0)
            loop.quit();
    });
    progress.start(progressMs);
    engine.stopAfter(m_seconds);
    const PelkRoles track = ServiceAccount::trackRow(path);
    if (track.isEmpty()) {
        QMetaObject::invokeMethod(&loader, &QueueLoader::start, Qt::QueuedConnection);
    } else {
        engine.queue().add({track}, PlayQueue::Where::Replace);
        engine.play();
    }
    loop.exec();
    if (signalWatch->number() != 0)
        return ExitCode::signalBase + signalWatch->number();
    if (!m_anyStarted && !m_anyFailed) {
        Terminal::error(
            QStringLiteral("\"%1\" contains no tracks. Show its rows and play one of them.").arg(m_path));
        return ExitCode::failed;
    }
    if (!m_anyFailed)
        return ExitCode::ok;
    return ServiceAccount::lacksLogin(path) ? ExitCode::notLoggedIn : ExitCode::failed;
}

void PlayCommand::onStarted(const PelkRoles& row)
{
    m_anyStarted = true;
    m_showing = true;
    m_stalled = false;
    m_title = titleOf(row);
    m_durationSeconds = row.mediaData().resources().value(0).duration();
}

void PlayCommand::onFailed(const PelkRoles& row, const TrString& sentence)
{
    m_anyFailed = true;
    const QString login = ServiceAccount::lacksLogin(CMPath(m_path))
                              ? QStringLiteral(" Log in with: pelk login USER")
                              : QString();
    Terminal::error(
        row.isEmpty() ? whole(sentence) + login
                      : QStringLiteral("%1 cannot be played: %2").arg(titleOf(row), whole(sentence)) + login);
}

void PlayCommand::onBrokeOff(const PelkRoles& row, const TrString& sentence)
{
    m_anyFailed = true;
    Terminal::error(QStringLiteral("Playback of %1 was interrupted: %2").arg(titleOf(row), whole(sentence)));
}

void PlayCommand::onStalled()
{
    m_stalled = true;
    if (!Terminal::errorIsTerminal())
        Terminal::note(QStringLiteral("Buffering %1").arg(m_title));
}

void PlayCommand::showProgress(const PlayEngine& engine)
{
    if (!m_showing)
        return;
    QString line = clock(engine.status().positionMs / 1000);
    if (m_durationSeconds > 0)
        line += QStringLiteral(" / %1").arg(clock(m_durationSeconds));
    const QString what = m_stalled ? QStringLiteral("buffering") : engine.status().format.toString();
    Terminal::progress(QStringLiteral("%1  %2  %3").arg(line, what, m_title));
}
