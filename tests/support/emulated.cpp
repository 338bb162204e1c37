// Part of every test program that runs under an emulator.

#include <QtGlobal>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <dlfcn.h>

/// Stands before the C library's. To start a process Qt asks whether the kernel can give a descriptor for
/// one. qemu hands the question on to the kernel, which can; but it does not pass on the call that then makes
/// such a process. With this answer Qt starts processes the older way.
extern "C" Q_DECL_EXPORT long syscall(long number, ...)
{
    using Call = long (*)(long, ...);
    static const Call next = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "syscall"));
    va_list arguments;
    va_start(arguments, number);
    long values[6];
    for (long& value : values)
        value = va_arg(arguments, long);
    va_end(arguments);
    constexpr long byDescriptor = 3; // P_PIDFD, which not every C library names
    if (number == SYS_waitid && values[0] == byDescriptor && static_cast<int>(values[1]) == INT_MAX) {
        errno = ENOSYS;
        return -1;
    }
    return next(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}
