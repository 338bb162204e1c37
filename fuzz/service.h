#pragma once

#include "tests/support/memoryservice.h"

#include <QVector>

#include <functional>

/// The module, with the harness as its service, and all operations of the module.
class Service : public MemoryService
{
public:
    using MemoryService::MemoryService;

    /// Every call of the API client, and the record that it returns.
    struct Call
    {
        std::function<CMVoidReply(QobuzApi&)> make;
        /// The reply's record, as the hash it was made from, after each of its getters was called at every
        /// depth.
        std::function<PelkHash(const CMVoidReply&)> read;
    };
    static const QVector<Call>& calls();
};
