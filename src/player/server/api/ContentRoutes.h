#pragma once

#include "player/server/api/Route.h"
#include "player/server/http/Limits.h"

class ContentRequests;

/// The routes of the content model: reading rows, reading data of nodes, and setting values.
QVector<Route> contentRoutes(ContentRequests* contentRequests, const Limits& limits);
