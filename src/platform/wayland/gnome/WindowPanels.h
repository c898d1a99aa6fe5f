#pragma once

#include "platform/Keyboard.h"
#include "platform/PanelHost.h"
#include "platform/wayland/panel/PopupAdoption.h"

#include <QObject>
#include <QPointer>
#include <QWindow>

namespace ovalin {

/// The panel as a window like any other, where no layer lies over them: the compositor places it and tells nobody
/// where. All places are counted from one that is made up for the panel; its cards are parts of it (wl_subsurface), so
/// they lie where they are put beside it, and the keyboard stays with the panel.
class WindowPanels final : public QObject, public PanelHost {
public:
    /// As if it were at the upper edge: whatever grows there stays on the screen.
    [[nodiscard]] QPoint pointer() override;
    [[nodiscard]] std::vector<ScreenArea> screens() override;
    [[nodiscard]] bool composited() override { return true; }
    [[nodiscard]] QImage backdrop(const QRect& area) override;
    void open(QWidget& window) override;
    /// A panel that keeps its size is dragged: the compositor moves it from then on.
    void place(QWidget& window, const QRect& place) override;

protected:
    /// Closed by the shell is as by Escape.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void closed(QWidget& window);

    QPointer<QWidget> panel;
    PopupAdoption popups;
};

/// The keyboard, as the compositor gives it to the window of ours that is active. Main thread.
class WindowHold final : public KeyboardHold {
public:
    void take(QWindow& window) override;
    void letGo() override { window = nullptr; }
    [[nodiscard]] bool held() const override;
    [[nodiscard]] bool waiting() const override { return false; }

private:
    QPointer<QWindow> window;
};

} // namespace ovalin
