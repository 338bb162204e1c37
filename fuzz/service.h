#pragma once

#include "tests/support/memoryservice.h"

#include <QVector>

#include <functional>

/// The module in front of a service that is the harness, and everything that can be asked of it.
class Service : public MemoryService
{
public:
    using MemoryService::MemoryService;

    /// Every call of the API client, and the record that it answers with.
    struct Call
    {
        std::function<CMVoidReply(QobuzApi&)> make;
        /// The reply's record, as the hash it was made from, after each of its getters was called at every
        /// depth.
        std::function<PelkHash(const CMVoidReply&)> read;
    };
    static const QVector<Call>& calls();
};
