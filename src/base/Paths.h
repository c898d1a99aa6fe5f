#pragma once

#include <QString>

namespace ovalin {

/// Every fixed place of the program, absolute. A value: tests build one over a folder of their own.
struct Paths {
    QString home;
    QString systemDir;    ///< ~/CLAUDE/system
    QString capturesFile; ///< the captures ledger, shared with the router and other tools
    QString queueDir;     ///< one JSON file a Do request
    QString binDir;       ///< ~/.claude/bin, the runtime scripts
    QString routerScript;
    QString routerLog;
    QString askScript;
    QString searchScript;
    QString heartbeatFile; ///< /tmp/ovalin.heartbeat
    QString runtimeDir;    ///< lock and socket of the single instance; this user's own folder, or not there yet
    QString stateDir;      ///< ~/.cache/ovalin: where copies with different runtime folders find each other
    QString resourcesDir;  ///< Fonts/ and bin/; empty when none was found

    /// The paths for `home` ($HOME in the program). Touches no file but to look for a
    /// runtime folder of this user's and for the resources folder: beside the
    /// binary in the build tree (the source tree's resources/), else ../share/ovalin under the install prefix.
    [[nodiscard]] static Paths under(const QString& home);
};

/// The folder that `ovalin` lies in: of the agent in libexec/ (build tree) or libexec/ovalin (install prefix), else
/// that of the program which asks. Needs the application object.
[[nodiscard]] QString programFolder();

} // namespace ovalin
