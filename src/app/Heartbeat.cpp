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

Heartbeat::Heartbeat(Dispatch& theDispatch, const QString& heartbeatFile, QObject* parent)
    : QObject(parent)
    , dispatch(theDispatch)
    , file(heartbeatFile) {
    beat();
}

void Heartbeat::beat() {
    dispatch.run(Queue::Utility, [path = file, now = dispatch.wallClock()] { writeHeartbeat(path, now); });
    dispatch.after(std::chrono::minutes(1), this, [this] { beat(); });
}

} // namespace ovalin
