#include "ChildCommand.h"

#include <QMutex>

namespace ovalin {

namespace {

struct Shell {
    QMutex mutex;
    QString path = QStringLiteral("/bin/zsh");
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
    return {shellPath(), {QStringLiteral("-c"), line}, variables, {}};
}

QString ChildEnd::describe() const {
    switch (kind) {
    case Kind::FailedToStart:
        return reason;
    case Kind::Exited:
        return QStringLiteral("exit status %1").arg(number);
    case Kind::Killed:
        return QStringLiteral("ended by signal %1").arg(number);
    }
    return {};
}

} // namespace ovalin
