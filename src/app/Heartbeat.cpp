#include "Heartbeat.h"

#include "base/WholeFile.h"

namespace ovalin {

void writeHeartbeat(const QString& file, const QDateTime& time) {
    ReplaceOptions options;
    options.newMode = 0644;
    options.followLinks = false;
    options.durable = false; // it is of no use after a crash of the machine
    std::ignore = replaceFile(file, QByteArray::number(time.toSecsSinceEpoch()), options);
}

Heartbeat::Heartbeat(Dispatch& theDispatch, const QString& heartbeatFile, std::function<void()> onceADay)
    : dispatch(theDispatch)
    , file(heartbeatFile)
    , daily(std::move(onceADay)) {
    beat();
}

void Heartbeat::beat() {
    dispatch.run(Queue::Utility, [path = file, now = dispatch.wallClock()] { writeHeartbeat(path, now); });
    const QDate today = dispatch.wallClock().date();
    if (std::exchange(day, today) != today)
        daily();
    dispatch.after(std::chrono::minutes(1), this, [this] { beat(); });
}

} // namespace ovalin
