#pragma once

#include "Compositor.h"
#include "base/Dispatch.h"
#include "platform/SelectionHints.h"

#include <QObject>

#include <map>

namespace ovalin {

/// Hints by changes of PRIMARY: nobody tells of keys and buttons that go elsewhere.
class WaylandHints final : public SelectionHints {
public:
    WaylandHints(Compositor& theCompositor, Dispatch& theDispatch)
        : compositor(theCompositor)
        , dispatch(theDispatch) {}

    [[nodiscard]] Handle onMaybeChanged(std::function<void()> changed) override;
    void removeHint(Handle handle) override { hints.erase(handle); }

    /// PRIMARY changed. On the WaylandThread.
    void primaryChanged();

private:
    void tell();

    Compositor& compositor;
    Dispatch& dispatch;
    QObject context;
    std::map<Handle, std::function<void()>> hints;
    Handle lastHandle = 0;
    quint64 timer = 0; // on the WaylandThread
};

} // namespace ovalin
