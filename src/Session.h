#pragma once

#include "app/CommandLine.h"
#include "base/Dispatch.h"
#include "platform/KeyChord.h"
#include "platform/RealDesktop.h"

#include <memory>

namespace ovalin {

/// What the program runs on, chosen before the application is made.
struct SessionChoice {
    enum class Kind { X11, Layers, Window };
    Kind kind = Kind::X11; ///< the other two natively on Wayland, as WaylandSession has it
    QString refusal;       ///< why it cannot run on the one that was asked for, or on any
    QString notice; ///< why it does not run natively in this Wayland session; empty where it does, or in no such one

    [[nodiscard]] bool wayland() const { return kind != Kind::X11; }
};
[[nodiscard]] SessionChoice chooseSession(const CommandLine& command);

/// The desktop that was chosen. Made after the application; the dispatch outlives it.
[[nodiscard]] std::unique_ptr<RealDesktop> makeDesktop(const SessionChoice& choice, Dispatch& dispatch,
                                                       const KeyChord& hotkey);

} // namespace ovalin
