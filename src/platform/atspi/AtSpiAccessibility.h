#pragma once

#include "AtSpiBus.h"
#include "AtSpiFocus.h"
#include "AtSpiFocusRecords.h"
#include "base/Dispatch.h"
#include "platform/Accessibility.h"
#include "platform/dbus/Bus.h"
#include "platform/x11/windows/FrontTitle.h"

#include <QObject>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

namespace ovalin {

class AtSpiFocusFollower;

/// Accessibility by AT-SPI 2 over D-Bus. Follows the focus from its beginning on, since toolkits forget the focused
/// object while another window holds the keyboard.
class AtSpiAccessibility final : public Accessibility {
public:
    using Front = std::function<FrontTitle(const AppWindow&)>;

    /// `sessionAddress`: the session bus, empty for none. `front` is called on workers. The dispatch outlives this
    /// object.
    explicit AtSpiAccessibility(Dispatch& dispatch, const QString& sessionAddress = sessionBusAddress(),
                                std::chrono::milliseconds deadline = std::chrono::milliseconds(250),
                                Front front = frontTitle);
    ~AtSpiAccessibility() override;

    void keyboardIsTaken() override;
    [[nodiscard]] AccessibleSelection selection(const AppWindow& at) override;
    void queryEnabled(std::function<void(bool enabled)> answer) override;
    void enable() override;

private:
    void withSession(std::function<void(const QDBusConnection&)> then);
    [[nodiscard]] AccessibleSelection read(qint32 pid, const QString& title);
    struct Focus {
        AtSpiRef object; ///< null: not known
        AtSpiPlace place;
    };
    [[nodiscard]] Focus recorded(const AtSpiQuery& query, const QString& service, const QList<AtSpiRef>& windows) const;

    Dispatch& dispatch;
    const std::chrono::milliseconds limit;
    const std::shared_ptr<AtSpiBus> bus; // shared with connecting that may still be under way

    const Front front;
    const std::shared_ptr<AtSpiFocusRecords> records = std::make_shared<AtSpiFocusRecords>();
    std::atomic<AtSpiFocusRecords::Time> taken{};
    AtSpiFocusFollower* const follower; // of its thread
    BusThread followerThread;
    QObject context; // what comes back to the main thread ends with it
};

} // namespace ovalin
