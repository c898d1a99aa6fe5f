#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace ovalin {

struct CommandCall;

/// One thing that the program needs or does, for people.
struct Fact {
    enum class State {
        Well,
        Hint, ///< off, but one may do without it
        Off,
        Unknown
    };
    State state;
    QString subject;
    QString words;
    QString help{}; ///< what to do about it; empty where it is well
};

/// `running`: what the running copy says about itself; absent where none runs. Looks at files and starts short-lived
/// programs: blocks for some seconds at most.
[[nodiscard]] QList<Fact> facts(const CommandCall& call, const std::optional<QJsonObject>& running);

/// `ovalin status`: 1 when it does not run. `ovalin doctor`: with what helps; 1 when something is off that one cannot
/// do without.
[[nodiscard]] int printStatus(const CommandCall& call);
[[nodiscard]] int printDoctor(const CommandCall& call);

} // namespace ovalin
