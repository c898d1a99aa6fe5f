#include "ProcessTree.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QMultiHash>

#include <poll.h>
#include <sys/stat.h>

#include <csignal>
#include <functional>

extern "C" { // glibc 2.36 forgot to say so in this header
#include <sys/pidfd.h>

using namespace Qt::StringLiterals;
}

namespace ovalin {

namespace {

/// The parent in the text of /proc/PID/stat (proc(5)); the command's name in brackets may hold anything.
pid_t parentIn(const QByteArray& stat) {
    const auto fields = stat.mid(stat.lastIndexOf(')') + 1).simplified().split(' ');
    return fields.size() > 1 ? static_cast<pid_t>(fields[1].toInt()) : 0;
}

/// Calls `found` with each process and what stands in that file of its folder.
void forEachProcess(const QString& file, const std::function<void(pid_t, const QByteArray&)>& found) {
    for (const QString& name : QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool isNumber = false;
        const pid_t pid = name.toInt(&isNumber);
        QFile contents(u"/proc/%1/%2"_s.arg(name, file));
        if (isNumber && contents.open(QIODevice::ReadOnly))
            found(pid, contents.readAll());
    }
}

QMultiHash<pid_t, pid_t> childrenOfAll() {
    QMultiHash<pid_t, pid_t> children;
    forEachProcess(u"stat"_s, [&](pid_t pid, const QByteArray& stat) { children.insert(parentIn(stat), pid); });
    return children;
}

} // namespace

Descriptor openProcess(pid_t pid) { return Descriptor(::pidfd_open(pid, 0)); }

std::vector<Descriptor> descendantsOf(pid_t pid) {
    const auto children = childrenOfAll();
    std::vector<pid_t> found{pid};
    for (size_t next = 0; next < found.size(); ++next) {
        for (const pid_t child : children.values(found[next]))
            found.push_back(child);
    }
    std::vector<Descriptor> descendants;
    for (size_t i = 1; i < found.size(); ++i)
        descendants.push_back(openProcess(found[i]));
    return descendants;
}

std::vector<Descriptor> processesWith(const QByteArray& variable) {
    std::vector<Descriptor> processes;
    forEachProcess(u"environ"_s, [&](pid_t pid, const QByteArray& environment) {
        if (('\0' + environment).contains('\0' + variable + '\0'))
            processes.push_back(openProcess(pid));
    });
    return processes;
}

QMultiHash<QByteArray, pid_t> processesByVariable(const QByteArray& name) {
    QMultiHash<QByteArray, pid_t> found;
    forEachProcess(u"environ"_s, [&](pid_t pid, const QByteArray& environment) {
        for (const QByteArray& variable : environment.split('\0')) {
            if (variable.startsWith(name + '='))
                found.insert(variable.mid(name.size() + 1), pid);
        }
    });
    return found;
}

QByteArray commandLineOf(pid_t pid) {
    QFile line(u"/proc/%1/cmdline"_s.arg(pid));
    return line.open(QIODevice::ReadOnly) ? line.readAll() : QByteArray();
}

QString ownProcessName() {
    QFile stat(u"/proc/self/stat"_s);
    const QByteArray text = stat.open(QIODevice::ReadOnly) ? stat.readAll() : QByteArray();
    const auto fields = text.mid(text.lastIndexOf(')') + 1).simplified().split(' ');
    constexpr qsizetype STARTED = 19; // proc(5), field 22, behind the name
    return u"%1:%2"_s.arg(::getpid()).arg(QString::fromLatin1(fields.value(STARTED)));
}

std::vector<pid_t> processesNaming(const QByteArray& text) {
    std::vector<pid_t> found;
    // One that has ended and was not waited for has no command line any more.
    forEachProcess(u"cmdline"_s, [&](pid_t pid, const QByteArray& line) {
        if (pid != ::getpid() && line.contains(text))
            found.push_back(pid);
    });
    return found;
}

bool anotherCopyRuns() {
    QByteArray own;
    QList<QByteArray> others;
    forEachProcess(u"comm"_s, [&](pid_t pid, const QByteArray& name) {
        struct stat status {};
        if (pid == ::getpid())
            own = name;
        else if (::stat(("/proc/" + QByteArray::number(pid)).constData(), &status) == 0 && status.st_uid == ::getuid())
            others.append(name);
    });
    return others.contains(own);
}

void signalProcess(const Descriptor& process, int number) {
    if (process)
        ::pidfd_send_signal(process.get(), number, nullptr, 0);
}

bool processHasEnded(const Descriptor& process) {
    pollfd news{process.get(), POLLIN, 0};
    return !process || ::poll(&news, 1, 0) > 0;
}

void waitForProcess(const Descriptor& process, std::chrono::milliseconds limit) {
    pollfd news{process.get(), POLLIN, 0};
    ::poll(&news, 1, static_cast<int>(std::max(limit, std::chrono::milliseconds(0)).count()));
}

} // namespace ovalin
