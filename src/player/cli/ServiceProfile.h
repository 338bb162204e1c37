#pragma once

#include "player/host/ServiceAccount.h"
#include "player/play/PlayProfile.h"

/// What playback must know about the service.
inline PlayProfile serviceProfile()
{
    return {&ServiceAccount::quality, &ServiceAccount::isLowerThan};
}
