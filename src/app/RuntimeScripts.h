#pragma once

#include <QString>

namespace ovalin {

/// Copies the runtime scripts that come with the program (`resourcesDir`/bin) to `binDir`, each with mode 0755. What is
/// there already, even as a dangling link, is the user's and stays; hidden files are passed over. Logs each failed
/// copy, and the number of those that succeeded. Blocks: for workers.
void installBundledScripts(const QString& resourcesDir, const QString& binDir);

} // namespace ovalin
