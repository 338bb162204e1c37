#pragma once

#include <QtGlobal>

/// What this process takes of the machine.
struct ResourceUse
{
    /// Memory that is the process's own: heap, stacks, data that was written to; swapped out or not. Nothing
    /// is given back to the system for the measurement: what lies about unused in the heap takes the device's
    /// memory as well.
    qint64 ownKb = 0;
    qint64 residentKb = 0; ///< all that is resident: pages of files, too
    int sockets = 0;       ///< descriptors that are sockets
    int otherDescriptors = 0;
    int threads = 0;

    static ResourceUse now();
};
