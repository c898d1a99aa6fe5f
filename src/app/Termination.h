#pragma once

#include <QSocketNotifier>

#include <memory>

namespace ovalin {

/// SIGTERM, SIGINT and SIGHUP end the main loop in an orderly way, so that a request under way is still written; those
/// that were ignored when the program started stay so. SIGTSTP does nothing. One object for each process; main thread.
class Termination {
public:
    Termination();
    ~Termination();
    Termination(const Termination&) = delete;
    Termination& operator=(const Termination&) = delete;

private:
    std::unique_ptr<QSocketNotifier> notifier;
};

} // namespace ovalin
