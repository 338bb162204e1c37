#pragma once

#include "player/server/api/Route.h"
#include "player/server/http/Limits.h"

class ContentRequests;

/// The routes of the content model: its rows, what its nodes tell, and values that are set.
QVector<Route> contentRoutes(ContentRequests* contentRequests, const Limits& limits);
