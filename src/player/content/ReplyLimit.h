#pragma once

#include "api/core/model/cmreply.h"
#include "api/types/cmpath.h"

#include <QObject>

#include <functional>

/// Calls `done` once, on the calling thread, when a reply has finished or the time for an answer is over. It
/// is given the finished reply, or a null one and an error that says which path gave no answer. It must not
/// hold the reply itself: the reply holds it. Nothing is called once `context` has gone. Needs an event loop.
void whenFinished(QObject* context, const CMVoidReply& reply, const CMPath& path,
                  const std::function<void(const CMVoidReply& finished, const CMError& error)>& done);
