#include "GnomeFront.h"

#include <unistd.h>

namespace ovalin {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds CONNECT_LIMIT = 1s, LOOK_LIMIT = 100ms;

// An object of the tree as the handle of a window, and back.
QString handleOf(const AtSpiRef& object) { return object.service + u' ' + object.path; }
AtSpiRef objectOf(const QString& handle) { return {handle.section(u' ', 0, 0), handle.section(u' ', 1)}; }

} // namespace

GnomeFront::GnomeFront(Dispatch& dispatch, const QString& sessionAddress)
    : bus(std::make_shared<AtSpiBus>(sessionAddress))
    , names(dispatch)
    , follower(new AtSpiFront([known = bus] { return known->address(QDeadlineTimer(CONNECT_LIMIT)); },
                              [this](const auto& front) { told(front); }))
    , thread(follower) {
    QMetaObject::invokeMethod(follower, &AtSpiFront::follow, Qt::QueuedConnection);
}

void GnomeFront::told(const std::optional<AtSpiWindow>& front) {
    if (!front || front->pid == ::getpid()) {
        book.setKeyboardThere(false);
        return;
    }
    quint64& number = numbers[{front->object.service, front->object.path}];
    if (number == 0)
        number = numbers.size();
    book.setFront(WaylandWindow{number, front->pid, front->application, {}, front->title, {}, handleOf(front->object)});
    book.setKeyboardThere(true);
}

std::optional<FrontApplication> GnomeFront::frontmostApplication() {
    QMetaObject::invokeMethod(follower, &AtSpiFront::follow,
                              Qt::QueuedConnection); // the bus may have come, or come back
    const auto front = book.front();
    if (!front || !book.applicationHasKeyboard())
        return {};
    const auto [name, bundleId] = names.find(front->appId, {}, front->pid);
    return FrontApplication{name, bundleId, front->pid, WindowId{front->id}};
}

QString GnomeFront::title(WindowId window) { return book.find(window.number).value_or(WaylandWindow{}).title; }

QString GnomeFront::nameOf(WindowId window) const { return book.find(window.number).value_or(WaylandWindow{}).appId; }

QString GnomeFront::titleNow(const WaylandWindow& window) {
    const auto query = bus->open(QDeadlineTimer(LOOK_LIMIT));
    const QString title = query ? query->name(query->beginName(objectOf(window.handle))) : QString();
    return title.isEmpty() ? window.title : title;
}

std::vector<WindowInfo> GnomeFront::onScreenWindows() {
    const auto front = book.front();
    if (!front)
        return {};
    return {{WindowId{front->id}, front->pid, 0, {}, front->appId, titleNow(*front)}};
}

FrontTitle GnomeFront::frontTitle(const AppWindow& at) {
    const auto front = book.front();
    if (front && front->pid == at.pid)
        return {WindowId{front->id}, titleNow(*front)};
    const auto asked = book.find(at.window.number);
    return {{}, asked ? titleNow(*asked) : QString()};
}

bool GnomeFront::hasKeyboard(const AppWindow& target) {
    const auto front = book.front();
    if (!front || !book.applicationHasKeyboard() || front->pid != target.pid ||
        (target.window && front->id != target.window.number))
        return false;
    const auto query = bus->open(QDeadlineTimer(LOOK_LIMIT));
    return query && query->states(objectOf(front->handle)).has(AtSpiState::Active);
}

} // namespace ovalin
