#pragma once

#include "api/core/export.h"
#include "api/types/cmpath.h"
#include "api/types/pelkvalue.h"

/// Where the root worker keeps values between two runs of the player. Used on the root worker's thread.
class PELK_API_EXPORT CMValueStore
{
public:
    CMValueStore() = default;
    virtual ~CMValueStore();
    CMValueStore(const CMValueStore&) = delete;
    CMValueStore& operator=(const CMValueStore&) = delete;

    /// Whether a value that somebody asks to be set is one that can stand at the path; else `error` is a
    /// sentence that says why not.
    virtual bool accepts(const CMPath& path, const PelkValue& value, QString* error) const;
    /// The value kept for a path; an empty one where there is none.
    virtual PelkValue read(const CMPath& path) const = 0;
    /// Keeps a value. When this returns true it survives a power cut; else `error` is a sentence that says
    /// why not, and what was kept before is still there.
    virtual bool write(const CMPath& path, const PelkValue& value, QString* error) = 0;
};
