#include "Compositor.h"

namespace ovalin {

Compositor::Compositor(const QByteArray& swaySocket, const QByteArray& display)
    : events(display) {
    if (!events.alive())
        return;
    events.runAndWait([this, swaySocket] {
        toplevels = std::make_unique<Toplevels>(events, [this] { toplevelsChanged(); });
        auto found =
            std::make_unique<SwayIpc>(events, swaySocket, [this](SwayIpc::Event event, const QJsonObject& what) {
                swayWindows->told(event, what);
                if (swayTold)
                    swayTold(event, what);
            });
        if (!found->connected())
            return;
        socket = std::move(found);
        swayWindows = std::make_unique<SwayWindows>(*socket, windows);
    });
}

Compositor::~Compositor() {
    events.runAndWait([this] {
        swayWindows.reset();
        socket.reset();
        toplevels.reset();
    });
}

void Compositor::toplevelsChanged() {
    const Toplevels::Window* active = toplevels->active();
    windows.setKeyboardThere(active != nullptr);
    if (socket && active && !windows.front())
        swayWindows->locate(); // it has come back from a panel that was open when we started
    if (socket)
        return;
    // Nothing has the keyboard while a panel has it: the one before is still in front.
    const auto before = windows.front();
    const Toplevels::Window* front = active ? active : before ? toplevels->find(before->id) : nullptr;
    windows.setFront(front ? std::optional(WaylandWindow{front->id, 0, front->appId, {}, front->title, {}})
                           : std::nullopt);
}

void Compositor::locate(EventThread::Task done) {
    if (socket && socket->connected())
        swayWindows->locate(std::move(done));
    else
        done();
}

void Compositor::bring(quint64 id) {
    events.post([this, id] {
        if (socket)
            swayWindows->bring(id);
        else
            toplevels->activate(id);
    });
}

} // namespace ovalin
