#pragma once

#include "api/core/model/cmreply.h"
#include "api/types/cmpath.h"

#include <QObject>

#include <functional>

/// Calls `done` once, on the calling thread, when a reply finishes or its time-out expires: with the finished
/// reply, or with a null reply and an error that names the path. `done` must not hold the reply, which holds
/// `done`. It is not called after `context` is destroyed. Needs an event loop.
void whenFinished(QObject* context, const CMVoidReply& reply, const CMPath& path,
                  const std::function<void(const CMVoidReply& finished, const CMError& error)>& done);
