// Preloaded into the tests of a cross build that run under qemu's user-mode emulator.
//
// qemu-user (7.2, Debian 12) rejects clone() with CLONE_PIDFD, yet passes waitid(P_PIDFD) through
// to a kernel that supports it. Qt's process launcher probes the latter, trusts the former, and
// then fails every QProcess start without falling back. Answering the probe as a kernel without
// pidfds would (EINVAL) sends it down its plain fork() path, which qemu emulates.
#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <sys/syscall.h>

namespace {
constexpr long PidfdIdType = 3; // P_PIDFD, missing from older headers
}

extern "C" long syscall(long number, ...)
{
    // The C library's syscall() reads six argument words whatever the call; passing the same six
    // on keeps the register and stack layout, 64-bit pairs included.
    va_list ap;
    va_start(ap, number);
    long a[6];
    for (long &word : a)
        word = va_arg(ap, long);
    va_end(ap);

    if (number == SYS_waitid && a[0] == PidfdIdType) {
        errno = EINVAL;
        return -1;
    }
    using Syscall = long (*)(long, ...);
    static const auto next = reinterpret_cast<Syscall>(dlsym(RTLD_NEXT, "syscall"));
    return next(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}
