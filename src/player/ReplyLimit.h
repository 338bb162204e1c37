#pragma once

#include "api/core/model/cmreply.h"
#include "api/types/cmpath.h"

#include <QObject>

#include <functional>

/// Calls `done` once, on the calling thread, when a reply has finished or 35 seconds are over; the error says
/// which path gave no answer then. Nothing is called once `context` has gone. Needs an event loop.
void whenFinished(QObject* context, const CMVoidReply& reply, const CMPath& path,
                  const std::function<void(const CMError& error)>& done);
