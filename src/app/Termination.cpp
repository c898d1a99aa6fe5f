#include "Termination.h"

#include <QCoreApplication>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace ovalin {

namespace {

int signalSockets[2] = {-1, -1};

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
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(number, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

Termination::~Termination() {
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        std::signal(number, SIG_DFL);
    notifier.reset();
    for (int& socket : signalSockets) {
        if (socket >= 0)
            ::close(socket);
        socket = -1;
    }
}

} // namespace ovalin
