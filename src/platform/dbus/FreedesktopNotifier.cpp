#include "FreedesktopNotifier.h"

#include "NotificationClient.h"
#include "base/Log.h"
#include "base/Text.h"

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds DEADLINE(2000);
constexpr qsizetype LONGEST_BODY = 1000; // user-perceived characters

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
        if (const auto& act = button == NotificationClient::CLICK ? asked.onClick
                              : button == 0                       ? asked.onAction
                                                                  : asked.onSecond)
            act();
    });
}

FreedesktopNotifier::~FreedesktopNotifier() {
    const auto tickets = asking.keys();
    for (const quint64 ticket : tickets) {
        if (!asking[ticket].actionLabel.isEmpty()) // which nobody would hear any more
            withdraw(ticket);
    }
}

quint64 FreedesktopNotifier::notify(const Notification& notification) {
    const quint64 ticket = ++lastTicket;
    // Names of applications and reasons of agents are among the words; the client sees to the title.
    const QString body = onOneLine(notification.body, LONGEST_BODY);
    QStringList buttons;
    if (notification.onAction && !notification.actionLabel.isEmpty())
        buttons = notification.onSecond ? QStringList{notification.actionLabel, notification.secondLabel}
                                        : QStringList{notification.actionLabel};
    const bool clickable = notification.onClick != nullptr;
    if (!buttons.isEmpty() || clickable)
        asking.insert(ticket, notification);
    unshown.insert(ticket, u"Ovalin: %1 — %2"_s.arg(notification.title, forLog(body)));
    // Counted from here, not from the call: the bus itself may hang.
    dispatch.after(DEADLINE, &context, [this, ticket] { logUnlessShown(ticket); });
    QMetaObject::invokeMethod(
        client, [client = client, request = NotificationClient::Request{ticket, notification.title, body, buttons,
                                                                        clickable}] { client->show(request); });
    return ticket;
}

void FreedesktopNotifier::withdraw(quint64 ticket) {
    asking.remove(ticket);
    QMetaObject::invokeMethod(client, [client = client, ticket] { client->withdraw(ticket); });
}

void FreedesktopNotifier::logUnlessShown(quint64 ticket) {
    const auto text = unshown.constFind(ticket);
    if (text == unshown.cend())
        return;
    logLine(*text);
    unshown.erase(text);
}

} // namespace ovalin
