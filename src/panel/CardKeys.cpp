#include "CardKeys.h"

#include "CapturePanel.h"

#include <QAbstractButton>
#include <QApplication>
#include <QKeyEvent>
#include <QWindow>

#include <utility>

namespace ovalin {

namespace {

// Qt then also asks for the focus of the X server, and complains each time that the card is not to have it.
void keepQuietAboutFocus() {
    static QtMessageHandler before = nullptr;
    if (before)
        return;
    before = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext& context, const QString& text) {
        if (!text.startsWith(QLatin1String("requestActivate() called for")))
            before(type, context, text);
    });
}

bool isReturn(const QKeyEvent& event) { return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter; }

} // namespace

CardKeys::CardKeys(QWidget& theCard, std::function<bool(const QKeyEvent&)> theOffered)
    : QObject(&theCard)
    , card(theCard)
    , offered(std::move(theOffered)) {}

void CardKeys::takeFrom(CapturePanel& panel) {
    lender = &panel;
    panel.windowHandle()->installEventFilter(this);
    panel.installEventFilter(this);
}

void CardKeys::giveBack() {
    leave();
    if (lender && lender->windowHandle())
        lender->windowHandle()->removeEventFilter(this);
    if (lender)
        lender->removeEventFilter(this);
    lender = nullptr;
}

// Qt makes no window active that the X server gives no focus; here it is to be told where keys go, and show it.
void CardKeys::enter(QWidget* child) {
    if (!lender)
        return;
    if (!entered) {
        entered = true;
        lender->focusPrompt();
        prompt = lender->focusWidget();
        prompt->installEventFilter(this);
        keepQuietAboutFocus();
        QApplication::setActiveWindow(&card);
    }
    child->setFocus(Qt::TabFocusReason);
    Q_EMIT enteredChild(child);
}

void CardKeys::leave() {
    if (!std::exchange(entered, false))
        return;
    if (prompt)
        prompt->removeEventFilter(this);
    if (card.focusWidget())
        card.focusWidget()->clearFocus();
    // Where the keyboard has gone to others it must not be taken from them.
    const bool panelHasKeyboard = lender && QGuiApplication::focusWindow() == lender->windowHandle();
    QApplication::setActiveWindow(panelHasKeyboard ? lender.get() : nullptr);
}

QList<QWidget*> CardKeys::stops() const {
    QList<QWidget*> found;
    for (QWidget* child : card.findChildren<QWidget*>()) {
        if ((child->focusPolicy() & Qt::TabFocus) && child->isVisible() && child->isEnabled() && !child->focusProxy())
            found.append(child);
    }
    return found;
}

// From the prompt into the card, through it, and on to what comes behind the prompt.
bool CardKeys::walk(bool forward) {
    const QList<QWidget*> all = stops();
    const qsizetype next = entered ? all.indexOf(card.focusWidget()) + (forward ? 1 : -1) : 0;
    if (next >= 0 && next < all.size()) {
        enter(all[next]);
        return true;
    }
    leave();
    return !forward;
}

bool CardKeys::pressed(QKeyEvent& event) {
    const bool tab = event.key() == Qt::Key_Tab && !event.modifiers(), back = event.key() == Qt::Key_Backtab;
    if (entered ? tab || back : tab && lender->promptHasFocus())
        return walk(tab);
    if (entered && isReturn(event)) {
        if (auto* button = qobject_cast<QAbstractButton*>(card.focusWidget())) {
            button->click();
            return true;
        }
    }
    if (offered(event))
        return true;
    if (entered)
        QCoreApplication::sendEvent(card.windowHandle(), &event);
    return entered;
}

bool CardKeys::eventFilter(QObject* watched, QEvent* event) {
    if (lender && watched == lender->windowHandle()) {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
            leave();
            break;
        case QEvent::KeyPress:
            return pressed(*static_cast<QKeyEvent*>(event));
        case QEvent::KeyRelease:
            if (entered)
                QCoreApplication::sendEvent(card.windowHandle(), event);
            return entered;
        default:
            break;
        }
        return false;
    }
    if (watched == lender && event->type() == QEvent::WindowActivate && entered) // after a menu, say
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (entered)
                    QApplication::setActiveWindow(&card);
            },
            Qt::QueuedConnection);
    const bool composed = event->type() == QEvent::InputMethod || event->type() == QEvent::InputMethodQuery;
    return composed && entered && watched == prompt && card.focusWidget() &&
           QCoreApplication::sendEvent(card.focusWidget(), event);
}

} // namespace ovalin
