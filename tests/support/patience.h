#pragma once

#include <QtGlobal>

/// How long a test waits for a required event. A passing test never waits this long: the limit only ends a
/// test that would otherwise hang, even on a busy machine. PELK_PATIENCE_MS changes it.
inline const int patienceMs =
    qEnvironmentVariableIsSet("PELK_PATIENCE_MS") ? qEnvironmentVariableIntValue("PELK_PATIENCE_MS") : 60000;
