#pragma once

#include "Screen.h"

#include <string>

namespace ovalin {

/// Writes the main display as PNG, without the windows of WM_CLASS "ovalin": what they hide is put together from the
/// windows below. Throws Failure.
void captureMainDisplay(Screen& screen, const std::string& path);

} // namespace ovalin
