#pragma once

#include <cstddef>

/// All limits of the panel's server. Tests lower some of them.
struct Limits
{
    std::size_t headBytes = 16 * 1024;
    std::size_t urlBytes = 8 * 1024;
    std::size_t bodyBytes = 64 * 1024;
    std::size_t discardedBytes = 1024 * 1024; ///< of a refused body; a longer one closes the connection
    int sendBufferBytes = 128 * 1024;         ///< of a socket, that the kernel keeps for its reader

    int headMs = 10000;           ///< for a head, from its first byte to its last
    int bodyMs = 10000;           ///< for a body, from the end of the head
    int idleMs = 60000;           ///< between two requests
    int silentReaderSeconds = 20; ///< a reader that accepts nothing for this long is disconnected
    int contentMs = 35000;        ///< for a reply of the content model
    int heartbeatMs = 15000;      ///< between two comments on an event stream
    int eventMs = 20;             ///< between two events about the same state

    int failedLoginsPerMinute = 5; ///< of one address
    int failedLoginsPerHour = 100; ///< of all

    int certificateLookMs =
        3600 * 1000; ///< between two looks whether the certificate ends soon or has changed

    int connections = 512;
    int connectionsPerPeer = 32;   ///< beyond loopback
    int reservedDescriptors = 192; ///< of the process, for everything but connections

    int readsPerPeer = 16; ///< in the content model at once; others wait
    int writesPerPeer = 4;
    int waitingPerPeer = 16;   ///< waiting for others of their peer, beyond loopback
    int waitingRequests = 256; ///< waiting for others, of all peers

    int eventStreams = 64;
    int valuesPerStream = 16;
    int waitingNotices = 16; ///< for a slow reader
    int loaders = 8;         ///< lists being added to the queue

    int rows = 100; ///< of one response
    int roles = 16;
    int pathLetters = 4096;
};
