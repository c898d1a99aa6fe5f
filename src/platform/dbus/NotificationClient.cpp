#include "NotificationClient.h"

#include <QDBusPendingCallWatcher>
#include <QVariantMap>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr int CALL_MS = 2000;

const auto SERVICE = u"org.freedesktop.Notifications"_s;
const auto PATH = u"/org/freedesktop/Notifications"_s;
const auto BUTTON = u"button"_s; // with its number; not "default": a click on the text is no consent

QDBusMessage methodCall(const QString& method) {
    return QDBusMessage::createMethodCall(SERVICE, PATH, SERVICE, method);
}

QString escaped(QString text) {
    return text.replace(QLatin1Char('&'), QLatin1String("&amp;"))
        .replace(QLatin1Char('<'), QLatin1String("&lt;"))
        .replace(QLatin1Char('>'), QLatin1String("&gt;"));
}

} // namespace

bool NotificationClient::connected() {
    if (bus && bus->isConnected())
        return true;
    bus.reset();
    forgetAllBut(QString());
    bus.emplace(address);
    if (!bus->isConnected())
        return false;
    // From any sender: who sent it is compared with who showed the notification.
    (*bus)->connect(QString(), PATH, SERVICE, u"ActionInvoked"_s, this, SLOT(actionInvoked(QDBusMessage)));
    (*bus)->connect(QString(), PATH, SERVICE, u"NotificationClosed"_s, this, SLOT(notificationClosed(QDBusMessage)));
    return true;
}

void NotificationClient::call(const QDBusMessage& message, std::function<void(const QDBusMessage& reply)> done) {
    auto* const watcher = new QDBusPendingCallWatcher((*bus)->asyncCall(message, CALL_MS), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, done = std::move(done)] {
        done(watcher->reply());
        watcher->deleteLater();
    });
}

void NotificationClient::show(quint64 ticket, const QString& title, const QString& body, const QStringList& buttons) {
    if (!connected()) {
        Q_EMIT failed(ticket);
        return;
    }
    // Asked each time: another service may have taken over since the last one.
    call(methodCall(u"GetCapabilities"_s), [=, this](const QDBusMessage& reply) {
        if (reply.type() == QDBusMessage::ErrorMessage && QDBusError(reply).type() != QDBusError::UnknownMethod) {
            Q_EMIT failed(ticket);
            return;
        }
        const QStringList capabilities = reply.arguments().value(0).toStringList();
        const bool markup = capabilities.contains(u"body-markup"_s);
        send(ticket, title, markup ? escaped(body) : body, buttons);
    });
}

void NotificationClient::send(quint64 ticket, const QString& title, const QString& body, const QStringList& buttons) {
    if (!connected()) {
        Q_EMIT failed(ticket);
        return;
    }
    QStringList actions;
    for (qsizetype i = 0; i < buttons.size(); ++i)
        actions += {BUTTON + QString::number(i), buttons[i]};
    const QVariantMap hints{{u"desktop-entry"_s, u"ovalin"_s}};
    constexpr uint replaces = 0;
    const int timeout = buttons.isEmpty() ? -1 : 0; // as long as the service likes, or until it is answered
    QDBusMessage message = methodCall(u"Notify"_s);
    message << u"Ovalin"_s << replaces << u"ovalin"_s << title << body << actions << hints << timeout;
    call(message, [this, ticket, hasButton = !actions.isEmpty()](const QDBusMessage& reply) {
        if (reply.type() != QDBusMessage::ReplyMessage) {
            Q_EMIT failed(ticket);
            return;
        }
        forgetAllBut(reply.service());
        if (hasButton)
            tickets.insert({reply.service(), reply.arguments().value(0).toUInt()}, ticket);
        Q_EMIT shown(ticket);
    });
}

void NotificationClient::forgetAllBut(const QString& service) {
    tickets.removeIf([&](const auto& entry) {
        const bool gone = entry.key().service != service;
        if (gone)
            Q_EMIT closed(entry.value());
        return gone;
    });
}

void NotificationClient::actionInvoked(const QDBusMessage& message) {
    const auto ticket = tickets.constFind({message.service(), message.arguments().value(0).toUInt()});
    const QString button = message.arguments().value(1).toString();
    if (ticket != tickets.cend() && button.startsWith(BUTTON))
        Q_EMIT pressed(*ticket, button.mid(BUTTON.size()).toLongLong());
}

void NotificationClient::notificationClosed(const QDBusMessage& message) {
    const Shown gone{message.service(), message.arguments().value(0).toUInt()};
    if (tickets.contains(gone))
        Q_EMIT closed(tickets.take(gone));
}

} // namespace ovalin
