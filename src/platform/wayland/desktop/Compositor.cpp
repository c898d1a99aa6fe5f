#include "Compositor.h"

#include "platform/wayland/thread/VirtualKeyboard.h"
#ifdef OVALIN_PLASMA
#include "platform/wayland/plasma/FakeKeys.h"
#include "platform/wayland/plasma/PlasmaWindows.h"
#endif

namespace ovalin {

using namespace Qt::StringLiterals;

Compositor::Compositor(const QByteArray& swaySocket, const QByteArray& display)
    : events(display) {
    if (!events.alive())
        return;
    events.runAndWait([this, swaySocket] {
        toplevels = std::make_unique<Toplevels>(events, [this] { toplevelsChanged(); });
        if (events.globals().keyboards && events.globals().seat)
            keys = std::make_unique<VirtualKeyboard>(events);
        connectSway(swaySocket);
        connectPlasma();
    });
}

Compositor::~Compositor() {
    events.runAndWait([this] {
        keys.reset();
        source.reset();
        socket.reset();
        toplevels.reset();
    });
}

void Compositor::connectSway(const QByteArray& path) {
    auto found = std::make_unique<SwayIpc>(events, path, [this](SwayIpc::Event event, const QJsonObject& what) {
        swayWindows->told(event, what);
        if (swayTold)
            swayTold(event, what);
    });
    if (!found->connected())
        return;
    socket = std::move(found);
    auto its = std::make_unique<SwayWindows>(*socket, windows, [this](auto change) { focused(change); });
    swayWindows = its.get();
    source = std::move(its);
}

void Compositor::connectPlasma() {
#ifdef OVALIN_PLASMA
    if (!source && PlasmaWindows::offered(events)) {
        source = std::make_unique<PlasmaWindows>(events, windows, [this](auto change) { focused(change); });
        focusStays = true;
    }
    if (!keys && FakeKeys::offered(events))
        keys = std::make_unique<FakeKeys>(events);
#endif
}

void Compositor::focused(WindowSource::Change change) const {
    if (focusMoved)
        focusMoved(change);
}

QString Compositor::name() const { return socket ? u"sway"_s : source ? u"KWin"_s : QString(); }

void Compositor::toplevelsChanged() {
    const Toplevels::Window* active = toplevels->active();
    windows.setKeyboardThere(active != nullptr);
    if (socket && active && !windows.front())
        swayWindows->locate({}); // it has come back from a panel that was open when we started
    if (source)
        return;
    // Nothing has the keyboard while a panel has it: the one before is still in front.
    const auto before = windows.front();
    const Toplevels::Window* front = active ? active : before ? toplevels->find(before->id) : nullptr;
    windows.setFront(front ? std::optional(WaylandWindow{front->id, 0, front->appId, {}, front->title, {}})
                           : std::nullopt);
}

void Compositor::locate(EventThread::Task done) {
    if (source && (!socket || socket->connected()))
        source->locate(std::move(done));
    else
        done();
}

void Compositor::visible(std::function<void(std::vector<WaylandWindow>)> answer) {
    if (source)
        return source->visible(std::move(answer));
    const auto front = windows.front();
    answer(front ? std::vector{*front} : std::vector<WaylandWindow>{});
}

bool Compositor::send(const std::vector<WaylandChord>& chords, EventThread::Task done) {
    return keys && keys->send(chords, std::move(done));
}

void Compositor::bring(quint64 id) {
    events.post([this, id] {
        if (source)
            source->bring(id);
        else
            toplevels->activate(id);
    });
}

} // namespace ovalin
