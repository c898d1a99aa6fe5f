#pragma once

#include "support/Testing.h"

namespace ovalin {

/// A whole desktop for one test: an X server (Xvfb) or a Wayland compositor (sway, with Xwayland) of its own, HOME,
/// runtime folder, session bus, and the programs the test starts in it. Everything is ended, by pid and process group,
/// when it goes.
class TestDesk {
public:
    enum class WindowManager { None, Openbox };
    enum class Server { X11, Sway };
    struct Options {
        WindowManager windowManager = WindowManager::Openbox;
        bool sessionBus = true;
        QString screen = u"1280x800x24"_s;
        QStringList serverArguments;
        QString folderName = u"desk"_s; ///< of HOME; six letters follow
        Server server = Server::X11;
        QByteArray swayConfig{}; ///< more lines of it
    };

    explicit TestDesk(const Options& options);
    TestDesk()
        : TestDesk(Options{}) {}
    ~TestDesk();
    TestDesk(const TestDesk&) = delete;
    TestDesk& operator=(const TestDesk&) = delete;

    [[nodiscard]] const QString& display() const { return displayName; }
    [[nodiscard]] QString home() const { return folder.path(); }
    [[nodiscard]] QString path(const QString& relative) const { return folder.filePath(relative); }

    /// What a program of this desktop sees; change it before starting one.
    QProcessEnvironment environment;

    /// Puts DISPLAY, HOME, XDG_RUNTIME_DIR and the bus address into this process, for tests that run the X11 side in
    /// it.
    void enterEnvironment() const;

    /// Starts a program of the desktop in a process group of its own; its output goes to the log file NAME.log in
    /// home().
    QProcess& start(const QString& program, const QStringList& arguments = {});
    void end(QProcess& process);

    /// One that obeys when this returns.
    void startWindowManager();
    /// As a crash would: the root keeps its properties.
    void killWindowManager();

    /// Kills the X server, as a crash would.
    void killServer();

    /// Runs a program to its end (10 s at most) and returns its standard output, trimmed; empty on failure.
    QString output(const QString& program, const QStringList& arguments = {}) const;

    /// xdotool with these arguments.
    QString xdotool(const QStringList& arguments) const { return output(u"xdotool"_s, arguments); }
    /// The same from a line of words.
    QString xdo(const QString& words) const { return xdotool(words.split(QLatin1Char(' '))); }

    /// The id of the first visible window whose WM_CLASS or title matches, within `seconds`; empty when none came.
    QString waitForWindow(const QString& pattern, double seconds = 15) const;

    /// The text that somebody else owns there, as another program reads it.
    [[nodiscard]] QString selection(const char* name = "clipboard") const;

    /// A picture of the whole screen as PNG.
    void screenshot(const QString& file) const;

    [[nodiscard]] QString log(const QString& program) const;

private:
    void startX(const Options& options);
    void startSway(const QByteArray& moreConfig);

    QTemporaryDir folder;
    QString displayName;
    std::vector<std::unique_ptr<QProcess>> programs;
    QProcess* windowManager = nullptr;
};

/// That of a program that tests the X11 side in its own process.
TestDesk& desk();

} // namespace ovalin
