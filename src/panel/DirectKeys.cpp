#include "DirectKeys.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QEvent>
#include <QPointer>

#include <memory>

namespace ovalin {

namespace {

class DirectKeys final : public QObject, public QAbstractNativeEventFilter {
public:
    explicit DirectKeys(QCoreApplication* application)
        : QObject(application) {
        application->installNativeEventFilter(this);
    }

    // Qt puts its own filter in whenever a listener comes, and what is put in last sees an event first.
    bool nativeEventFilter(const QByteArray&, void*, qintptr*) override {
        QCoreApplication::instance()->installEventFilter(this);
        return false;
    }

    bool eventFilter(QObject* target, QEvent* event) override {
        const bool key = event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease;
        if (!key || !event->spontaneous() || !target->isWindowType())
            return false;
        // Qt's own filter passes over what does not come from the window system.
        const std::unique_ptr<QEvent> direct(event->clone());
        QCoreApplication::sendEvent(target, direct.get());
        event->setAccepted(direct->isAccepted());
        return true;
    }
};

} // namespace

void deliverKeysDirectly() {
    static QPointer<DirectKeys> keys;
    if (!keys)
        keys = new DirectKeys(QCoreApplication::instance());
    QCoreApplication::instance()->installEventFilter(keys);
}

} // namespace ovalin
