#pragma once

#include "api/types/trstring.h"
#include "player/play/AudioFormat.h"

#include <QObject>

/// Plays one stream, and another one behind it without a gap. Lives on one thread, which has an event loop;
/// no operation blocks for longer than a pipeline takes to change its state. Signals come from the event
/// loop and are about what was played last; after stop() there are none.
class AbstractStreamPlayer : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Opens an `http` or `https` stream and plays it from `startMs` on, or stands there silent; one that
    /// plays is stopped. A stream that has not begun within 30 seconds has failed, and so has one that stalls
    /// for two minutes.
    virtual void play(const QString& uri, qint64 startMs, bool paused) = 0;
    /// Prepares the stream that follows this one without a gap; one that was set before has to be heard or
    /// dropped first. False when it is too late for that, or it cannot be opened: ended() comes.
    virtual bool setNext(const QString& uri) = 0;
    /// Forgets the next stream. False when it is too late, as its sound is already on the way: wentOver()
    /// comes.
    virtual bool dropNext() = 0;
    virtual void setPaused(bool paused) = 0;
    /// Silence; nothing is under way when this returns.
    virtual void stop() = 0;

    /// To this place in the stream. False when the stream cannot do that now.
    virtual bool seek(qint64 positionMs) = 0;
    /// 0 to 100, which a person hears as even steps; kept from stream to stream.
    virtual void setVolume(int percent) = 0;
    virtual void setMuted(bool muted) = 0;
    /// Lowers the volume further: 1 leaves it as it is, 0 is silence. Kept from stream to stream.
    virtual void setFade(double gain) = 0;

    /// Where in the stream the sound is; after a seek at once where that leads.
    virtual qint64 positionMs() const = 0;
    /// 0 when it is not known.
    virtual qint64 durationMs() const = 0;
    virtual bool canSeek() const = 0;
    virtual AudioFormat format() const = 0;

Q_SIGNALS:
    /// Sound comes out; again after each pause and each stall.
    void playing();
    void paused();
    /// There is no sound until more of the stream has come.
    void stalled();
    /// A seek has arrived.
    void moved();
    /// The stream was played to its end, and it is the next one's turn: that is the current one now, and
    /// playing(), in a pause or a stall paused() or stalled(), or failed() follows.
    void wentOver();
    /// The stream was played to its end, and there was no next one, or that had not come in time: it is as
    /// if it had not been set.
    void ended();
    /// The stream broke off or could not be played; the sentence says why.
    void failed(const TrString& sentence);
    /// The next stream cannot be played; there is none any longer.
    void nextFailed(const TrString& sentence);
    /// There is nowhere to play to; the sentence says why. The stream itself is as good as it was.
    void outputFailed(const TrString& sentence);
};
