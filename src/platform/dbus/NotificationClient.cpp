#include "NotificationClient.h"

#include "base/Text.h"

#include <QCryptographicHash>
#include <QDBusPendingCallWatcher>
#include <QVariantMap>

#include <algorithm>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr int CALL_MS = 2000;
constexpr qsizetype LONGEST_TITLE = 200; // user-perceived characters; services cut what does not fit

const auto SERVICE = u"org.freedesktop.Notifications"_s;
const auto PATH = u"/org/freedesktop/Notifications"_s;
const auto BUTTON = u"button"_s;   // with its number
const auto DEFAULT = u"default"_s; // a click on the text
constexpr qsizetype MOST_REMEMBERED = 50;

QDBusMessage methodCall(const QString& method) {
    return QDBusMessage::createMethodCall(SERVICE, PATH, SERVICE, method);
}

QString textOf(const NotificationClient::Request& request) {
    const QByteArray text = (request.title + QChar() + request.body).toUtf8();
    return QString::fromLatin1(QCryptographicHash::hash(text, QCryptographicHash::Sha1).toHex());
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
    if (bus)
        forgetAllBut(QString());
    bus.reset();
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

void NotificationClient::fail(quint64 ticket) {
    underway.remove(ticket);
    Q_EMIT failed(ticket);
}

void NotificationClient::show(const Request& asked) {
    Request request = asked; // names of applications and reasons of agents are among the words
    request.title = onOneLine(asked.title, LONGEST_TITLE);
    request.body = inPlainLines(asked.body);
    underway.insert(request.ticket, true);
    if (!connected()) {
        fail(request.ticket);
        return;
    }
    // Asked each time: another service may have taken over since the last one.
    call(methodCall(u"GetCapabilities"_s), [=, this](const QDBusMessage& reply) {
        if (reply.type() == QDBusMessage::ErrorMessage && QDBusError(reply).type() != QDBusError::UnknownMethod) {
            fail(request.ticket);
            return;
        }
        forgetAllBut(reply.service());
        const QStringList capabilities = reply.arguments().value(0).toStringList();
        const bool markup = capabilities.contains(u"body-markup"_s);
        send(request, markup ? escaped(request.body) : request.body);
    });
}

/// 0: nothing that may still be there.
uint NotificationClient::saidBefore(const Request& request) const {
    const QString text = textOf(request);
    for (const auto& [earlier, id] : known.ids) {
        if (earlier == text)
            return id;
    }
    return 0;
}

void NotificationClient::send(const Request& request, const QString& body) {
    if (!connected()) {
        fail(request.ticket);
        return;
    }
    QStringList actions;
    for (qsizetype i = 0; i < request.buttons.size(); ++i)
        actions += {BUTTON + QString::number(i), request.buttons[i]};
    if (request.clickable)
        actions += {DEFAULT, u"Show"_s};
    const QVariantMap hints{{u"desktop-entry"_s, u"ovalin"_s}};
    const int timeout = request.buttons.isEmpty() ? -1 : 0; // as long as the service likes, or until it is answered
    QDBusMessage message = methodCall(u"Notify"_s);
    message << u"Ovalin"_s << saidBefore(request) << u"ovalin"_s << request.title << body << actions << hints
            << timeout;
    call(message, [this, request, hasAction = !actions.isEmpty()](const QDBusMessage& reply) {
        if (reply.type() != QDBusMessage::ReplyMessage) {
            fail(request.ticket);
            return;
        }
        forgetAllBut(reply.service());
        const uint id = reply.arguments().value(0).toUInt();
        remember(textOf(request), id);
        if (tickets.contains({reply.service(), id})) // it has taken the place of that one
            Q_EMIT closed(tickets.take({reply.service(), id}));
        if (hasAction)
            tickets.insert({reply.service(), id}, request.ticket);
        Q_EMIT shown(request.ticket);
        if (!underway.take(request.ticket))
            withdraw(request.ticket);
    });
}

void NotificationClient::withdraw(quint64 ticket) {
    const auto shown = std::find(tickets.cbegin(), tickets.cend(), ticket);
    if (shown == tickets.cend()) {
        if (underway.contains(ticket))
            underway[ticket] = false;
        return;
    }
    QDBusMessage message = methodCall(u"CloseNotification"_s);
    message << shown.key().id;
    tickets.erase(shown);
    if (connected())
        (*bus)->asyncCall(message, CALL_MS);
}

void NotificationClient::remember(const QString& text, uint id) {
    known.ids.removeIf([&](const auto& earlier) { return earlier.first == text || earlier.second == id; });
    known.ids.append({text, id});
    if (known.ids.size() > MOST_REMEMBERED)
        known.ids.removeFirst();
}

void NotificationClient::forgetAllBut(const QString& service) {
    if (known.service != service)
        known = {service, {}};
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
    if (ticket != tickets.cend() && button == DEFAULT)
        Q_EMIT pressed(*ticket, CLICK);
    else if (ticket != tickets.cend() && button.startsWith(BUTTON))
        Q_EMIT pressed(*ticket, button.mid(BUTTON.size()).toLongLong());
}

void NotificationClient::notificationClosed(const QDBusMessage& message) {
    const Shown gone{message.service(), message.arguments().value(0).toUInt()};
    if (gone.service == known.service)
        known.ids.removeIf([&](const auto& earlier) { return earlier.second == gone.id; });
    if (tickets.contains(gone))
        Q_EMIT closed(tickets.take(gone));
}

} // namespace ovalin
