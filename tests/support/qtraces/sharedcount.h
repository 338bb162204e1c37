// Included before everything else in a build under ThreadSanitizer.
#pragma once

// Qt writes shared data in place once its reference count says that there is no other owner. Qt reads that
// count relaxed, which is safe, because no processor writes before the branch is decided. By the rules of the
// language, which ThreadSanitizer applies, only an acquiring read is ordered after the accesses of earlier
// owners.
#if __has_include(<QtCore/qrefcount.h>)
#include <QtCore/qatomic.h>
#define loadRelaxed loadAcquire
#include <QtCore/qrefcount.h>
#undef loadRelaxed
#endif
