#pragma once

#include "api/core/export.h"
#include "api/types/cmpath.h"
#include "api/types/pelkvalue.h"

/// Saves values of the root worker between runs of the player. Root worker's thread.
class PELK_API_EXPORT CMValueStore
{
public:
    CMValueStore() = default;
    virtual ~CMValueStore();
    CMValueStore(const CMValueStore&) = delete;
    CMValueStore& operator=(const CMValueStore&) = delete;

    /// Whether a value is valid for the path; otherwise `error` is a sentence that says why not.
    virtual bool accepts(const CMPath& path, const PelkValue& value, QString* error) const;
    /// The saved value of a path; empty if there is none.
    virtual PelkValue read(const CMPath& path) const = 0;
    /// Saves a value. True: it survives a power cut. False: the old value is unchanged, and `error` is a
    /// sentence that says why.
    virtual bool write(const CMPath& path, const PelkValue& value, QString* error) = 0;
};
