#pragma once

#include "base/Descriptor.h"

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

} // namespace ovalin
