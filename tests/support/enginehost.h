#pragma once

#include "api/core/model/cmrootworker.h"
#include "player/play/AudioOutput.h"
#include "player/play/PlayEngine.h"
#include "tests/support/mediaserver.h"
#include "tests/support/scriptedplayworker.h"

#include <QMutex>
#include <QTemporaryDir>

/// Keeps every sample that it is given, at the pace of the clock, and can be taken away like a device.
class KeepingOutput final : public AudioOutput
{
public:
    GstElement* makeSink(QString* error) override;

    /// What was heard so far. Any thread.
    QByteArray samples() const;
    void clear();
    /// The streams that play now fail to be heard, and new ones find nothing to play to until plug().
    void unplug();
    void plug();
    /// How many sinks were asked for.
    int sinksAsked() const { return m_asked; }
    /// The last one, which its pipeline owns; null before the first.
    GstElement* sink() const { return m_sink; }

    /// For the sink. The streaming thread; false when it is unplugged.
    bool take(const char* data, int bytes);

private:
    mutable QMutex m_mutex;
    QByteArray m_samples;
    bool m_plugged = true;
    int m_asked = 0;
    GstElement* m_sink = nullptr;
};

/// A real engine with a scripted worker, whose tracks are the sandbox's own music as FLAC files.
class EngineHost
{
public:
    EngineHost();
    ~EngineHost();
    EngineHost(const EngineHost&) = delete;
    EngineHost& operator=(const EngineHost&) = delete;

    static constexpr int rateHz = 44100;
    static constexpr int frameBytes = 4; // 16 bits, stereo

    /// The FLAC file of a tune of this length.
    static QByteArray flac(int tune, int seconds, int rate = rateHz, int bits = 16);
    /// Puts a FLAC file where the track `id` resolves to.
    void addFlac(const QString& id, const QByteArray& flac);
    /// What a decoder makes of an audio file.
    QByteArray decoded(const QByteArray& file);

    /// Puts tracks into the queue, instead of what is there; gives their ids.
    QVector<int> fill(const QStringList& ids);
    /// As fill(), and plays to the end of the queue; false when that does not come.
    bool playAll(const QStringList& ids);

    QTemporaryDir dir;
    MediaServer media;
    CMRootWorker root;
    ScriptedPlayWorker worker;
    KeepingOutput output;
    PlayEngine engine;
};
