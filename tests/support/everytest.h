// Included before everything else in every test program, and precompiled.
#pragma once

#include "tests/support/patience.h"

#include <QtTest>

// Qt's own limit for these is 5 s, which a busy machine exceeds.
#undef QTRY_VERIFY
#define QTRY_VERIFY(expression) QTRY_VERIFY_WITH_TIMEOUT((expression), patienceMs)
#undef QTRY_VERIFY2
#define QTRY_VERIFY2(expression, message) QTRY_VERIFY2_WITH_TIMEOUT((expression), (message), patienceMs)
#undef QTRY_COMPARE
#define QTRY_COMPARE(actual, expected) QTRY_COMPARE_WITH_TIMEOUT((actual), (expected), patienceMs)
