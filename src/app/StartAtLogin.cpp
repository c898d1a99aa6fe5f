#include "StartAtLogin.h"

#include "base/Config.h"
#include "base/Paths.h"
#include "base/WholeFile.h"
#include "base/children/ChildProcess.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const QString UNIT = u"ovalin.service"_s;

QString autostartFile(const QString& home) { return configFolder(home) + u"/autostart/ovalin.desktop"_s; }

/// What `systemctl enable` makes.
QString unitLink(const QString& home) {
    return configFolder(home) + u"/systemd/user/graphical-session.target.wants/"_s + UNIT;
}

bool exists(const QString& path) { return QFileInfo(path).isSymLink() || QFileInfo::exists(path); }

bool systemctl(const QStringList& arguments) {
    const QString program = QStandardPaths::findExecutable(u"systemctl"_s);
    RunOptions options;
    options.deadline = std::chrono::seconds(5);
    return !program.isEmpty() &&
           runToEnd({program, QStringList{u"--user"_s, u"--quiet"_s} + arguments, {}, {}}, options).end.succeeded();
}

/// Quoted as the Desktop Entry Specification wants a program in Exec: once for the line, once for the file.
QByteArray quotedProgram() {
    QByteArray quoted = "\"";
    for (const char byte : QFile::encodeName(programFolder() + u"/ovalin"_s)) {
        if (QByteArrayView("\"`$\\").contains(byte))
            quoted += byte == '\\' ? "\\\\\\" : "\\\\";
        quoted += byte;
        if (byte == '%')
            quoted += '%';
    }
    return quoted + '"';
}

QByteArray autostartEntry() {
    return "[Desktop Entry]\nType=Application\nName=Ovalin\nComment=Hand what you are looking at to your agent\n"
           "Exec=" +
           quotedProgram() + " --background\nIcon=ovalin\nTerminal=false\nX-GNOME-Autostart-enabled=true\n";
}

} // namespace

tl::expected<QString, QString> setStartAtLogin(bool on, const QString& home) {
    const QString entry = autostartFile(home), link = unitLink(home);
    // Many desktops never reach the session's target, and a unit that hangs on it would never be started there.
    if (on && systemctl({u"is-active"_s, u"graphical-session.target"_s}) && systemctl({u"enable"_s, UNIT})) {
        QFile::remove(entry);
        return u"Ovalin starts at login, as the systemd user unit "_s + UNIT;
    }
    if (exists(link) && !systemctl({u"disable"_s, UNIT}))
        QFile::remove(link);
    if (!on) {
        QFile::remove(entry);
        return exists(entry) || exists(link) ? tl::expected<QString, QString>(
                                                   tl::unexpected(u"cannot remove "_s + (exists(entry) ? entry : link)))
                                             : u"Ovalin does not start at login"_s;
    }
    ReplaceOptions options;
    options.newMode = 0644;
    const auto written =
        ensureFolder(QFileInfo(entry).path()).and_then([&] { return replaceFile(entry, autostartEntry(), options); });
    if (!written)
        return tl::unexpected(written.error());
    return u"Ovalin starts at login, by "_s + entry;
}

QString startAtLoginWay(const QString& home) {
    return exists(unitLink(home))        ? u"the systemd user unit "_s + UNIT
           : exists(autostartFile(home)) ? autostartFile(home)
                                         : QString();
}

} // namespace ovalin
