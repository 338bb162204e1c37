#pragma once

#include <QString>

/// The number of files, sockets included, that this process may have open at once. Any thread.
namespace FileLimit {

/// Raises the soft limit to the hard one. Called once at the start, before other threads exist.
void raise();
/// Whether enough descriptors are left to open another stream. False with a sentence otherwise: libraries
/// abort the process when they run out.
bool hasRoomForStream(QString* error);

} // namespace FileLimit
