#pragma once

#include "player/server/Endpoint.h"

class ContentCalls;

/// The endpoints of the content model: its rows, what its nodes tell, and values that are set.
QVector<Endpoint> contentEndpoints(ContentCalls* calls);
