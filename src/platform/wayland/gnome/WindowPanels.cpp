#include "WindowPanels.h"

#include <QGuiApplication>
#include <QImage>
#include <QKeyEvent>
#include <QScreen>
#include <QWidget>

namespace ovalin {

QPoint WindowPanels::pointer() {
    const QScreen* const screen = QGuiApplication::primaryScreen();
    return screen ? QPoint(screen->geometry().center().x(), screen->geometry().top()) : QPoint();
}

std::vector<ScreenArea> WindowPanels::screens() {
    const QScreen* const screen = QGuiApplication::primaryScreen();
    if (!screen)
        return {};
    return {{screen->geometry(), screen->geometry()}};
}

QImage WindowPanels::backdrop(const QRect&) { return {}; }

void WindowPanels::open(QWidget& window) {
    QWindow* const handle = window.windowHandle();
    const bool part = panel && panel->isVisible() && window.windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus);
    if (part) {
        handle->setParent(panel->windowHandle());
        window.move(window.pos() - panel->pos());
    } else {
        panel = &window;
        window.installEventFilter(this);
        window.setFixedSize(window.size()); // nobody else makes it larger, or as large as the screen
    }
    popups.add(window);
    connect(handle, &QWindow::visibleChanged, this, [this, &window](bool visible) {
        if (!visible)
            closed(window);
    });
    window.show();
}

// A part goes with the window that it is part of, and Qt would use it later.
void WindowPanels::closed(QWidget& window) {
    QWindow* const handle = window.windowHandle();
    disconnect(handle, &QWindow::visibleChanged, this, nullptr);
    popups.remove(window);
    for (QObject* child : handle->children()) {
        if (auto* const part = qobject_cast<QWindow*>(child))
            part->setParent(nullptr);
    }
    if (handle->parent())
        handle->setParent(nullptr);
}

bool WindowPanels::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::Close)
        return false;
    event->ignore();
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QCoreApplication::sendEvent(watched, &escape);
    return true;
}

void WindowPanels::place(QWidget& window, const QRect& place) {
    QWindow* const handle = window.windowHandle();
    if (handle->parent())
        window.setGeometry(place);
    else if (place.size() != window.size())
        window.setFixedSize(place.size());
    else
        handle->startSystemMove();
}

void WindowHold::take(QWindow& wanted) {
    window = &wanted;
    wanted.requestActivate();
}

bool WindowHold::held() const { return window && QGuiApplication::focusWindow() == window; }

} // namespace ovalin
