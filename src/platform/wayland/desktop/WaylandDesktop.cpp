#include "WaylandDesktop.h"

#include "ShotTaker.h"
#include "WaylandHints.h"
#include "WaylandKeyboard.h"
#include "WaylandWindows.h"
#include "WaylandWorkspace.h"

#include "platform/atspi/AtSpiAccessibility.h"
#include "platform/dbus/FreedesktopNotifier.h"
#include "platform/dbus/Logind.h"
#include "platform/dbus/PortalSettings.h"
#include "platform/wayland/kwin/KwinHotKeys.h"
#include "platform/wayland/kwin/KwinPictures.h"
#include "platform/wayland/panel/LayerHold.h"
#include "platform/wayland/panel/LayerPanels.h"
#include "platform/wayland/panel/WaylandPrimaryGuard.h"
#include "platform/wayland/sway/SwayHotKeys.h"
#include "platform/wayland/thread/WaylandPasteboard.h"

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <utility>

namespace ovalin {

using namespace Qt::StringLiterals;

struct WaylandDesktop::Parts {
    Parts(Dispatch& theDispatch, const KeyChord& chord)
        : dispatch(theDispatch)
        , compositor(qgetenv("SWAYSOCK"))
        , shots(compositor)
        , windows(compositor)
        , pasteboard(compositor.thread(), compositor.book(), dispatch)
        , hints(compositor, dispatch)
        , workspace(compositor, dispatch, [this] { shots.begin(); })
        , hold(panels)
        , keyboard(compositor, dispatch,
                   {[this](bool lent) { hold.lend(lent); }, [this] { pasteboard.pasteKeysSent(); }})
        , accessibility(dispatch, [this](const AppWindow& at) { return frontTitle(at); })
        , notifier(dispatch)
        , settings(dispatch) {
        panels.pictured = [this](auto outputs) { shots.pictured(std::move(outputs)); };
        logind.willLock = [this] { hold.letGo(); };
        SwayHotKeys* swayKeys = nullptr;
        if (compositor.sway()) {
            auto its = std::make_unique<SwayHotKeys>(
                *compositor.sway(), [this](EventThread::Task task) { compositor.thread().post(std::move(task)); },
                dispatch, chord);
            swayKeys = its.get();
            hotKeys = std::move(its);
        } else {
            hotKeys = std::make_unique<KwinHotKeys>(chord);
        }
        compositor.thread().runAndWait([this, swayKeys] {
            pasteboard.primaryChanged = [this] { hints.primaryChanged(); };
            compositor.focusMoved = [this](auto change) { focusMoved(change); };
            if (swayKeys)
                compositor.swayTold = [swayKeys](auto event, const auto& what) { swayKeys->told(event, what); };
        });
    }
    ~Parts() {
        hotKeys->unregisterHotKey();
        compositor.thread().runAndWait([this] {
            pasteboard.primaryChanged = {};
            compositor.swayTold = {};
            compositor.focusMoved = {};
        });
        compositor.thread().finish(); // what is still due would come to services that are gone
    }

    /// On the WaylandThread. By a click beside the panel, or by keys that lead elsewhere, the user goes on to work
    /// there; but what they type for us does not go into a window that came, or was uncovered, by itself.
    void focusMoved(WindowSource::Change change) {
        dispatch.toMain([this, change, guard = QPointer<QObject>(&context)] {
            if (!guard || hold.isLent())
                return;
            if (change == WindowSource::Change::ByUser)
                hold.letGo();
            else if (compositor.keepsFocus())
                hold.takeAgain();
        });
    }

    /// Worker threads.
    [[nodiscard]] FrontTitle frontTitle(const AppWindow& at) const {
        const auto front = compositor.book().front();
        if (front && front->pid == at.pid)
            return {WindowId{front->id}, front->title};
        return {{}, compositor.book().find(at.window.number).value_or(WaylandWindow{}).title};
    }

    /// Worker threads.
    [[nodiscard]] QImage picture(qint32 pid) {
        const auto front = compositor.book().front();
        if (!front || front->handle.isEmpty())
            return shots.picture(pid);
        return front->pid == pid ? pictures.picture(front->handle) : QImage();
    }

    Dispatch& dispatch;
    Compositor compositor;
    ShotTaker shots;
    WaylandWindows windows;
    WaylandPasteboard pasteboard;
    WaylandHints hints;
    KwinPictures pictures;
    std::unique_ptr<HotKeys> hotKeys;
    WaylandWorkspace workspace;
    LayerPanels panels;
    LayerHold hold;
    WaylandKeyboard keyboard;
    AtSpiAccessibility accessibility;
    FreedesktopNotifier notifier;
    Logind logind;
    PortalSettings settings;
    WaylandPrimaryGuard guard;
    QObject context; // of what goes to the main thread
};

WaylandDesktop::WaylandDesktop(Dispatch& dispatch, KeyChord hotkey)
    : parts(std::make_unique<Parts>(dispatch, hotkey)) {}
WaylandDesktop::~WaylandDesktop() = default;

Desktop WaylandDesktop::desktop() {
    return {*parts->hotKeys, parts->workspace, parts->accessibility, parts->pasteboard,
            parts->keyboard, parts->hold,      parts->panels,        parts->hints,
            parts->notifier, parts->logind,    parts->guard,         &parts->settings};
}

Windows& WaylandDesktop::windows() { return parts->windows; }

std::function<QImage(qint32)> WaylandDesktop::pictures() {
    return [from = parts.get()](qint32 pid) { return from->picture(pid); };
}

QString WaylandDesktop::missing() const {
    Compositor& on = parts->compositor;
    const struct {
        bool there;
        QString loss;
    } rows[] = {
        {on.tellsFront(), u"the window you work in is not known"_s},
        {parts->keyboard.trusted(), u"a new text goes to the clipboard"_s},
        {on.sway() ? parts->panels.seesOutputs() : on.tellsAll(), u"there are no pictures"_s},
    };
    QStringList lost;
    for (const auto& row : rows) {
        if (!row.there)
            lost += row.loss;
    }
    if (lost.isEmpty())
        return {};
    const bool lockedOut = !on.tellsAll() && on.thread().offers("org_kde_plasma_shell");
    return (lockedOut ? u"KWin knows no desktop file of this program: "_s : u"on this compositor "_s) +
           lost.join(u", "_s);
}

} // namespace ovalin
