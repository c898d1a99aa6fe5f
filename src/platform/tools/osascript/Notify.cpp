#include "Notify.h"

#include "platform/dbus/NotificationClient.h"

#include <QEventLoop>

namespace ovalin {

using namespace Qt::StringLiterals;

tl::expected<void, QString> showNotification(const NotificationScript& script) {
    NotificationClient client(sessionBusAddress());
    QEventLoop loop;
    QObject::connect(
        &client, &NotificationClient::shown, &loop, [&] { loop.exit(0); }, Qt::QueuedConnection);
    QObject::connect(
        &client, &NotificationClient::failed, &loop, [&] { loop.exit(1); }, Qt::QueuedConnection);
    client.show(0, script.title.isEmpty() ? u"Ovalin"_s : script.title, script.body, {});
    if (loop.exec() != 0)
        return tl::unexpected(u"nobody shows notifications"_s);
    return {};
}

} // namespace ovalin
