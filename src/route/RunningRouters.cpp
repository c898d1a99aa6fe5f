#include "RunningRouters.h"

#include "base/children/ProcessTree.h"

#include <QSet>

#include <algorithm>
#include <csignal>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const QString REQUEST = u"OVALIN_REQUEST"_s;
const QString WATCHER = u"OVALIN_WATCHER"_s;

void signalAll(const std::vector<Descriptor>& processes, int number) {
    for (const Descriptor& process : processes)
        signalProcess(process, number);
}

/// Held before they are looked at: a number may come to mean another process in between.
std::vector<Descriptor> markedInGroupsOf(const QString& id) {
    QSet<pid_t> groups;
    for (const pid_t router : runningRouters().values(id))
        groups.insert(::getpgid(router));
    groups.remove(::getpgid(0));
    groups.remove(-1);
    std::vector<Descriptor> held;
    const auto marked = [&] { return processesByVariable(REQUEST.toLatin1()).values(id.toUtf8()); };
    for (const pid_t process : marked()) {
        if (!groups.contains(::getpgid(process)))
            continue;
        Descriptor descriptor = openProcess(process);
        if (marked().contains(process))
            held.push_back(std::move(descriptor));
    }
    return held;
}

} // namespace

ChildVariables routerVariables(const QString& id) { return {{REQUEST, id}, {WATCHER, ownProcessName()}}; }

QMultiHash<QString, pid_t> runningRouters() {
    const auto marked = processesByVariable(REQUEST.toLatin1());
    QMultiHash<QString, pid_t> routers;
    for (auto each = marked.begin(); each != marked.end(); ++each) {
        if (!each.key().isEmpty() && commandLineOf(*each).contains(each.key()))
            routers.insert(QString::fromUtf8(each.key()), *each);
    }
    return routers;
}

bool endRouter(const QString& id, const std::function<void()>& proven, std::chrono::milliseconds toCleanUp) {
    const std::vector<Descriptor> processes = markedInGroupsOf(id);
    if (processes.empty())
        return false;
    proven();
    signalAll(processes, SIGTERM);
    const auto until = std::chrono::steady_clock::now() + toCleanUp;
    for (const Descriptor& process : processes)
        waitForProcess(process,
                       std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now()));
    signalAll(processes, SIGKILL);
    return true;
}

} // namespace ovalin
