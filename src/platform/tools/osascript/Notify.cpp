#include "Notify.h"

#include "platform/dbus/BusAddress.h"
#include "platform/dbus/BusLink.h"

#include <QDBusMessage>
#include <QVariantMap>

#include <algorithm>

namespace ovalin {

namespace {

QDBusMessage ask(const QDBusConnection& session, const char* method, const QVariantList& arguments,
                 QDeadlineTimer deadline) {
    const QString name = QStringLiteral("org.freedesktop.Notifications");
    QDBusMessage message = QDBusMessage::createMethodCall(name, QStringLiteral("/org/freedesktop/Notifications"), name,
                                                          QString::fromLatin1(method));
    message.setArguments(arguments);
    return session.call(message, QDBus::Block, static_cast<int>(std::max<qint64>(deadline.remainingTime(), 1)));
}

} // namespace

tl::expected<void, QString> showNotification(const NotificationScript& script, QDeadlineTimer deadline) {
    BusLink link(QStringLiteral("osascript"));
    const auto session = link.connection(sessionBusAddress, deadline);
    if (!session)
        return tl::unexpected(QStringLiteral("no session bus"));
    const QDBusMessage capabilities = ask(*session, "GetCapabilities", {}, deadline);
    const bool markup = capabilities.arguments().value(0).toStringList().contains(QLatin1String("body-markup"));
    const QString application = QStringLiteral("Ovalin");
    const QVariantList arguments{application,
                                 0U,
                                 QString(),
                                 script.title.isEmpty() ? application : script.title,
                                 markup ? script.body.toHtmlEscaped() : script.body,
                                 QStringList(),
                                 QVariantMap(),
                                 -1};
    const QDBusMessage reply = ask(*session, "Notify", arguments, deadline);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return tl::unexpected(QStringLiteral("the notification was not shown: ") + reply.errorMessage());
    return {};
}

} // namespace ovalin
