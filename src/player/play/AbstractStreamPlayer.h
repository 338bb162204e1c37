#pragma once

#include "api/types/trstring.h"
#include "player/play/AudioFormat.h"

#include <QObject>

/// Plays one stream, and the next one after it without a gap. Used on one thread with an event loop;
/// operations block only while a pipeline changes its state. Signals are emitted from the event loop and
/// concern the last play(); after stop() none are emitted.
class AbstractStreamPlayer : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Stops the current stream, opens an `http` or `https` stream, and plays it from `startMs` or pauses it
    /// there. Emits failed() if the stream does not begin within 30 seconds or stalls for two minutes.
    virtual void play(const QString& uri, qint64 startMs, bool paused) = 0;
    /// Prepares the stream that follows without a gap. A stream that was set before must be heard or dropped
    /// first. False if it is too late or the stream cannot be opened: then ended() is emitted.
    virtual bool setNext(const QString& uri) = 0;
    /// Drops the next stream. False if it is too late, because its sound is on its way to the output: then
    /// nextStarted() is emitted.
    virtual bool dropNext() = 0;
    virtual void setPaused(bool paused) = 0;
    /// Stops the sound and all requests before it returns.
    virtual void stop() = 0;

    /// Seeks to this position in the stream. False if the stream cannot seek now.
    virtual bool seek(qint64 positionMs) = 0;
    /// 0 to 100, in steps that sound even; kept for later streams.
    virtual void setVolume(int percent) = 0;
    virtual void setMuted(bool muted) = 0;
    /// Multiplies the volume: 1 leaves it unchanged, 0 is silence. Kept for later streams.
    virtual void setFade(double gain) = 0;

    /// The position of the sound in the stream; after seek() immediately the target.
    virtual qint64 positionMs() const = 0;
    /// 0 when it is not known.
    virtual qint64 durationMs() const = 0;
    virtual bool canSeek() const = 0;
    virtual AudioFormat format() const = 0;

Q_SIGNALS:
    /// Sound is audible; emitted again after each pause and stall.
    void playing();
    void paused();
    /// There is no sound until more of the stream is received.
    void stalled();
    /// A seek is complete.
    void moved();
    /// The stream was played to its end. The next stream is now the current one. One of playing(), paused(),
    /// stalled() and failed() follows.
    void nextStarted();
    /// The stream was played to its end and no next stream was ready. A late next stream is dropped.
    void ended();
    /// The stream broke off or could not be played; the sentence says why.
    void failed(const TrString& sentence);
    /// The next stream cannot be played and was dropped.
    void nextFailed(const TrString& sentence);
    /// The output cannot play; the sentence says why. The stream itself is still valid.
    void outputFailed(const TrString& sentence);
};
