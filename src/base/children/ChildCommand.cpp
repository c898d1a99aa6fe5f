#include "ChildCommand.h"

#include <QMutex>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

struct Shell {
    QMutex mutex;
    QString path = u"/bin/zsh"_s;
};

Shell& shell() {
    static Shell theShell;
    return theShell;
}

} // namespace

QString shellPath() {
    QMutexLocker lock(&shell().mutex);
    return shell().path;
}

void setShellPath(const QString& path) {
    QMutexLocker lock(&shell().mutex);
    shell().path = path;
}

ChildCommand shellCommand(const QString& line, const ChildVariables& variables) {
    return {shellPath(), {u"-c"_s, line}, variables, {}};
}

QString ChildEnd::describe() const {
    switch (kind) {
    case Kind::FailedToStart:
        return reason;
    case Kind::Exited:
        return u"exit status %1"_s.arg(number);
    case Kind::Killed:
        return u"ended by signal %1"_s.arg(number);
    }
    return {};
}

} // namespace ovalin
