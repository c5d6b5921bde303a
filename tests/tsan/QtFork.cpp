// Put in front of the program (LD_PRELOAD) while ThreadSanitizer watches it. Qt starts a program by a bare clone()
// where the system offers it, of which the sanitizer hears nothing: a lock of its own that another thread holds just
// then stays locked in the child for ever, and the program asked for never runs. Told that there is no such clone(), Qt
// calls fork().
#include <sys/syscall.h>
#include <sys/wait.h>

#include <dlfcn.h>
#include <sched.h>

#include <array>
#include <cerrno>
#include <cstdarg>

namespace
{
using Syscall = long (*)(long, ...);

bool startsAProcess(long number, long first)
{
    return (number == SYS_clone && (first & CLONE_PIDFD)) || (number == SYS_waitid && first == P_PIDFD);
}
} // namespace

extern "C" [[gnu::visibility("default")]] long syscall(long number, ...)
{
    static const auto real = reinterpret_cast<Syscall>(dlsym(RTLD_NEXT, "syscall"));
    std::array<long, 6> given{};
    va_list list;
    va_start(list, number);
    for (long& argument : given)
        argument = va_arg(list, long);
    va_end(list);
    if (startsAProcess(number, given[0])) {
        errno = ENOSYS;
        return -1;
    }
    return real(number, given[0], given[1], given[2], given[3], given[4], given[5]);
}
