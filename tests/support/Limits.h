#pragma once

#include "base/Descriptor.h"

#include <csignal>

#include <sys/resource.h>

#include <vector>

namespace ovalin {

/// While it lives this process can open `free` more descriptors and no other.
class DescriptorLimit {
public:
    explicit DescriptorLimit(size_t free) {
        ::getrlimit(RLIMIT_NOFILE, &before);
        const rlimit low{256, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &low);
        for (Descriptor next; (next = Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)));)
            taken.push_back(std::move(next));
        taken.resize(taken.size() - std::min(free, taken.size()));
    }
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &before); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit before{};
    std::vector<Descriptor> taken;
};

/// While it lives no file can grow beyond `bytes`: what a full disk does, for a process that is root.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit now{bytes, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &now);
        ::signal(SIGXFSZ, SIG_IGN);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &before); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before{};
};

} // namespace ovalin
