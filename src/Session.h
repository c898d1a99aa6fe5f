#pragma once

#include "app/CommandLine.h"
#include "base/Dispatch.h"
#include "platform/Desktop.h"
#include "platform/KeyChord.h"
#include "platform/Windows.h"

#include <QImage>

#include <functional>
#include <memory>

namespace ovalin {

/// Which of the two display servers the program runs on, chosen before the application is made.
struct SessionChoice {
    bool wayland = false;
    QString refusal; ///< why it cannot run on the one that was asked for, or on any
    QString notice;  ///< why it does not run natively in this Wayland session; empty where it does, or in no such one
};
[[nodiscard]] SessionChoice chooseSession(const CommandLine& command);

/// The desktop that was chosen. Made after the application; the dispatch outlives it.
class Session {
public:
    Session(const SessionChoice& choice, Dispatch& dispatch, const KeyChord& hotkey);
    ~Session();

    [[nodiscard]] Desktop desktop();
    [[nodiscard]] Windows& windows();
    /// Where pictures come from when not from the helper program; see WindowShots.
    [[nodiscard]] std::function<QImage(qint32 pid)> pictures();
    /// What will not work here, for the user; empty: nothing.
    [[nodiscard]] QString notice() const;

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace ovalin
