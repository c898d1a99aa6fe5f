#pragma once

// The accessibility tree, how it hangs together:
//
//   AtSpiAccessibility   one reading: windows of the front title → the focused object in them → its selection
//    ├ AtSpiFocusFollower  hears who gains and loses the focus (a bus thread), and writes it into
//    ├ AtSpiFocusRecords   the last three of each application, which hold while the panel has the keyboard
//    ├ AtSpiFocus          where there is no record: looks for the focus in the tree; what window an object lies in
//    └ AtSpiText, AtSpiParagraphs   the selection in one object, and one that goes over several
//   AtSpiPage            the address and title of a browser's front page (for osascript)
//   AtSpiBus, AtSpiQuery one connection; calls of one reading under one deadline, several begun before the first answer
//
// No object is believed: what it answers in another form than the interface says counts as no answer.

#include "AtSpiBus.h"
#include "AtSpiFocus.h"
#include "AtSpiFocusRecords.h"
#include "base/Dispatch.h"
#include "platform/Accessibility.h"
#include "platform/dbus/Bus.h"

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

    /// `front` is called on workers. `sessionAddress`: the session bus, empty for none. The dispatch outlives this
    /// object.
    AtSpiAccessibility(Dispatch& dispatch, Front front, const QString& sessionAddress = sessionBusAddress(),
                       std::chrono::milliseconds deadline = std::chrono::milliseconds(250));
    ~AtSpiAccessibility() override;

    /// A selection, and where it is.
    struct Spot {
        AccessibleSelection selection;
        AtSpiRef object; ///< that has the focus; null: none was found
    };
    /// As selection().
    [[nodiscard]] Spot spot(const AppWindow& at);

    void keyboardIsTaken() override;
    [[nodiscard]] AccessibleSelection selection(const AppWindow& at) override { return spot(at).selection; }
    void queryEnabled(std::function<void(bool enabled)> answer) override;
    void enable() override;

private:
    void withSession(std::function<void(const QDBusConnection&)> then);
    [[nodiscard]] Spot read(qint32 pid, const QString& title);
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
