#pragma once

#include <cstdlib>
#include <memory>

namespace ovalin {

struct FreeXReply {
    void operator()(void* reply) const { std::free(reply); }
};

/// A reply, event or error of libxcb, freed when it goes.
template <class T>
using XReply = std::unique_ptr<T, FreeXReply>;

} // namespace ovalin
