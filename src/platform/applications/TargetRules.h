#pragma once

#include "platform/Accessibility.h"
#include "platform/PasteWay.h"

#include <QByteArray>
#include <QStringList>

namespace ovalin {

/// What an application is made of, as far as its loaded libraries tell.
struct Libraries {
    bool toolkit = false;  ///< a common one, whose text fields know Ctrl+Insert and Shift+Insert
    bool tk = false;       ///< which pastes beside a selection, not over it
    bool terminal = false; ///< something in it may be a terminal
    bool screen = false;   ///< something in it may be another computer's screen
};

/// From the text of /proc/PID/maps. Pure.
[[nodiscard]] Libraries librariesIn(const QByteArray& maps);

/// What is known of the application that has the keyboard focus.
struct TargetFacts {
    QStringList names; ///< WM_CLASS and executable, as they are
    Libraries libraries;
    FocusKind focus = FocusKind::Unknown;
};

/// The facts of a process: what it has loaded, and its executable beside the names that its window has, since a
/// terminal, for one, may have been given a name of the user's choice. Reads /proc; worker threads.
[[nodiscard]] TargetFacts targetFacts(const QStringList& windowNames, qint32 pid, FocusKind focus);

/// What an application is asked for its selection, and how a text is put into it.
struct TargetRule {
    enum class Copy {
        None, ///< what the tree and PRIMARY say is all that can be had without harm
        CtrlInsert,
        CtrlC,
    };
    Copy copy = Copy::None;
    PasteWay paste;
};

/// The one table of what is safe where. A key that copies in one program quits the next, and sends a signal to the job
/// in a terminal; so an application of which nothing is known is asked by no key at all, and sent only what does no
/// harm in a terminal either. Pure.
[[nodiscard]] TargetRule targetRule(const TargetFacts& facts);

/// Whether it is a Vim with windows of its own, by the name of its executable. Pure.
[[nodiscard]] bool isVim(const QString& executable);

/// Whether a program of this name, a part of WM_CLASS say, is a terminal. Pure.
[[nodiscard]] bool isTerminal(const QString& name);

/// Whether a program of this name, a part of WM_CLASS or an executable, is there to type with: the lists of an input
/// method, or a keyboard on the screen. Pure.
[[nodiscard]] bool isTypedWith(const QString& name);

} // namespace ovalin
