#pragma once

#include <QString>

namespace ovalin {

/// Asks the script (`--check ADDRESS`; status 0 says yes) whether the page belongs to a site that the user can edit.
/// False too when there is no executable script, it cannot be run, or it has not answered after 10 s. `url` is one for
/// which isWebPage() holds. Blocks: worker threads.
[[nodiscard]] bool siteOwned(const QString& url, const QString& scriptPath);

} // namespace ovalin
