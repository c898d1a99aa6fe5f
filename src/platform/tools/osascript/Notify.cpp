#include "Notify.h"

#include "base/Json.h"
#include "base/WholeFile.h"
#include "platform/dbus/NotificationClient.h"

#include <QEventLoop>
#include <QJsonArray>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

const QString SERVICE = u"service"_s;
const QString IDS = u"ids"_s;

/// What earlier runs have shown, in this user's runtime folder; it goes with the session.
QString saidFile() {
    const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return folder.isEmpty() ? QString() : folder + u"/ovalin-notified.json"_s;
}

NotificationClient::Said readSaid(const QString& file) {
    const auto read = readWholeFile(file);
    const auto object = read ? parseObject(read->bytes) : tl::unexpected(read.error());
    if (!object)
        return {};
    NotificationClient::Said said{object->value(SERVICE).toString(), {}};
    for (const auto& each : object->value(IDS).toArray())
        said.ids.append({each[0].toString(), static_cast<uint>(each[1].toInteger())});
    return said;
}

void writeSaid(const QString& file, const NotificationClient::Said& said) {
    QJsonArray ids;
    for (const auto& [text, id] : said.ids)
        ids.append(QJsonArray{text, qint64(id)});
    (void)replaceFile(file, prettyJson({{SERVICE, said.service}, {IDS, ids}}), {.durable = false});
}

} // namespace

tl::expected<void, QString> showNotification(const NotificationScript& script) {
    NotificationClient client(sessionBusAddress());
    const QString file = saidFile();
    if (!file.isEmpty())
        client.setSaid(readSaid(file));
    QEventLoop loop;
    QObject::connect(
        &client, &NotificationClient::shown, &loop, [&] { loop.exit(0); }, Qt::QueuedConnection);
    QObject::connect(
        &client, &NotificationClient::failed, &loop, [&] { loop.exit(1); }, Qt::QueuedConnection);
    client.show({0, script.title.isEmpty() ? u"Ovalin"_s : script.title, script.body, {}});
    if (loop.exec() != 0)
        return tl::unexpected(u"nobody shows notifications"_s);
    if (!file.isEmpty())
        writeSaid(file, client.said());
    return {};
}

} // namespace ovalin
