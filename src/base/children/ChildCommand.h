#pragma once

#include "ChildEnvironment.h"

#include <QStringList>

namespace ovalin {

// Children. ChildCommand says what is run and ChildEnd how it ended; ChildEnvironment is what a child gets to see.
//
//   runToEnd()       one that is fed, read and waited for: a script, a helper program, a job of the agent ChildProcess
//   LiveChild        one that is talked to while it lives, on a thread of its own: the chat
//   launchDetached() one that outlives us and that nobody waits for: the router ChildProcess
//
// The first two are a ChildLoop each: the one place where a child is polled, fed, read, ended and reaped. Spawn starts
// all three: with the environment that we received and the command's variables, in a process group or session of its
// own, with none of our descriptors but the standard three, and never ending us by SIGPIPE. What a child starts is
// found by ProcessTree, as descendants or by a mark in the environment. A child ends by SIGTERM with the thread that
// started it, so with the program however that ends; who passes over SIGTERM and bears the mark of the Supervisor, a
// process that waits for our end, is killed then.

/// The shell of every command line, /bin/zsh; tests put another, or none, in its place. Any thread.
[[nodiscard]] QString shellPath();
void setShellPath(const QString& path);

struct ChildCommand {
    QString executable; ///< absolute
    QStringList arguments;
    ChildVariables variables;
    QString workingDirectory; ///< empty: ours
};

/// `/bin/zsh -c line`.
[[nodiscard]] ChildCommand shellCommand(const QString& line, const ChildVariables& variables = {});

/// How a child ended.
struct ChildEnd {
    enum class Kind { FailedToStart, Exited, Killed };

    Kind kind = Kind::FailedToStart;
    int number = 0; ///< exit status, or the signal
    QString reason; ///< why it did not start

    [[nodiscard]] bool succeeded() const { return kind == Kind::Exited && number == 0; }
    [[nodiscard]] QString describe() const;
};

} // namespace ovalin
