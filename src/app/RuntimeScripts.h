#pragma once

#include <QString>
#include <QStringList>

namespace ovalin {

/// Where the runtime scripts come from and where they are put.
struct ScriptFolders {
    QString resourcesDir; ///< its bin/ is installed; earlier-scripts there tells the sums of earlier versions
    QString binDir;
    QString stateDir; ///< remembers with which sums they were installed
};

/// How what lies in `binDir` compares with what comes with the program, by name.
struct ScriptStates {
    QStringList missing;
    QStringList same;
    QStringList older;   ///< of an earlier version, and never touched since
    QStringList changed; ///< by the user, as are symbolic links, also dangling ones
};
[[nodiscard]] ScriptStates scriptStates(const ScriptFolders& folders);

/// Copies the scripts that are missing, each with mode 0755, and replaces the older ones. What the user has changed
/// stays; hidden files are passed over. Logs each copy that failed, how many succeeded, and what stayed. Blocks: for
/// workers.
void installBundledScripts(const ScriptFolders& folders);

} // namespace ovalin
