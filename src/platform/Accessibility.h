#pragma once

#include "platform/WindowId.h"

#include <QString>

#include <functional>

namespace ovalin {

/// A window of an application, since a process may have several.
struct AppWindow {
    qint32 pid = 0;
    WindowId window{};
    bool operator==(const AppWindow&) const = default;
};

/// The window of an application that a user works in, and its title.
struct FrontTitle {
    WindowId window; ///< none: another application is in front; the title is then that of the window asked about
    QString title{}; ///< empty: not known
};

/// What the keyboard focus is in, as far as the tree tells.
enum class FocusKind {
    Unknown, ///< the tree says nothing, or names what may hold more than it tells: a pane, a drawing area
    Editable,
    ReadOnly, ///< a text that cannot be edited
    Terminal,
    Password,
    NoText, ///< a button, a menu, a check box
};

/// What the accessibility tree says about the selection in an application's focused object.
struct AccessibleSelection {
    enum class Kind {
        Unavailable, ///< no bus, no such application, nothing focused that holds text, or the deadline passed
        None,        ///< a focused text object without a selection
        Text,        ///< `text` is selected
        Secret,      ///< a password field: nothing may be read by any way
    };
    Kind kind = Kind::Unavailable;
    QString text;
    bool page =
        false; ///< of a web page outside its fields, or of a terminal: PRIMARY renders it better when it is fresh
    bool part = false; ///< the selection goes on in other objects that could not be read: `text` is not all of it
    FocusKind focus = FocusKind::Unknown;
    WindowId window{}; ///< of the application, that the user works in; none: another application is in front
};

/// The desktop's accessibility service (AT-SPI 2).
class Accessibility {
public:
    virtual ~Accessibility() = default;

    /// The panel is about to take the keyboard: what loses the focus by that has it still, for every reading until this
    /// is said again. Main thread; returns at once.
    virtual void keyboardIsTaken() = 0;

    /// Reads the selection of the application's focused object, in the window of it that is in front, else in `at`'s
    /// own. Worker threads only: asks the application, with one deadline of 250 ms over all its calls.
    [[nodiscard]] virtual AccessibleSelection selection(const AppWindow& at) = 0;

    /// Whether toolkits expose themselves (org.a11y.Status.IsEnabled); `answer` is called on the main thread, or never
    /// when there is no accessibility service. Main thread.
    virtual void queryEnabled(std::function<void(bool enabled)> answer) = 0;

    /// Turns it on for the whole session, lastingly: only after the user said so. Main thread, does not wait.
    virtual void enable() = 0;
};

} // namespace ovalin
