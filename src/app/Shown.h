#pragma once

#include <QWidget>

#include <memory>

namespace ovalin {

/// A window goes from the screen at once, and from memory when its own signals are through. They are blocked, not
/// disconnected: Qt's accessibility hears of the end by one, else it takes the next window at that address for this
/// one. Before it is hidden, since an input method then ends its word in the prompt.
struct CloseLater {
    void operator()(QWidget* window) const {
        window->blockSignals(true);
        window->hide();
        window->deleteLater();
    }
};
template <class Window>
using Shown = std::unique_ptr<Window, CloseLater>;

} // namespace ovalin
