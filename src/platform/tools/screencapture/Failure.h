#pragma once

#include <stdexcept>

namespace ovalin {

/// Why there is no picture, for people. Ends the program with status 1.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace ovalin
