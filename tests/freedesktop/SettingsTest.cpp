#include "fakes/FakeServices.h"
#include "platform/dbus/PortalSettings.h"

namespace {

class FakePortal final : public BusService {
public:
    explicit FakePortal(const QString& address)
        : BusService(address, u"org.freedesktop.portal.Desktop"_s) {}
    QVariantMap settings;

private:
    std::optional<QVariantList> answer(const QDBusMessage& message) override {
        const QVariant found = settings.value(message.arguments().value(1).toString());
        if (!found.isValid())
            return {};
        return QVariantList{QVariant::fromValue(QDBusVariant(QVariant::fromValue(QDBusVariant(found))))};
    }
};

} // namespace

TEST(Settings, ThePortalsLookCountsFromTheNextLookOn) {
    const TestBus bus;
    FakePortal portal(bus.address);
    QtDispatch dispatch;
    PortalSettings settings(dispatch, bus.address);
    const struct {
        QVariantMap says;
        std::optional<bool> dark;
        bool animations;
    } rows[] = {
        {{{u"color-scheme"_s, 1U}, {u"enable-animations"_s, false}}, true, false},
        {{{u"color-scheme"_s, 2U}, {u"enable-animations"_s, true}}, false, true},
        {{{u"enable-animations"_s, false}}, {}, false},
        {{}, {}, true},
    };
    for (const auto& row : rows) {
        portal.settings = row.says;
        EXPECT_TRUE(waitUntil([&] { return settings.dark() == row.dark && settings.animations() == row.animations; }));
    }
}
