#include "PopupAdoption.h"

#include <QApplication>
#include <QEvent>
#include <QWindow>

#include <algorithm>

namespace ovalin {

void PopupAdoption::add(QWidget& window) {
    if (windows.empty())
        qApp->installEventFilter(this);
    windows.emplace_back(&window);
}

void PopupAdoption::remove(QWidget& window) {
    std::erase(windows, &window);
    for (const QPointer<QWidget>& popup : std::vector(popups)) {
        if (!popup || !popup->windowHandle() || popup->windowHandle()->parent() != window.windowHandle())
            continue;
        popup->close();
        if (popup && popup->windowHandle())
            popup->windowHandle()->setParent(nullptr);
    }
    if (windows.empty())
        qApp->removeEventFilter(this);
}

QWidget* PopupAdoption::ownerOf(const QWidget& popup) const {
    if (windows.empty() || !popup.isWindow() || (popup.windowType() != Qt::Popup && popup.windowType() != Qt::ToolTip))
        return nullptr;
    const QWidget* const parent = popup.parentWidget() ? popup.parentWidget()->window() : nullptr;
    const auto found = std::find(windows.begin(), windows.end(), parent);
    return found != windows.end() ? *found : windows.front();
}

// From now on its place is told from the owner's corner.
void PopupAdoption::putIntoOwner(QWidget& popup, const QWidget& owner) {
    putting = true;
    popup.move(popup.pos() - owner.pos());
    putting = false;
}

bool PopupAdoption::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::WinIdChange: // its window is there, and has no role yet
    case QEvent::Show:
    case QEvent::Move:
        break;
    case QEvent::WindowDeactivate: // who has the keyboard now sees no menu any more
        if (QWidget* popup = QApplication::activePopupWidget();
            popup && std::find(windows.begin(), windows.end(), watched) != windows.end())
            popup->close();
        return false;
    default:
        return false;
    }
    auto* const popup = qobject_cast<QWidget*>(watched);
    const QWidget* const owner = popup && popup->windowHandle() ? ownerOf(*popup) : nullptr;
    if (!owner || !owner->windowHandle())
        return false;
    if (event->type() == QEvent::WinIdChange) {
        popup->windowHandle()->setParent(owner->windowHandle());
        std::erase_if(popups, [](const auto& gone) { return gone.isNull(); });
        popups.emplace_back(popup);
        return false;
    }
    const bool placed = event->type() == QEvent::Show || popup->isVisible(); // a tool tip moves while it shows
    if (placed && popup->windowHandle()->parent() && !putting && !event->spontaneous())
        putIntoOwner(*popup, *owner);
    return false;
}

} // namespace ovalin
