#pragma once

#include "FreeArea.h"
#include "platform/PanelHost.h"
#include "platform/x11/windows/WindowReader.h"

#include <QAbstractNativeEventFilter>

#include <optional>

namespace ovalin {

/// The panel as an override-redirect window on Qt's own X connection. The pointer and a backdrop are one round trip
/// each, the docks two; the compositing manager (EWMH _NET_WM_CM_Sn) is known from events.
class X11Panels final : public PanelHost, private QAbstractNativeEventFilter {
public:
    X11Panels();
    ~X11Panels() override;

    [[nodiscard]] QPoint pointer() override;
    [[nodiscard]] std::vector<ScreenArea> screens() override;
    [[nodiscard]] bool composited() override;
    [[nodiscard]] QImage backdrop(const QRect& area) override;
    void open(QWidget& window) override;
    void place(QWidget& window, const QRect& place) override;

    /// The docks and panels of all monitors.
    [[nodiscard]] std::vector<ReservedStrip> reservedStrips();

private:
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    void watchCompositor();
    void findCompositor();
    void watchWindowManager();

    std::optional<WindowReader> reader;
    quint32 compositorSelection = 0, strut = 0, strutPartial = 0;
    quint32 managersWindow = 0;   // the check window
    int selectionEvent = 0;       // of XFIXES; 0: there is none
    quint32 compositorWindow = 0; // 0: none runs
    bool plainPixels = false;     // of the root window: as Qt has them
};

} // namespace ovalin
