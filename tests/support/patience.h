#pragma once

#include <QtGlobal>

/// How long a test waits for something that has to come. No test that passes waits so long: the limit only
/// ends a test that would otherwise hang, on a machine that has much else to do. PELK_PATIENCE_MS changes it.
inline const int patienceMs =
    qEnvironmentVariableIsSet("PELK_PATIENCE_MS") ? qEnvironmentVariableIntValue("PELK_PATIENCE_MS") : 60000;
