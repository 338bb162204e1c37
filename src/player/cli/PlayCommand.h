#pragma once

#include "player/play/PlayEngine.h"

class SignalWatch;
class WavWriter;
struct CommandLine;

/// Plays what the command line names until it is over, and shows how far it is on standard error. Main
/// thread; returns the exit code.
class PlayCommand : public QObject
{
    Q_OBJECT

public:
    explicit PlayCommand(const CommandLine& line);

    /// `signalWatch` stops the playing, as a listener would; what is told about it still goes out.
    int run(SignalWatch* signalWatch);

private:
    int play(AudioOutput* output, const CMPath& path, SignalWatch* signalWatch);
    void onStarted(const PelkRoles& row);
    void onFailed(const PelkRoles& row, const TrString& sentence);
    void onBrokeOff(const PelkRoles& row, const TrString& sentence);
    void onStalled();
    void showProgress(const PlayEngine& engine);

    const CommandLine& m_line;
    QString m_title;
    qint64 m_durationSeconds = 0;
    bool m_showing = false;
    bool m_stalled = false;
    bool m_anyStarted = false;
    bool m_anyFailed = false;
};
