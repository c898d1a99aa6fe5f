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
#include "platform/wayland/panel/LayerHold.h"
#include "platform/wayland/panel/LayerPanels.h"
#include "platform/wayland/panel/WaylandPrimaryGuard.h"
#include "platform/wayland/sway/SwayHotKeys.h"
#include "platform/wayland/thread/WaylandPasteboard.h"

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <utility>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds LONGEST_MAPPING{500};

/// Where no program may bind a key by itself.
class NoHotKeys final : public HotKeys {
public:
    [[nodiscard]] HotKeyState registerHotKey() override { return HotKeyState::ByCompositor; }
    void unregisterHotKey() override {}
    void pressHandled() override {}
};

} // namespace

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
        if (compositor.sway())
            swayKeys = std::make_unique<SwayHotKeys>(
                *compositor.sway(), [this](EventThread::Task task) { compositor.thread().post(std::move(task)); },
                dispatch, chord);
        compositor.thread().runAndWait([this] {
            pasteboard.primaryChanged = [this] { hints.primaryChanged(); };
            if (swayKeys)
                compositor.swayTold = [this](auto event, const auto& what) { told(event, what); };
        });
    }
    ~Parts() {
        if (swayKeys)
            swayKeys->unregisterHotKey();
        compositor.thread().runAndWait([this] {
            pasteboard.primaryChanged = {};
            compositor.swayTold = {};
        });
    }

    /// On the WaylandThread.
    void told(SwayIpc::Event event, const QJsonObject& what) {
        swayKeys->told(event, what);
        if (event != SwayIpc::Event::Window)
            return;
        const QString change = what[u"change"].toString();
        const Deadline now = deadlineIn({});
        if (change == u"new" || change == u"close")
            byItselfUntil = now + LONGEST_MAPPING;
        // A click beside the panel, or keys that lead elsewhere; but what is typed for us is not to go into a window
        // that came, or was uncovered, by itself: sway tells of several changes of the focus for each.
        const bool hasFocus = what[u"container"].toObject()[u"focused"].toBool();
        if (change == u"focus" && hasFocus && now > byItselfUntil)
            dispatch.toMain([this, guard = QPointer<QObject>(&context)] {
                if (guard)
                    hold.letGo();
            });
    }

    /// Worker threads.
    [[nodiscard]] FrontTitle frontTitle(const AppWindow& at) const {
        const auto front = compositor.book().front();
        if (front && front->pid == at.pid)
            return {WindowId{front->id}, front->title};
        return {{}, compositor.book().find(at.window.number).value_or(WaylandWindow{}).title};
    }

    [[nodiscard]] HotKeys& hotKeys() { return swayKeys ? static_cast<HotKeys&>(*swayKeys) : noKeys; }

    Dispatch& dispatch;
    Compositor compositor;
    ShotTaker shots;
    WaylandWindows windows;
    WaylandPasteboard pasteboard;
    WaylandHints hints;
    NoHotKeys noKeys;
    std::unique_ptr<SwayHotKeys> swayKeys;
    WaylandWorkspace workspace;
    LayerPanels panels;
    LayerHold hold;
    WaylandKeyboard keyboard;
    AtSpiAccessibility accessibility;
    FreedesktopNotifier notifier;
    Logind logind;
    PortalSettings settings;
    WaylandPrimaryGuard guard;
    Deadline byItselfUntil; // what sway tells of the focus until then is not the user's doing; on the WaylandThread
    QObject context;        // of what goes to the main thread
};

WaylandDesktop::WaylandDesktop(Dispatch& dispatch, KeyChord hotkey)
    : parts(std::make_unique<Parts>(dispatch, hotkey)) {}
WaylandDesktop::~WaylandDesktop() = default;

Desktop WaylandDesktop::desktop() {
    return {parts->hotKeys(), parts->workspace, parts->accessibility, parts->pasteboard,
            parts->keyboard,  parts->hold,      parts->panels,        parts->hints,
            parts->notifier,  parts->logind,    parts->guard,         &parts->settings};
}

Windows& WaylandDesktop::windows() { return parts->windows; }

QImage WaylandDesktop::picture(qint32 pid) { return parts->shots.picture(pid); }

QString WaylandDesktop::missing() const {
    const auto& globals = parts->compositor.thread().globals();
    const struct {
        bool there;
        QString loss;
    } rows[] = {
        {globals.toplevels || parts->compositor.sway(), u"the window you work in is not known"_s},
        {globals.keyboards && globals.toplevels, u"a new text goes to the clipboard"_s},
        {parts->panels.seesOutputs() && parts->compositor.sway(), u"there are no pictures"_s},
    };
    QStringList lost;
    for (const auto& row : rows) {
        if (!row.there)
            lost += row.loss;
    }
    return lost.isEmpty() ? QString() : u"on this compositor "_s + lost.join(u", "_s);
}

} // namespace ovalin
