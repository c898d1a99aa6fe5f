#include "PortalSettings.h"

#include "BusAddress.h"

#include <QDBusMessage>
#include <QDBusVariant>

#include <utility>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int CALL_MS = 1000;

QVariant setting(QDBusConnection& bus, const QString& space, const QString& key) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s, u"/org/freedesktop/portal/desktop"_s,
                                       u"org.freedesktop.portal.Settings"_s, u"Read"_s);
    call.setAutoStartService(false);
    call << space << key;
    QVariant value = bus.call(call, QDBus::Block, CALL_MS).arguments().value(0);
    while (value.metaType() == QMetaType::fromType<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

PortalSettings::PortalSettings(Dispatch& theDispatch, QString theAddress)
    : dispatch(theDispatch)
    , link(std::make_shared<BusLink>(u"settings"_s))
    , address(std::move(theAddress)) {
    askAgain();
}

// On a worker thread.
PortalSettings::Said PortalSettings::ask(BusLink& link, const QString& address) {
    auto bus =
        link.connection([&] { return address.isEmpty() ? sessionBusAddress() : address; }, QDeadlineTimer(CALL_MS));
    if (!bus)
        return {};
    const QVariant moves = setting(*bus, u"org.gnome.desktop.interface"_s, u"enable-animations"_s);
    return {setting(*bus, u"org.freedesktop.appearance"_s, u"color-scheme"_s).toInt(),
            moves.metaType() != QMetaType::fromType<bool>() || moves.toBool()};
}

void PortalSettings::askAgain() {
    if (std::exchange(asking, true))
        return;
    dispatch.inBackground(
        Queue::Utility, &context, [link = link, address = address] { return ask(*link, address); },
        [this](Said found) {
            asking = false;
            said = found;
        });
}

std::optional<bool> PortalSettings::dark() {
    askAgain();
    return said.scheme == 0 ? std::nullopt : std::optional(said.scheme == 1);
}

} // namespace ovalin
