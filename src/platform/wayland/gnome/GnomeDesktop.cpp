#include "GnomeDesktop.h"

#include "GnomeFront.h"
#include "GnomeHotKeys.h"
#include "GnomeKeyboard.h"
#include "GnomePasteboard.h"
#include "WindowPanels.h"

#include "platform/atspi/AtSpiAccessibility.h"
#include "platform/dbus/FreedesktopNotifier.h"
#include "platform/dbus/Logind.h"
#include "platform/dbus/PortalSettings.h"
#include "platform/wayland/panel/WaylandPrimaryGuard.h"

#include <QGuiApplication>
#include <QImage>

#include <map>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

/// Nobody tells of what happens elsewhere; but who has worked there comes back into the panel.
class FocusHints final : public QObject, public SelectionHints {
public:
    FocusHints() {
        connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, [this](const QWindow* now) {
            if (now)
                tell();
        });
    }
    [[nodiscard]] Handle onMaybeChanged(std::function<void()> changed) override {
        hints[++lastHandle] = std::move(changed);
        return lastHandle;
    }
    void removeHint(Handle handle) override { hints.erase(handle); }

private:
    void tell() {
        const auto now = hints; // one may remove itself
        for (const auto& [handle, changed] : now) {
            if (hints.contains(handle))
                changed();
        }
    }

    std::map<Handle, std::function<void()>> hints;
    Handle lastHandle = 0;
};

} // namespace

struct GnomeDesktop::Parts {
    Parts(Dispatch& dispatch, const KeyChord& chord)
        : hotKeys(dispatch, chord)
        , front(dispatch)
        , pasteboard(dispatch)
        , accessibility(dispatch, [this](const AppWindow& at) { return front.frontTitle(at); })
        , keyboard(front, pasteboard, accessibility, dispatch)
        , notifier(dispatch)
        , settings(dispatch) {}

    GnomeHotKeys hotKeys;
    GnomeFront front;
    WindowPanels panels;
    WindowHold hold;
    FocusHints hints;
    GnomePasteboard pasteboard;
    AtSpiAccessibility accessibility;
    GnomeKeyboard keyboard;
    FreedesktopNotifier notifier;
    Logind logind;
    PortalSettings settings;
    WaylandPrimaryGuard guard;
};

GnomeDesktop::GnomeDesktop(Dispatch& dispatch, const KeyChord& hotkey)
    : parts(std::make_unique<Parts>(dispatch, hotkey)) {}
GnomeDesktop::~GnomeDesktop() = default;

Desktop GnomeDesktop::desktop() {
    return {parts->hotKeys, parts->front, parts->accessibility, parts->pasteboard, parts->keyboard, parts->hold,
            parts->panels,  parts->hints, parts->notifier,      parts->logind,     parts->guard,    &parts->settings};
}

Windows& GnomeDesktop::windows() { return parts->front; }

std::function<QImage(qint32)> GnomeDesktop::pictures() {
    return [](qint32) { return QImage(); };
}

QString GnomeDesktop::missing() const {
    return u"GNOME decides where this window goes, and lets no program take pictures"_s;
}

} // namespace ovalin
