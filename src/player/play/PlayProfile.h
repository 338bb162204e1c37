#pragma once

#include "api/types/pelkroles.h"

#include <functional>

/// What playback must know about a service. By default there is one quality, and no stream has a lower one.
struct PlayProfile
{
    /// The quality to request. A prepared stream of another quality is resolved again.
    std::function<QString()> quality = [] { return QString(); };
    /// Whether the stream of this resolved row has a lower quality than requested.
    std::function<bool(const QString& quality, const PelkRoles& row)> isLower =
        [](const QString&, const PelkRoles&) { return false; };
};
