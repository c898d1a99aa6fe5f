#pragma once

#include "base/Dispatch.h"
#include "platform/Accessibility.h"
#include "platform/Windows.h"
#include "platform/Workspace.h"
#include "platform/applications/ApplicationNames.h"
#include "platform/atspi/AtSpiBus.h"
#include "platform/atspi/AtSpiFront.h"
#include "platform/dbus/Bus.h"
#include "platform/wayland/thread/WindowBook.h"

#include <map>

namespace ovalin {

/// The window that the user works in, as the accessibility tree tells: the shell tells nobody. A window that is not in
/// the tree is not known; never another one is taken for it.
class GnomeFront final : public Workspace, public Windows {
public:
    explicit GnomeFront(Dispatch& dispatch, const QString& sessionAddress = sessionBusAddress());

    [[nodiscard]] std::optional<FrontApplication> frontmostApplication() override;
    [[nodiscard]] QString title(WindowId window) override;
    [[nodiscard]] QString windowManager() override { return QStringLiteral("GNOME Shell"); }
    [[nodiscard]] bool seesAllWindows() override { return false; }

    /// The one in front alone, with the title that it has now.
    [[nodiscard]] std::vector<WindowInfo> onScreenWindows() override;

    /// As AtSpiAccessibility wants it. Worker threads.
    [[nodiscard]] FrontTitle frontTitle(const AppWindow& at);

    /// What the application of a window that has been in front calls itself. Any thread.
    [[nodiscard]] QString nameOf(WindowId window) const;

    /// Whether the window has the keyboard at this moment, by what it tells itself when it is asked. Worker threads.
    [[nodiscard]] bool hasKeyboard(const AppWindow& target);

private:
    void told(const std::optional<AtSpiWindow>& front);
    [[nodiscard]] QString titleNow(const WaylandWindow& window);

    const std::shared_ptr<AtSpiBus> bus;
    WindowBook book;
    std::map<std::pair<QString, QString>, quint64> numbers; // of windows, on the thread of `follower`
    ApplicationNames names;
    AtSpiFront* const follower; // the thread's
    BusThread thread;
};

} // namespace ovalin
