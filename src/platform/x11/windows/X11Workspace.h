#pragma once

#include "platform/applications/DesktopEntries.h"
#include "WindowReader.h"
#include "base/Dispatch.h"
#include "platform/Workspace.h"

#include <optional>

namespace ovalin {

/// The workspace on Qt's own X connection; without X11 there is never a front application.
///
/// Desktop files are read in the background from construction on, and again when an application comes that they do not
/// name; until then names are the WM_CLASS.
class X11Workspace final : public Workspace {
public:
    /// `applicationFolders`: where desktop files lie; empty means the XDG data folders.
    explicit X11Workspace(Dispatch& dispatch, QStringList applicationFolders = {});

    [[nodiscard]] std::optional<FrontApplication> frontmostApplication() override;
    [[nodiscard]] QString title(WindowId window) override;
    [[nodiscard]] QString windowManager() override;
    [[nodiscard]] bool seesAllWindows() override { return !waylandSession; }

private:
    [[nodiscard]] WindowIdentity frontWindow() const;
    [[nodiscard]] DesktopEntry entryFor(const WindowIdentity& identity);
    void readEntries();

    Dispatch& dispatch;
    QStringList folders;
    std::optional<WindowReader> reader;
    DesktopEntries entries;
    QStringList unknown; // applications that a fresh reading did not name either
    bool reading = false;
    const bool waylandSession;
    QObject context;
};

} // namespace ovalin
