#pragma once

#include "base/Dispatch.h"
#include "platform/Desktop.h"
#include "platform/KeyChord.h"
#include "platform/Windows.h"

#include <memory>

namespace ovalin {

/// The real desktop: builds every capability on X11 and D-Bus and ties together what must know of each other. Made
/// after QApplication on the main thread; the dispatch outlives it.
class X11Desktop {
public:
    explicit X11Desktop(Dispatch& dispatch, KeyChord hotkey = {});
    ~X11Desktop();

    [[nodiscard]] Desktop desktop();
    [[nodiscard]] Windows& windows();

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace ovalin
