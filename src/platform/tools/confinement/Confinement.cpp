#include "Confinement.h"

#include <cerrno>
#include <initializer_list>
#include <memory>

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/resource.h>

namespace ovalin {

namespace {

using Calls = std::initializer_list<int>;

// A list of what is refused, not of what is allowed: the C library may use other calls tomorrow.
const Calls OTHER_PROCESSES{SCMP_SYS(execve),
                            SCMP_SYS(execveat),
                            SCMP_SYS(fork),
                            SCMP_SYS(vfork),
                            SCMP_SYS(kill),
                            SCMP_SYS(tkill),
                            SCMP_SYS(rt_sigqueueinfo),
                            SCMP_SYS(process_vm_readv),
                            SCMP_SYS(process_vm_writev),
                            SCMP_SYS(pidfd_open),
                            SCMP_SYS(pidfd_getfd),
                            SCMP_SYS(setns),
                            SCMP_SYS(unshare),
                            SCMP_SYS(mount),
                            SCMP_SYS(umount2),
                            SCMP_SYS(pivot_root),
                            SCMP_SYS(chroot),
                            SCMP_SYS(bpf),
                            SCMP_SYS(perf_event_open),
                            SCMP_SYS(io_uring_setup),
                            SCMP_SYS(userfaultfd),
                            SCMP_SYS(add_key),
                            SCMP_SYS(request_key),
                            SCMP_SYS(keyctl)};
const Calls CONNECTIONS{SCMP_SYS(socket), SCMP_SYS(connect), SCMP_SYS(bind),
                        SCMP_SYS(listen), SCMP_SYS(accept),  SCMP_SYS(accept4)};
const Calls FILES{SCMP_SYS(creat),    SCMP_SYS(rename),   SCMP_SYS(renameat),  SCMP_SYS(renameat2), SCMP_SYS(unlink),
                  SCMP_SYS(unlinkat), SCMP_SYS(rmdir),    SCMP_SYS(mkdir),     SCMP_SYS(mkdirat),   SCMP_SYS(link),
                  SCMP_SYS(linkat),   SCMP_SYS(symlink),  SCMP_SYS(symlinkat), SCMP_SYS(chmod),     SCMP_SYS(fchmodat),
                  SCMP_SYS(chown),    SCMP_SYS(lchown),   SCMP_SYS(fchownat),  SCMP_SYS(truncate),  SCMP_SYS(mknod),
                  SCMP_SYS(mknodat),  SCMP_SYS(setxattr), SCMP_SYS(lsetxattr)};

class Filter {
public:
    Filter()
        : rules(seccomp_init(SCMP_ACT_ALLOW), &seccomp_release) {
        if (rules)
            seccomp_attr_set(rules.get(), SCMP_FLTATR_CTL_TSYNC, 1); // threads that run already too
    }

    // A call that this machine does not have needs no rule, so a rule that is not taken is no failure.
    void refuse(const Calls& calls) {
        for (const int call : calls)
            seccomp_rule_add(rules.get(), SCMP_ACT_ERRNO(EPERM), call, 0);
    }
    /// Where these bits of an argument are so.
    void refuse(int call, unsigned argument, scmp_datum_t mask, scmp_datum_t bits) {
        const scmp_arg_cmp where{argument, SCMP_CMP_MASKED_EQ, mask, bits};
        seccomp_rule_add_array(rules.get(), SCMP_ACT_ERRNO(EPERM), call, 1, &where);
    }
    void pretendMissing(int call) { seccomp_rule_add(rules.get(), SCMP_ACT_ERRNO(ENOSYS), call, 0); }
    void load() { seccomp_load(rules.get()); }
    [[nodiscard]] explicit operator bool() const { return rules != nullptr; }

private:
    std::unique_ptr<void, decltype(&seccomp_release)> rules;
};

void refuseWriting(Filter& filter) {
    filter.refuse(FILES);
    filter.pretendMissing(SCMP_SYS(openat2)); // its flags lie in memory, where no filter can look
    for (const scmp_datum_t flag : std::initializer_list<scmp_datum_t>{O_WRONLY, O_RDWR, O_CREAT, O_TRUNC}) {
        filter.refuse(SCMP_SYS(open), 1, flag, flag);
        filter.refuse(SCMP_SYS(openat), 2, flag, flag);
    }
}

} // namespace

void limit(const Limits& limits) {
    const auto set = [](auto resource, rlim_t most) {
        const rlimit value{most, most};
        ::setrlimit(resource, &value);
    };
#ifndef OVALIN_SANITIZED // its shadow takes terabytes
    set(RLIMIT_AS, limits.memory);
#endif
    set(RLIMIT_CPU, limits.cpu);
    set(RLIMIT_FSIZE, limits.file);
    set(RLIMIT_CORE, 0);
}

void confine(May may) {
    Filter filter;
    if (!filter)
        return;
    filter.refuse(OTHER_PROCESSES);
    filter.refuse(SCMP_SYS(ioctl), 1, 0xffffffff, TIOCSTI); // typing into the terminal it was started from
#ifndef OVALIN_SANITIZED
    // A sanitizer looks for leaks from a process of its own.
    filter.refuse({SCMP_SYS(ptrace)});
    filter.refuse(SCMP_SYS(clone), 0, CLONE_THREAD, 0);
    filter.pretendMissing(SCMP_SYS(clone3));
#endif
    if (!may.connect)
        filter.refuse(CONNECTIONS);
    if (!may.write)
        refuseWriting(filter);
    filter.load();
}

} // namespace ovalin
