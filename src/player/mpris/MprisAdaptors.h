#pragma once

#include "player/play/PlayerStatus.h"

#include <QDBusAbstractAdaptor>
#include <QDBusObjectPath>
#include <QStringList>
#include <QVariantMap>

class PlayEngine;

/// org.mpris.MediaPlayer2: what the player is. Names and types are those of MPRIS 2.2.
class MprisRootAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ no)
    Q_PROPERTY(bool CanRaise READ no)
    Q_PROPERTY(bool HasTrackList READ no)
    Q_PROPERTY(QString Identity READ identity)
    Q_PROPERTY(QStringList SupportedUriSchemes READ nothing)
    Q_PROPERTY(QStringList SupportedMimeTypes READ nothing)

public:
    explicit MprisRootAdaptor(QObject* parent)
        : QDBusAbstractAdaptor(parent)
    {
    }
    bool no() const { return false; }
    QString identity() const { return QStringLiteral("Pelk"); }
    QStringList nothing() const { return {}; }

public Q_SLOTS:
    void Raise() {}
    void Quit() {}
};

/// org.mpris.MediaPlayer2.Player: what it does. Times are microseconds, as MPRIS has them.
class MprisPlayerAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(QString LoopStatus READ loopStatus WRITE setLoopStatus)
    Q_PROPERTY(double Rate READ rate WRITE setRate)
    Q_PROPERTY(bool Shuffle READ shuffle WRITE setShuffle)
    Q_PROPERTY(QVariantMap Metadata READ metadata)
    Q_PROPERTY(double Volume READ volume WRITE setVolume)
    Q_PROPERTY(qlonglong Position READ position)
    Q_PROPERTY(double MinimumRate READ rate)
    Q_PROPERTY(double MaximumRate READ rate)
    Q_PROPERTY(bool CanGoNext READ hasQueue)
    Q_PROPERTY(bool CanGoPrevious READ hasQueue)
    Q_PROPERTY(bool CanPlay READ hasQueue)
    Q_PROPERTY(bool CanPause READ canPause)
    Q_PROPERTY(bool CanSeek READ canSeek)
    Q_PROPERTY(bool CanControl READ yes)

public:
    /// The engine is not owned.
    MprisPlayerAdaptor(PlayEngine* engine, QObject* parent);

    QString playbackStatus() const;
    QString loopStatus() const;
    void setLoopStatus(const QString& status);
    double rate() const { return 1; }
    /// Only rate 1 is supported; MPRIS requires that 0 pauses.
    void setRate(double rate);
    bool shuffle() const;
    void setShuffle(bool shuffle);
    /// Without the stream address, which permits anyone to fetch the stream.
    QVariantMap metadata() const;
    double volume() const;
    void setVolume(double volume);
    qlonglong position() const;
    bool hasQueue() const;
    bool canPause() const;
    bool canSeek() const;
    bool yes() const { return true; }

public Q_SLOTS:
    void Next();
    void Previous();
    void Pause();
    void PlayPause();
    void Stop();
    void Play();
    void Seek(qlonglong offset);
    void SetPosition(const QDBusObjectPath& track, qlonglong position);
    void OpenUri(const QString& uri);

Q_SIGNALS:
    void Seeked(qlonglong position);

private:
    static QDBusObjectPath trackOf(int entry);
    void setPaused(bool paused);

    PlayEngine* m_engine;
};
