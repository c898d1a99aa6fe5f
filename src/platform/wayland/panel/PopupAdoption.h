#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

#include <vector>

namespace ovalin {

/// Menus and tool tips of layer surfaces. As Qt makes them they are xdg_popups of a window that has no xdg role, and
/// nobody sees them. Here they become parts of the window (wl_subsurface), which may reach over its edges. Main thread.
class PopupAdoption final : public QObject {
public:
    void add(QWidget& window);
    /// To be called before the window is gone: what is part of it would go with it, and be used by Qt later.
    void remove(QWidget& window);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    [[nodiscard]] QWidget* ownerOf(const QWidget& popup) const;
    void putIntoOwner(QWidget& popup, const QWidget& owner);

    std::vector<QPointer<QWidget>> windows;
    std::vector<QPointer<QWidget>> popups;
    bool putting = false;
};

} // namespace ovalin
