// What ThreadSanitizer has to know in our test programs; built with it alone.
#include <cstdarg>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" {

/// Qt is built without it, so what happens inside Qt alone cannot be judged.
const char* __tsan_default_options() { return "ignore_noninstrumented_modules=1"; }

const char* __tsan_default_suppressions() {
    return "race:QFunctorSlotObject\n"; // an event of Qt's that is dropped unsent: its queue's lock is not seen
}

/// Qt starts a program by clone(), behind which the sanitizer ends the child; fork() it knows.
int clone(int (*work)(void*), void*, int flags, void* argument, ...) {
    va_list more;
    va_start(more, argument);
    int* const descriptor = va_arg(more, int*);
    va_end(more);
    const pid_t pid = fork();
    if (pid == 0)
        _exit(work(argument));
    if (pid > 0 && (flags & CLONE_PIDFD))
        *descriptor = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    return pid;
}
}
