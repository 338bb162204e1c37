#pragma once

#include "player/server/api/Route.h"

class History;

/// The routes for reading and clearing the history. The history is not owned; without one the list is empty.
QVector<Route> historyRoutes(History* history);
