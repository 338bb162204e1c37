#pragma once

#include "api/core/model/cmrequest.h"
#include "api/play/export.h"
#include "api/play/pelkplaylogicdata.h"
#include "api/play/pelkplaylogicstopreason.h"

#include <QObject>

/// The player, as modules see it. Any thread may call its operations.
///
/// The player's class derives from it. Without a player, playerInstance() is an object that never plays.
class PELK_PLAY_EXPORT PlayLogicInterface : public QObject
{
    Q_OBJECT

public:
    /// Makes this object the playerInstance() until it is deleted.
    explicit PlayLogicInterface(QObject* parent = nullptr);
    ~PlayLogicInterface() override;

    /// The player; never null. Not owned.
    static PlayLogicInterface* playerInstance();

    /// A snapshot of the player's state.
    virtual PelkPlayLogicData data() const = 0;
    /// Stops playback. Returns at once and never calls back into the caller; the reply finishes when the
    /// player has stopped.
    virtual CMVoidReply stop(PelkPlayLogicStopReason::Enum reason) = 0;

protected:
    /// Creates an object that is not the player.
    struct NotThePlayer
    {
    };
    explicit PlayLogicInterface(NotThePlayer /*tag*/) {}
};
