#pragma once

#include "player/play/PlayEngine.h"

class SignalWatch;
class WavWriter;
class CommandLine;

/// Plays in this process until it is over, and shows how far it is on standard error. Main
/// thread; returns the exit code.
class PlayCommand : public QObject
{
    Q_OBJECT

public:
    /// `path` is played.
    PlayCommand(const CommandLine& line, const QString& path);

    /// `signalWatch` stops playback as a listener would; the stop is still reported to the service.
    int run(SignalWatch* signalWatch);

private:
    int play(AudioOutput* output, const CMPath& path, SignalWatch* signalWatch);
    void onStarted(const PelkRoles& row);
    void onFailed(const PelkRoles& row, const TrString& sentence);
    void onBrokeOff(const PelkRoles& row, const TrString& sentence);
    void onStalled();
    void showProgress(const PlayEngine& engine);

    const QString m_path;
    const QString m_wavFile; // empty is the sound device
    const int m_seconds;     // 0 is to the end
    QString m_title;
    qint64 m_durationSeconds = 0;
    bool m_showing = false;
    bool m_stalled = false;
    bool m_anyStarted = false;
    bool m_anyFailed = false;
};
