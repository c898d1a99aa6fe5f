#include "BusLink.h"

#include "BusAddress.h"

#include <algorithm>
#include <atomic>
#include <mutex>

namespace ovalin {

BusLink::BusLink(const QString& forPeople) {
    static std::atomic<int> links{0};
    name = forPeople + QLatin1Char('-') + QString::number(++links);
}

BusLink::~BusLink() {
    current.reset();
    QDBusConnection::disconnectFromBus(name);
}

std::optional<QDBusConnection> BusLink::connection(const std::function<QString()>& address, QDeadlineTimer deadline) {
    if (!mutex.tryLock(static_cast<int>(std::clamp<qint64>(deadline.remainingTime(), 0, 60'000))))
        return std::nullopt;
    const std::unique_lock lock(mutex, std::adopt_lock);
    if (current && current->isConnected())
        return current;
    current.reset();
    QDBusConnection::disconnectFromBus(name);
    // QtDBus connects on the one thread that serves every bus of this process, with libdbus's 25 s: never let it meet
    // a bus that does not answer.
    const QString found = address();
    if (!busAnswers(found, deadline))
        return std::nullopt;
    const QDBusConnection made = QDBusConnection::connectToBus(found, name);
    if (made.isConnected())
        current = made;
    return current;
}

} // namespace ovalin
