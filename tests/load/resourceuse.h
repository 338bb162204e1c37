#pragma once

#include <QtGlobal>

/// What this process takes of the machine.
struct ResourceUse
{
    /// Memory that is the process's own (heap, stacks, data that was written to), swapped out or not, once
    /// what lies free in the heap has been given back: how much of that there is changes by a megabyte with
    /// the order in which threads run.
    qint64 ownKb = 0;
    /// All that is resident, pages of files included, and before anything was given back.
    qint64 residentKb = 0;
    int sockets = 0; ///< descriptors that are sockets
    int otherDescriptors = 0;
    int threads = 0;

    static ResourceUse now();
};
