#include "WatchedApplication.h"

#include "base/Log.h"

#include <QAbstractEventDispatcher>
#include <QEvent>
#include <QThread>

#include <ctime>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

std::chrono::nanoseconds cpuTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

double milliseconds(std::chrono::nanoseconds time) { return std::chrono::duration<double, std::milli>(time).count(); }

} // namespace

WatchedApplication::WatchedApplication(int& count, char** arguments)
    : QApplication(count, arguments)
    , limit(std::chrono::milliseconds(qEnvironmentVariableIntValue("OVALIN_TURNS"))) {
    // Asleep it costs nothing, so that a turn may well be counted from one sleep to the next.
    if (limit.count() > 0)
        connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this,
                [this] { turnEnded(); });
}

bool WatchedApplication::notify(QObject* receiver, QEvent* event) {
    if (limit.count() == 0 || inEvent || QThread::currentThread() != thread())
        return QApplication::notify(receiver, event);
    const char* const name = receiver->metaObject()->className(); // either may be gone afterwards
    const int type = event->type();
    const auto began = cpuTime();
    inEvent = true;
    const bool taken = QApplication::notify(receiver, event);
    inEvent = false;
    if (const auto took = cpuTime() - began; took > longest) {
        longest = took;
        longestClass = name;
        longestType = type;
    }
    return taken;
}

void WatchedApplication::turnEnded() {
    const auto now = cpuTime();
    if (const auto took = now - turnBegan; took > limit && turnBegan.count() > 0)
        logLine(u"Ovalin: a turn of %1 ms, %2 of them event %3 of %4"_s.arg(milliseconds(took), 0, 'f', 1)
                    .arg(milliseconds(longest), 0, 'f', 1)
                    .arg(longestType)
                    .arg(QLatin1String(longestClass)));
    turnBegan = now;
    longest = {};
}

} // namespace ovalin
