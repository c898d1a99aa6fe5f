#pragma once

#include "DesktopEntries.h"
#include "WindowReader.h"
#include "base/Dispatch.h"
#include "platform/Workspace.h"

#include <QAbstractNativeEventFilter>

#include <optional>

namespace ovalin {

/// The workspace on Qt's own X connection; without X11 there is never a front application.
///
/// Desktop files are read in the background from construction on, and again when an application comes that they do not
/// name; until then names are the WM_CLASS.
class X11Workspace final : public Workspace, private QAbstractNativeEventFilter {
public:
    /// `applicationFolders`: where desktop files lie; empty means the XDG data folders.
    explicit X11Workspace(Dispatch& dispatch, QStringList applicationFolders = {});

    [[nodiscard]] std::optional<FrontApplication> frontmostApplication() override;
    ~X11Workspace() override;

    [[nodiscard]] bool compositorRuns() override;
    [[nodiscard]] std::vector<ReservedStrip> reservedStrips() override;
    [[nodiscard]] QString title(quint32 window) override;
    [[nodiscard]] QString windowManager() override;
    [[nodiscard]] bool seesAllWindows() override { return !waylandSession; }

private:
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    void watchCompositor();
    void watchWindowManager();
    [[nodiscard]] WindowIdentity frontWindow() const;
    [[nodiscard]] DesktopEntry entryFor(const WindowIdentity& identity);
    void readEntries();

    Dispatch& dispatch;
    QStringList folders;
    std::optional<WindowReader> reader;
    DesktopEntries entries;
    QStringList unknown; // applications that a fresh reading did not name either
    bool reading = false;
    quint32 compositorSelection = 0, strut = 0, strutPartial = 0;
    quint32 managersWindow = 0; // the check window
    int selectionEvent = 0;     // of XFIXES; 0: there is none
    const bool waylandSession;
    QObject context;
};

} // namespace ovalin
