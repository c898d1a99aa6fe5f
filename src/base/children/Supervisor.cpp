#include "Supervisor.h"

#include "Spawn.h"
#include "base/Log.h"

#include <QUuid>

#include <atomic>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const QString NAME = u"OVALIN_CHILD_OF"_s;

// Its input ends when we do: nobody else holds the other end. $1 is what the marks begin with.
const QString SCRIPT = u"read -r _; sleep 2\n"
                       "for round in 1 2 3; do\n"
                       "    for file in $(grep -lzF -- \"$1\" /proc/[0-9]*/environ 2>/dev/null); do\n"
                       "        file=${file#/proc/}; kill -9 \"${file%/*}\" 2>/dev/null\n"
                       "    done\n"
                       "done\n"_s;

struct Supervisor {
    const QString program = QUuid::createUuid().toString(QUuid::WithoutBraces);
    Descriptor held;

    Supervisor() {
        auto input = makePipe();
        if (!input)
            return;
        const ChildCommand command{
            u"/bin/sh"_s, {u"-c"_s, SCRIPT, u"ovalin-supervisor"_s, NAME + QLatin1Char('=') + program}, {}, u"/"_s};
        if (const auto pid = spawnChild(command, input->read.get(), -1, ChildGroup::Session); pid)
            held = std::move(input->write);
        else
            logLine(u"Ovalin: no supervisor — "_s + pid.error());
    }
};

} // namespace

MarkedCommand supervised(const ChildCommand& command) {
    static const Supervisor supervisor;
    static std::atomic<int> number = 0;
    const QString value = u"%1-%2"_s.arg(supervisor.program).arg(++number);
    MarkedCommand marked{command, (NAME + QLatin1Char('=') + value).toUtf8()};
    marked.command.variables.insert(NAME, value);
    return marked;
}

} // namespace ovalin
