#pragma once

#include "player/server/api/Route.h"

class History;

/// What was played lately, and forgetting it. The history is not owned; without one there is nothing.
QVector<Route> historyRoutes(History* history);
