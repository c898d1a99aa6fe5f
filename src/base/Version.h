#pragma once

namespace ovalin {

/// "0.1.0", as it is told to other copies of the program.
extern const char* const VERSION;

/// The same with the commit and the kind of build, for people.
extern const char* const VERSION_TEXT;

} // namespace ovalin
