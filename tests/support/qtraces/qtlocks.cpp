// Reports Qt's locks to ThreadSanitizer, which does not see the futexes inside them. Each edge belongs to one
// lock; what Qt does internally while it locks or unlocks is ignored.

#include "next.h"

#include <QDeadlineTimer>
#include <QMutex>
#include <QReadWriteLock>
#include <QSemaphore>
#include <QWaitCondition>
#include <sanitizer/tsan_interface.h>

#include <algorithm>
#include <vector>

namespace {

constexpr unsigned tryOnly = __tsan_mutex_try_lock;
constexpr unsigned tryFailed = __tsan_mutex_try_lock | __tsan_mutex_try_lock_failed;
constexpr unsigned forRead = __tsan_mutex_read_lock;
// A recursive lock looks like any other from outside; whether a thread may take one twice is Qt's own
// assertion.
constexpr unsigned again = __tsan_mutex_write_reentrant;

/// The locks that the thread holds for writing: unlocking does not say how a lock was taken.
std::vector<const QReadWriteLock*>& writing()
{
    thread_local std::vector<const QReadWriteLock*> locks;
    return locks;
}

/// The flags of a lock that the thread releases.
unsigned leave(const QReadWriteLock* lock)
{
    const auto found = std::find(writing().rbegin(), writing().rend(), lock);
    if (found == writing().rend())
        return forRead;
    writing().erase(std::next(found).base());
    return 0;
}

void take(const QReadWriteLock* lock, unsigned flags)
{
    if (!(flags & forRead))
        writing().push_back(lock);
}

template <typename Try>
bool tryTake(QReadWriteLock* lock, unsigned flags, Try attempt)
{
    __tsan_mutex_pre_lock(lock, flags | tryOnly);
    const bool taken = attempt();
    __tsan_mutex_post_lock(lock, flags | (taken ? tryOnly : tryFailed), 0);
    if (taken)
        take(lock, flags);
    return taken;
}

/// Waiting on a condition leaves the lock and takes it again; the condition itself orders nothing.
template <typename Wait>
bool waitWithout(void* lock, unsigned flags, Wait wait)
{
    __tsan_mutex_pre_unlock(lock, flags);
    __tsan_mutex_post_unlock(lock, flags);
    __tsan_mutex_pre_lock(lock, flags);
    const bool woken = wait();
    __tsan_mutex_post_lock(lock, flags, 0);
    return woken;
}

template <typename Wait>
bool waitWithout(QReadWriteLock* lock, Wait wait)
{
    const unsigned flags = leave(lock);
    const bool woken = waitWithout(static_cast<void*>(lock), flags, wait);
    take(lock, flags);
    return woken;
}

} // namespace

QMutex::~QMutex()
{
    static const auto real = next<void (*)(QMutex*)>("_ZN6QMutexD1Ev");
    __tsan_mutex_destroy(this, 0);
    real(this);
}

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = next<void (*)(QMutex*)>("_ZN6QMutex4lockEv");
    __tsan_mutex_pre_lock(this, again);
    real(this);
    __tsan_mutex_post_lock(this, again, 0);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = next<bool (*)(QMutex*, int)>("_ZN6QMutex7tryLockEi");
    __tsan_mutex_pre_lock(this, again | tryOnly);
    const bool taken = real(this, timeout);
    __tsan_mutex_post_lock(this, again | (taken ? tryOnly : tryFailed), 0);
    return taken;
}

void QMutex::unlock() noexcept
{
    static const auto real = next<void (*)(QMutex*)>("_ZN6QMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    real(this);
    __tsan_mutex_post_unlock(this, 0);
}

QReadWriteLock::~QReadWriteLock()
{
    static const auto real = next<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLockD1Ev");
    __tsan_mutex_destroy(this, 0);
    real(this);
}

void QReadWriteLock::lockForRead()
{
    static const auto real = next<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock11lockForReadEv");
    __tsan_mutex_pre_lock(this, forRead);
    real(this);
    __tsan_mutex_post_lock(this, forRead, 0);
}

bool QReadWriteLock::tryLockForRead()
{
    static const auto real = next<bool (*)(QReadWriteLock*)>("_ZN14QReadWriteLock14tryLockForReadEv");
    return tryTake(this, forRead, [this] { return real(this); });
}

bool QReadWriteLock::tryLockForRead(int timeout)
{
    static const auto real = next<bool (*)(QReadWriteLock*, int)>("_ZN14QReadWriteLock14tryLockForReadEi");
    return tryTake(this, forRead, [this, timeout] { return real(this, timeout); });
}

void QReadWriteLock::lockForWrite()
{
    static const auto real = next<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock12lockForWriteEv");
    __tsan_mutex_pre_lock(this, 0);
    real(this);
    __tsan_mutex_post_lock(this, 0, 0);
    take(this, 0);
}

bool QReadWriteLock::tryLockForWrite()
{
    static const auto real = next<bool (*)(QReadWriteLock*)>("_ZN14QReadWriteLock15tryLockForWriteEv");
    return tryTake(this, 0, [this] { return real(this); });
}

bool QReadWriteLock::tryLockForWrite(int timeout)
{
    static const auto real = next<bool (*)(QReadWriteLock*, int)>("_ZN14QReadWriteLock15tryLockForWriteEi");
    return tryTake(this, 0, [this, timeout] { return real(this, timeout); });
}

void QReadWriteLock::unlock()
{
    static const auto real = next<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock6unlockEv");
    const unsigned flags = leave(this);
    __tsan_mutex_pre_unlock(this, flags);
    real(this);
    __tsan_mutex_post_unlock(this, flags);
}

bool QWaitCondition::wait(QMutex* mutex, QDeadlineTimer deadline)
{
    static const auto real = next<bool (*)(QWaitCondition*, QMutex*, QDeadlineTimer)>(
        "_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer");
    return waitWithout(static_cast<void*>(mutex), 0, [&] { return real(this, mutex, deadline); });
}

bool QWaitCondition::wait(QMutex* mutex, unsigned long ms)
{
    static const auto real =
        next<bool (*)(QWaitCondition*, QMutex*, unsigned long)>("_ZN14QWaitCondition4waitEP6QMutexm");
    return waitWithout(static_cast<void*>(mutex), 0, [&] { return real(this, mutex, ms); });
}

bool QWaitCondition::wait(QReadWriteLock* lock, QDeadlineTimer deadline)
{
    static const auto real = next<bool (*)(QWaitCondition*, QReadWriteLock*, QDeadlineTimer)>(
        "_ZN14QWaitCondition4waitEP14QReadWriteLock14QDeadlineTimer");
    return waitWithout(lock, [&] { return real(this, lock, deadline); });
}

bool QWaitCondition::wait(QReadWriteLock* lock, unsigned long ms)
{
    static const auto real = next<bool (*)(QWaitCondition*, QReadWriteLock*, unsigned long)>(
        "_ZN14QWaitCondition4waitEP14QReadWriteLockm");
    return waitWithout(lock, [&] { return real(this, lock, ms); });
}

QSemaphore::~QSemaphore()
{
    static const auto real = next<void (*)(QSemaphore*)>("_ZN10QSemaphoreD1Ev");
    // Another semaphore may be created at the same address, for example on the stack.
    __tsan_mutex_destroy(this, 0);
    real(this);
}

void QSemaphore::acquire(int n)
{
    static const auto real = next<void (*)(QSemaphore*, int)>("_ZN10QSemaphore7acquireEi");
    real(this, n);
    __tsan_acquire(this);
}

bool QSemaphore::tryAcquire(int n)
{
    static const auto real = next<bool (*)(QSemaphore*, int)>("_ZN10QSemaphore10tryAcquireEi");
    const bool taken = real(this, n);
    if (taken)
        __tsan_acquire(this);
    return taken;
}

bool QSemaphore::tryAcquire(int n, int timeout)
{
    static const auto real = next<bool (*)(QSemaphore*, int, int)>("_ZN10QSemaphore10tryAcquireEii");
    const bool taken = real(this, n, timeout);
    if (taken)
        __tsan_acquire(this);
    return taken;
}

void QSemaphore::release(int n)
{
    static const auto real = next<void (*)(QSemaphore*, int)>("_ZN10QSemaphore7releaseEi");
    __tsan_release(this);
    real(this, n);
}
