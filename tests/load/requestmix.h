#pragma once

#include "api/core/model/cmrootworker.h"

#include <functional>

/// The requests of the load: what number leads to which request, and whether its answer is the right one. The
/// same number always gives the same request.
namespace RequestMix {

/// Called for each answer, with what is wrong with it; empty where nothing is.
using Answered = std::function<void(const QString& fault)>;

/// How thoroughly answers are compared.
enum Check
{
    Short, ///< error, count, version, and the titles of the first and the last row
    Full   ///< every role of every row, with its type
};

/// Asks for rows that there are: a third are the module's own, the others come from the service.
void sendRows(CMRootWorker& root, int number, Check check, Qt::ConnectionType type, const Answered& answered);

/// Sends what is no request for rows, or is one that has to fail: pre-play, play states, the sound quality,
/// an account without an operation, a query node's values, bad ranges and paths, answers that are errors.
/// False for what stays without an answer on purpose.
bool sendOther(CMRootWorker& root, int number, Qt::ConnectionType type, const Answered& answered);

} // namespace RequestMix
