#pragma once

#include <QString>

#include <functional>

namespace ovalin {

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
};

/// The desktop's accessibility service (AT-SPI 2).
class Accessibility {
public:
    virtual ~Accessibility() = default;

    /// Reads the selection of the application's focused object. Worker threads only: asks the application, with one
    /// deadline of 250 ms over all its calls.
    [[nodiscard]] virtual AccessibleSelection selection(qint32 pid) = 0;

    /// Whether toolkits expose themselves (org.a11y.Status.IsEnabled); `answer` is called on the main thread, or never
    /// when there is no accessibility service. Main thread.
    virtual void queryEnabled(std::function<void(bool enabled)> answer) = 0;

    /// Turns it on for the whole session, lastingly: only after the user said so. Main thread, does not wait.
    virtual void enable() = 0;
};

} // namespace ovalin
