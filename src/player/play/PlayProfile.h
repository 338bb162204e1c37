#pragma once

#include "api/types/pelkroles.h"

#include <functional>

/// What playback has to know of a service. Without a profile there is one quality, and no stream is lower.
struct PlayProfile
{
    /// The quality that streams are asked for in. A prepared stream of another quality is asked for again.
    std::function<QString()> quality = [] { return QString(); };
    /// Whether the stream of this resolved row is of a lower quality than that.
    std::function<bool(const QString& quality, const PelkRoles& row)> isLower =
        [](const QString&, const PelkRoles&) { return false; };
};
