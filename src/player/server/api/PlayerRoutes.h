#pragma once

#include "player/server/api/Route.h"

class ContentRequests;
class PlayEngine;
class QueueFilling;

/// The routes of the player and its queue. The operations are done at once: none of them blocks.
QVector<Route> playerRoutes(PlayEngine* engine, QueueFilling* filling,
                            const ContentRequests* contentRequests);
