// Included before everything else in a build under ThreadSanitizer.
#pragma once

// What Qt's values share may be written in place once the count of its owners says that there is no other. Qt
// reads that count relaxed, and no processor writes ahead of the branch; by the language's rules, which
// ThreadSanitizer keeps to, it takes an acquiring read to come after those who were owners before.
#if __has_include(<QtCore/qrefcount.h>)
#include <QtCore/qatomic.h>
#define loadRelaxed loadAcquire
#include <QtCore/qrefcount.h>
#undef loadRelaxed
#endif
