#include "Supervisor.h"

#include "Spawn.h"
#include "base/Log.h"

#include <QUuid>

#include <atomic>

namespace ovalin {

namespace {

const QString NAME = QStringLiteral("OVALIN_CHILD_OF");

// Its input ends when we do: nobody else holds the other end. $1 is what the marks begin with.
const QString SCRIPT = QStringLiteral("read -r _; sleep 2\n"
                                      "for round in 1 2 3; do\n"
                                      "    for file in $(grep -lzF -- \"$1\" /proc/[0-9]*/environ 2>/dev/null); do\n"
                                      "        file=${file#/proc/}; kill -9 \"${file%/*}\" 2>/dev/null\n"
                                      "    done\n"
                                      "done\n");

struct Supervisor {
    const QString program = QUuid::createUuid().toString(QUuid::WithoutBraces);
    Descriptor held;

    Supervisor() {
        auto input = makePipe();
        if (!input)
            return;
        const ChildCommand command{
            QStringLiteral("/bin/sh"),
            {QStringLiteral("-c"), SCRIPT, QStringLiteral("ovalin-supervisor"), NAME + QLatin1Char('=') + program},
            {},
            QStringLiteral("/")};
        if (const auto pid = spawnChild(command, input->read.get(), -1, ChildGroup::Session); pid)
            held = std::move(input->write);
        else
            logLine(QStringLiteral("Ovalin: no supervisor — ") + pid.error());
    }
};

} // namespace

MarkedCommand supervised(const ChildCommand& command) {
    static const Supervisor supervisor;
    static std::atomic<int> number = 0;
    const QString value = QStringLiteral("%1-%2").arg(supervisor.program).arg(++number);
    MarkedCommand marked{command, (NAME + QLatin1Char('=') + value).toUtf8()};
    marked.command.variables.insert(NAME, value);
    return marked;
}

} // namespace ovalin
