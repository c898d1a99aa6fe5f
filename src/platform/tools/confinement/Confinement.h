#pragma once

#include <cstddef>

namespace ovalin {

// What a helper program takes from itself, so that a picture, a window or an application that makes it do something
// else gets nowhere with it. Without Qt: for the programs under platform/tools.

struct Limits {
    size_t memory; ///< bytes of address space
    size_t cpu;    ///< seconds
    size_t file;   ///< bytes of one file
};

/// Kept by the kernel from here on (setrlimit); what is in memory is not written down when it crashes.
void limit(const Limits& limits);

/// What a helper still has to do.
struct May {
    bool connect = false; ///< to other programs: sockets
    bool write = false;   ///< open files to write to, rename and remove them
};

/// For all of its threads and for good (seccomp): no program is started, no other process touched, and nothing done
/// that `may` does not say. A second call takes more away. What is open stays open, and any file may be read. A kernel
/// without seccomp leaves it at the limits.
void confine(May may);

} // namespace ovalin
