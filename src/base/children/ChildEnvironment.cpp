#include "ChildEnvironment.h"

#include <QFile>
#include <QMutex>

#include <pwd.h>
#include <unistd.h>

#include <optional>

namespace ovalin {

namespace {

const char* const USUAL_PATH = "/usr/local/bin:/usr/bin:/bin";

struct Surroundings {
    QMutex mutex;
    std::optional<QByteArrayList> environment;
    QString helperFolder;
};

Surroundings& surroundings() {
    static Surroundings theSurroundings;
    return theSurroundings;
}

QByteArrayList currentEnvironment() {
    QByteArrayList list;
    for (char** entry = environ; entry && *entry; ++entry)
        list.append(*entry);
    return list;
}

/// "NAME=value", byte for byte as this process received it.
QByteArrayList originalEnvironment() {
    QMutexLocker lock(&surroundings().mutex);
    if (!surroundings().environment)
        surroundings().environment = currentEnvironment();
    return *surroundings().environment;
}

QByteArray nameOf(const QByteArray& entry) { return entry.left(entry.indexOf('=')); }

} // namespace

void completeEnvironment() {
    if (qEnvironmentVariableIsEmpty("HOME")) {
        if (const passwd* user = ::getpwuid(::getuid()))
            qputenv("HOME", user->pw_dir);
    }
    if (qEnvironmentVariableIsEmpty("PATH"))
        qputenv("PATH", USUAL_PATH);
}

void rememberEnvironment() {
    QMutexLocker lock(&surroundings().mutex);
    surroundings().environment = currentEnvironment();
}

void setHelperFolder(const QString& folder) {
    QMutexLocker lock(&surroundings().mutex);
    surroundings().helperFolder = folder;
}

QByteArrayList environmentWith(const ChildVariables& variables) {
    QByteArrayList list = originalEnvironment();
    const auto set = [&list](const QByteArray& name, const QByteArray& value) {
        list.removeIf([&name](const QByteArray& entry) { return nameOf(entry) == name; });
        list.append(name + '=' + value);
    };
    QString helpers;
    {
        QMutexLocker lock(&surroundings().mutex);
        helpers = surroundings().helperFolder;
    }
    if (!helpers.isEmpty()) {
        QByteArray path = USUAL_PATH; // a lone helper folder would hide the system's programs
        for (const QByteArray& entry : std::as_const(list)) {
            if (nameOf(entry) == "PATH")
                path = entry.mid(5);
        }
        set("PATH", path + ':' + QFile::encodeName(helpers));
    }
    for (auto variable = variables.begin(); variable != variables.end(); ++variable)
        set(variable.key().toUtf8(), variable.value().toUtf8().replace('\0', ""));
    return list;
}

} // namespace ovalin
