// osascript -e SCRIPT: the few AppleScript lines that the program and its scripts use, on this desktop.
//   a browser's front page    address and title, a line each, on standard output
//   display notification      shown by org.freedesktop.Notifications
// Exit status 0, or 1 with the reason on standard error; it never runs longer than 1.5 s.
#include "Browsers.h"
#include "Confinement.h"
#include "Notify.h"
#include "Script.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

#include <sys/time.h>
#include <unistd.h>

namespace {

using namespace ovalin;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

constexpr auto ANSWER_LIMIT = 1200ms; // of the calls to others; the watchdog is for what they do not cover
constexpr itimerval WATCHDOG{{0, 0}, {1, 500'000}};

void onWatchdog(int) {
    constexpr char text[] = "osascript: no answer in time\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text, sizeof text - 1);
    ::_exit(1);
}

void startWatchdog() {
    std::signal(SIGALRM, onWatchdog);
    ::setitimer(ITIMER_REAL, &WATCHDOG, nullptr);
}

int fail(const QString& reason) {
    std::fprintf(stderr, "osascript: %s\n", qUtf8Printable(reason));
    return 1;
}

int print(const AtSpiPage& page) {
    const QByteArray lines = (page.url + QLatin1Char('\n') + page.title + QLatin1Char('\n')).toUtf8();
    const bool written = std::fwrite(lines.constData(), 1, static_cast<size_t>(lines.size()), stdout) ==
                             static_cast<size_t>(lines.size()) &&
                         std::fflush(stdout) == 0;
    return written ? 0 : fail(u"cannot write the answer"_s);
}

} // namespace

int main(int argc, char** argv) {
    startWatchdog();
    limit({size_t{2} << 30, 5, size_t{1} << 20});
    confine({.connect = true, .write = true});
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3 || arguments[1] != QLatin1String("-e"))
        return fail(u"usage: osascript -e SCRIPT"_s);
    const auto script = parseScript(arguments[2]);
    if (!script)
        return fail(script.error());
    if (const auto* notification = std::get_if<NotificationScript>(&*script)) {
        const auto shown = showNotification(*notification);
        return shown ? 0 : fail(shown.error());
    }
    const auto page = frontPageOf(std::get<PageScript>(*script).application, QDeadlineTimer(ANSWER_LIMIT));
    return page ? print(*page) : fail(page.error());
}
