#include "support/TestDesk.h"

namespace ovalin {

namespace {

// Openbox holds Alt+Space by default, and ignores a relative rc path silently.
const char* const OPENBOX_RC = R"(<?xml version="1.0"?>
<openbox_config xmlns="http://openbox.org/3.4/rc">
  <focus><focusNew>yes</focusNew></focus>
  <placement><policy>Smart</policy></placement>
  <keyboard><keybind key="A-Tab"><action name="NextWindow"/></keybind></keyboard>
  <mouse>
    <context name="Client"><mousebind button="Left" action="Press"><action name="Focus"/><action name="Raise"/></mousebind></context>
    <context name="Titlebar"><mousebind button="Left" action="Press"><action name="Focus"/><action name="Raise"/></mousebind></context>
  </mouse>
</openbox_config>)";

/// The machine's own agent is never to be found.
QString pathWithoutAgent() {
    QStringList folders = qEnvironmentVariable("PATH").split(u':');
    folders.removeIf([](const QString& folder) {
        return folder != u"/usr/bin"_s && folder != u"/bin"_s && QFile::exists(folder + u"/claude"_s);
    });
    return folders.join(u':');
}

} // namespace

TestDesk::TestDesk(const Options& options)
    : folder(QDir::tempPath() + QLatin1Char('/') + options.folderName + u"XXXXXX"_s) {
    QDir(folder.path()).mkpath(u"run"_s);
    QFile::setPermissions(path(u"run"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    for (const char* name : {"LANG", "ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS"}) {
        if (qEnvironmentVariableIsSet(name))
            environment.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
    }
    environment.insert(u"PATH"_s, pathWithoutAgent());
    environment.insert(u"HOME"_s, home());
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
    environment.insert(u"XDG_RUNTIME_DIR"_s, path(u"run"_s));
    environment.insert(u"XDG_CONFIG_HOME"_s, path(u".config"_s));
    environment.insert(u"GSETTINGS_BACKEND"_s, u"memory"_s);
    environment.insert(u"GIO_USE_VFS"_s, u"local"_s); // gvfsd-fuse would leave its mount behind
    environment.insert(u"GDK_BACKEND"_s, u"x11"_s);
    environment.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_s, u"unix:path=/nonexistent/bus"_s);

    if (options.server == Server::X11)
        startX(options);
    if (options.sessionBus) {
        start(u"/bin/sh"_s, {u"-c"_s, u"exec dbus-daemon --session --nofork --print-address=3 3>bus"_s});
        if (!waitUntil([this] { return readFile(path(u"bus"_s)).endsWith('\n'); }))
            throw std::runtime_error("dbus-daemon did not start: " + log(u"sh"_s).toStdString());
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, QString::fromUtf8(readFile(path(u"bus"_s)).trimmed()));
    }
    if (options.server == Server::Sway) {
        startSway(options.swayConfig);
    } else if (options.windowManager == WindowManager::Openbox) {
        writeFile(path(u"openbox.xml"_s), OPENBOX_RC);
        startWindowManager();
    }
}

void TestDesk::startX(const Options& options) {
    // Xvfb picks a free display by itself and says which.
    start(u"/bin/sh"_s,
          QStringList{u"-c"_s, u"exec Xvfb -displayfd 3 -screen 0 \"$0\" -nolisten tcp -noreset \"$@\" 3>display"_s,
                      options.screen} +
              options.serverArguments);
    if (!waitUntil([this] { return readFile(path(u"display"_s)).endsWith('\n'); }, 15))
        throw std::runtime_error("Xvfb did not start: " + log(u"sh"_s).toStdString());
    displayName = u':' + QString::fromUtf8(readFile(path(u"display"_s)).trimmed());
    environment.insert(u"DISPLAY"_s, displayName);
}

void TestDesk::startSway(const QByteArray& moreConfig) {
    environment.insert(u"WLR_BACKENDS"_s, u"headless"_s);
    environment.insert(u"WLR_RENDERER"_s, u"pixman"_s);
    environment.insert(u"WLR_LIBINPUT_NO_DEVICES"_s, u"1"_s);
    environment.insert(u"XDG_SESSION_TYPE"_s, u"wayland"_s);
    environment.remove(u"GDK_BACKEND"_s);
    writeFile(path(u"sway.conf"_s),
              "output HEADLESS-1 resolution 1280x800 position 0 0\n"
              "default_border pixel 1\n"
              "focus_follows_mouse no\n"
              "xwayland force\n"
              "exec env > \"$XDG_RUNTIME_DIR/session\" && echo whole >> \"$XDG_RUNTIME_DIR/session\"\n" +
                  moreConfig);
    // It does not run as root; in a user namespace it does not seem to.
    QStringList command{u"sway"_s, u"-c"_s, u"sway.conf"_s};
    if (::geteuid() == 0)
        command = QStringList{u"unshare"_s, u"-U"_s, u"--map-user=1000"_s, u"--map-group=1000"_s} + command;
    start(command.takeFirst(), command);
    const QString session = path(u"run/session"_s);
    if (!waitUntil([&] { return readFile(session).endsWith("whole\n"); }, 15))
        throw std::runtime_error("sway did not start: " + (log(u"unshare"_s) + log(u"sway"_s)).toStdString());
    for (const QByteArray& line : readFile(session).split('\n')) {
        const QString name = QString::fromUtf8(line).section(u'=', 0, 0);
        if (name == u"WAYLAND_DISPLAY" || name == u"DISPLAY" || name == u"SWAYSOCK")
            environment.insert(name, QString::fromUtf8(line).section(u'=', 1));
    }
    displayName = environment.value(u"DISPLAY"_s);
}

void TestDesk::startWindowManager() {
    // What an earlier one left behind is no answer.
    output(u"xprop"_s, {u"-root"_s, u"-remove"_s, u"_NET_NUMBER_OF_DESKTOPS"_s});
    windowManager = &start(u"openbox"_s, {u"--config-file"_s, path(u"openbox.xml"_s)});
    // It announces itself before it listens, and a window mapped in between is never managed: it has to obey first.
    waitUntil([this] {
        xdo(u"set_num_desktops 1"_s);
        return xdo(u"get_num_desktops"_s) == u"1"_s;
    });
}

TestDesk::~TestDesk() {
    for (auto process = programs.rbegin(); process != programs.rend(); ++process)
        end(**process);
}

void TestDesk::enterEnvironment() const {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "SWAYSOCK", "HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME",
                             "DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"})
        qputenv(name, environment.value(QString::fromLatin1(name)).toUtf8());
}

QProcess& TestDesk::start(const QString& program, const QStringList& arguments) {
    auto& process = *programs.emplace_back(std::make_unique<QProcess>());
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(home());
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(path(QFileInfo(program).fileName() + u".log"_s), QIODevice::Append);
    process.start(program, arguments);
    if (!process.waitForStarted(10000))
        throw std::runtime_error("cannot start " + program.toStdString());
    return process;
}

void TestDesk::killWindowManager() {
    const QString check =
        output(u"xprop"_s, {u"-root"_s, u"-notype"_s, u"_NET_SUPPORTING_WM_CHECK"_s}).section(u"# "_s, 1);
    windowManager->kill();
    windowManager->waitForFinished();
    waitUntil([&] { return output(u"xprop"_s, {u"-id"_s, check}).isEmpty(); });
}

void TestDesk::killServer() {
    QProcess& server = *programs.front();
    server.kill();
    server.waitForFinished();
}

void TestDesk::end(QProcess& process) {
    if (process.state() == QProcess::NotRunning)
        return;
    const auto group = static_cast<pid_t>(process.processId());
    ::kill(-group, SIGTERM);
    ::kill(-group, SIGCONT); // a test may have stopped it
    if (!process.waitForFinished(5000)) {
        ::kill(-group, SIGKILL);
        process.waitForFinished(5000);
    }
    ::kill(-group, SIGKILL);
}

QString TestDesk::output(const QString& program, const QStringList& arguments) const {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(home());
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForFinished(10000) || process.exitCode() != 0)
        return {};
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString TestDesk::waitForWindow(const QString& pattern, double seconds) const {
    QString id;
    waitUntil(
        [&] {
            for (const char* by : {"--class", "--name"}) {
                id = xdotool({u"search"_s, u"--onlyvisible"_s, QString::fromLatin1(by), pattern}).section(u'\n', 0, 0);
                if (!id.isEmpty())
                    return true;
            }
            return false;
        },
        seconds);
    return id;
}

QString TestDesk::selection(const char* name) const {
    return output(u"xclip"_s, {u"-o"_s, u"-selection"_s, QString::fromLatin1(name)});
}

void TestDesk::screenshot(const QString& file) const { output(u"import"_s, {u"-window"_s, u"root"_s, file}); }

QString TestDesk::log(const QString& program) const { return QString::fromUtf8(readFile(path(program + u".log"_s))); }

} // namespace ovalin
