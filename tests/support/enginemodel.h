#pragma once

#include "player/play/PlayerStatus.h"

#include <QMap>
#include <QStringList>

#include <optional>

/// A minimal model of the player's contract: which entry is current, what is shown, and what is reported to
/// the content model. Written from the contract alone, without knowledge of the engine's internals. A test
/// passes it each operation and event, and compares.
class EngineModel
{
public:
    using State = PelkPlayLogicState::Enum;

    // Must be the same as in the engine.
    QVector<int> order;
    int current = 0;
    RepeatMode repeat = RepeatMode::Off;
    bool shuffled = false;
    QVector<int> own; ///< the order without shuffling
    State shown = PelkPlayLogicState::Stopped;
    bool stalled = false;
    QStringList reports;
    int finishes = 0; ///< how often playing has ended

    // The operations in progress.
    int track = 0;     ///< the entry whose stream is open, or is to be opened again
    int resolving = 0; ///< the entry whose address is wanted
    bool heard = false;
    bool wantsPause = false;
    bool waiting = false;         ///< for more of the queue
    int growing = 0;              ///< how many are adding to the queue
    std::optional<qint64> heldMs; ///< where the track is to be opened again
    bool renewing = false;        ///< ... once it has a new address
    bool mustOpen = false;        ///< ... now
    bool outputLost = false;      ///< ... once there is an output ...
    qint64 retryAtMs = 0;         ///< ... which is resolved then
    bool outputGone = false;      ///< the output was lost, and nothing has been heard since
    std::optional<qint64> silentSinceMs;
    bool outputWorked = false;
    int failures = 0;

    QMap<int, QString> names;       ///< of the entries
    QMap<int, qint64> resolvedAtMs; ///< when an entry was resolved
    qint64 maxIdleMs = 0;           ///< how long an address is valid; 0: for ever
    qint64 nowMs = 0;

    /// The play state that modules read: that of the track whose stream is open, otherwise whether one is
    /// being resolved.
    QString dataState() const;
    bool isActive() const { return track != 0 || resolving != 0 || waiting; }
    int next(bool byItself) const;
    int previous() const { return around(-1); }

    // Operations.
    void play(qint64 positionMs);
    void pause();
    void stop();
    void goNext();
    void goPrevious(bool canSeek, qint64 positionMs);
    bool jump(int entry);
    void seek(qint64 to, bool canSeek, bool streamTakesIt);
    void removed(const QVector<int>& ids);
    /// Call after any change of the queue: the current or the awaited entry may have changed.
    void queueChanged();

    // Events.
    void opened(int entry);
    void reopened();
    void resolved(int entry, bool good);
    void streamPlays();
    void streamSilent(bool isStall);
    void streamEnded();
    void streamWentOver(int prepared);
    void streamFailed(qint64 positionMs);
    void outputFailed(qint64 positionMs);
    void outputRetried();

private:
    int around(int step) const;
    void report(const char* state, const QString& error = QString());
    void reportSilence();
    void start(int entry);
    void goOn(int entry);
    void end(const QString& error);
    void halt();
    void failed(const QString& error);
    void goOnAfterFailure();
    void reopen(qint64 at);
    bool isTooOld() const;

    QString m_reported;          // of the current track
    qint64 m_addressSinceMs = 0; // when its address was given
};
