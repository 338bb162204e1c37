#pragma once

#include "player/server/Endpoint.h"

class ContentCalls;
class PlayerLink;

/// The endpoints of the player and its queue.
QVector<Endpoint> playerEndpoints(PlayerLink* player, ContentCalls* calls);
