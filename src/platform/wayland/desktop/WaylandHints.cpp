#include "WaylandHints.h"

#include <QPointer>

namespace ovalin {

namespace {

// While a selection grows, GTK gives PRIMARY up and takes it again several times.
constexpr std::chrono::milliseconds QUIET{30};

} // namespace

SelectionHints::Handle WaylandHints::onMaybeChanged(std::function<void()> changed) {
    hints[++lastHandle] = std::move(changed);
    return lastHandle;
}

void WaylandHints::primaryChanged() {
    compositor.thread().cancelTimer(timer);
    timer = compositor.thread().at(deadlineIn(QUIET), [this] {
        dispatch.toMain([this, guard = QPointer<QObject>(&context)] {
            if (guard)
                tell();
        });
    });
}

void WaylandHints::tell() {
    const auto now = hints; // one may remove itself
    for (const auto& [handle, changed] : now) {
        if (hints.contains(handle))
            changed();
    }
}

} // namespace ovalin
