#pragma once

#include "base/Dispatch.h"

#include <QObject>
#include <QString>

namespace ovalin {

/// Writes `time` as whole seconds since 1970, in decimal without a line end, for tools that watch whether we are alive.
/// The folder is everybody's: a symbolic link planted there is replaced, never followed. A failure is ignored. Any
/// thread.
void writeHeartbeat(const QString& file, const QDateTime& time);

/// Writes the heartbeat now and every 60 seconds, as long as the main loop turns; `daily` is called now and with the
/// first beat of each day (UTC). Main thread.
class Heartbeat final : public QObject {
public:
    Heartbeat(Dispatch& dispatch, const QString& file, std::function<void()> daily);

private:
    void beat();

    Dispatch& dispatch;
    const QString file;
    const std::function<void()> daily;
    QDate day;
};

} // namespace ovalin
