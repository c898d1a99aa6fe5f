#include "Termination.h"

#include <QCoreApplication>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace ovalin {

namespace {

int signalSockets[2] = {-1, -1};
constexpr int ENDING[] = {SIGTERM, SIGINT, SIGHUP};

// Only what is safe in a signal handler: the event loop reads the byte.
void onSignal(int) {
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(signalSockets[0], &byte, 1);
}

} // namespace

Termination::Termination() {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, signalSockets) != 0)
        return;
    notifier = std::make_unique<QSocketNotifier>(signalSockets[1], QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, [] { QCoreApplication::quit(); });
    const auto handle = [](int number, void (*handler)(int)) {
        struct sigaction action {
        }, before{};
        action.sa_handler = handler;
        action.sa_flags = SA_RESTART;
        // What was ignored before us stays so: nohup, or a shell without job control.
        if (::sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            ::sigaction(number, &action, nullptr);
    };
    for (const int number : ENDING)
        handle(number, onSignal);
    // Ctrl+Z in the terminal: a program that is stopped would stop the keyboard of the whole desktop at the next press
    // of the hotkey. A handler, since children would inherit an ignored signal.
    handle(SIGTSTP, [](int) {});
    std::signal(SIGPIPE, SIG_IGN);
}

Termination::~Termination() {
    for (const int number : ENDING) {
        struct sigaction now {};
        if (::sigaction(number, nullptr, &now) == 0 && now.sa_handler == onSignal)
            std::signal(number, SIG_DFL);
    }
    notifier.reset();
    for (int& socket : signalSockets) {
        if (socket >= 0)
            ::close(socket);
        socket = -1;
    }
}

} // namespace ovalin
