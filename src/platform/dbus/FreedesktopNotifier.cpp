#include "FreedesktopNotifier.h"

#include "NotificationClient.h"
#include "base/Log.h"

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds DEADLINE(2000);

} // namespace

FreedesktopNotifier::FreedesktopNotifier(Dispatch& theDispatch, const QString& busAddress)
    : dispatch(theDispatch)
    , client(new NotificationClient(busAddress))
    , thread(client) {
    QObject::connect(client, &NotificationClient::shown, &context, [this](quint64 ticket) { unshown.remove(ticket); });
    QObject::connect(client, &NotificationClient::failed, &context, [this](quint64 ticket) {
        logUnlessShown(ticket);
        asking.remove(ticket);
    });
    QObject::connect(client, &NotificationClient::closed, &context, [this](quint64 ticket) { asking.remove(ticket); });
    QObject::connect(client, &NotificationClient::pressed, &context, [this](quint64 ticket, qsizetype button) {
        const Notification asked = asking.take(ticket);
        if (const auto& act = button == 0 ? asked.onAction : asked.onSecond)
            act();
    });
}

FreedesktopNotifier::~FreedesktopNotifier() = default;

void FreedesktopNotifier::notify(const Notification& notification) {
    const quint64 ticket = ++lastTicket;
    QStringList buttons;
    if (notification.onAction && !notification.actionLabel.isEmpty())
        buttons = notification.onSecond ? QStringList{notification.actionLabel, notification.secondLabel}
                                        : QStringList{notification.actionLabel};
    if (!buttons.isEmpty())
        asking.insert(ticket, notification);
    unshown.insert(ticket, u"Ovalin: %1 — %2"_s.arg(notification.title, forLog(notification.body)));
    // Counted from here, not from the call: the bus itself may hang.
    dispatch.after(DEADLINE, &context, [this, ticket] { logUnlessShown(ticket); });
    QMetaObject::invokeMethod(client, [client = client, ticket, title = notification.title, body = notification.body,
                                       buttons] { client->show(ticket, title, body, buttons); });
}

void FreedesktopNotifier::logUnlessShown(quint64 ticket) {
    const auto text = unshown.constFind(ticket);
    if (text == unshown.cend())
        return;
    logLine(*text);
    unshown.erase(text);
}

} // namespace ovalin
