#pragma once

#include "api/core/model/cmrootworker.h"
#include "player/play/AudioOutput.h"
#include "player/play/PlayEngine.h"
#include "tests/support/mediaserver.h"
#include "tests/support/scriptedplayworker.h"

#include <QMutex>
#include <QTemporaryDir>

/// Stores every sample that it receives, in real time, and can disappear like a device.
class KeepingOutput final : public AudioOutput
{
public:
    GstElement* makeSink(QString* error) override;

    /// The samples heard so far. Any thread.
    QByteArray samples() const;
    void clear();
    /// Current streams lose their output, and new ones find none until plug().
    void unplug();
    void plug();
    /// How many sinks were requested.
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
    /// Puts a FLAC file at the address to which the track `id` resolves.
    void addFlac(const QString& id, const QByteArray& flac);
    /// The decoded samples of an audio file.
    QByteArray decoded(const QByteArray& file);

    /// Replaces the queue with these tracks; returns their ids.
    QVector<int> fill(const QStringList& ids);
    /// Like fill(), and plays to the end of the queue; false if that is not reached.
    bool playAll(const QStringList& ids);

    QTemporaryDir dir;
    MediaServer media;
    CMRootWorker root;
    ScriptedPlayWorker worker;
    KeepingOutput output;
    PlayEngine engine;
};
