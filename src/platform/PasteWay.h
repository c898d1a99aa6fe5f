#pragma once

#include <QString>

namespace ovalin {

/// How a text gets into an application.
struct PasteWay {
    enum class Keys {
        None, ///< no key is known to be safe there
        ShiftInsert,
        CtrlV,
        CtrlShiftV,
        VimServer, ///< no key in any mode, but its own command server
    };
    /// The key that takes a selection away first, where a paste does not replace it.
    enum class Before { Nothing, Delete, BackSpace };

    Keys keys = Keys::None;
    Before before = Before::Nothing;
    bool primaryToo = false;    ///< it may paste PRIMARY instead of CLIPBOARD
    bool oneLine = false;       ///< it may be a terminal, where a line end runs what was pasted
    bool overSelection = false; ///< Replace; else at the cursor
    QString refusal;            ///< with None: why, for the status line

    [[nodiscard]] bool safe() const { return keys != Keys::None; }
    bool operator==(const PasteWay&) const = default;
};

} // namespace ovalin
