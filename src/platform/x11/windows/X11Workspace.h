#pragma once

#include "WindowReader.h"
#include "platform/Workspace.h"
#include "platform/applications/ApplicationNames.h"

#include <optional>

namespace ovalin {

/// The workspace on Qt's own X connection; without X11 there is never a front application. Until
/// the desktop files are read, names are the WM_CLASS.
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

    std::optional<WindowReader> reader;
    ApplicationNames names;
    const bool waylandSession;
};

} // namespace ovalin
