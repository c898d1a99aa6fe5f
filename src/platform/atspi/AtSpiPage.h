#pragma once

#include "AtSpiBus.h"

#include <functional>

namespace ovalin {

/// A page that a browser shows.
struct AtSpiPage {
    QString url;
    QString title; ///< one line
};

/// The page in the front window of the applications for which `isBrowser(pid)` holds: the window whose title comes
/// first in `windowNames()`, the titles of the desktop's windows from the top down (asked for only when there is a
/// choice), and where titles do not tell, the one that says it is active. Absent: no such application or window, or it
/// exposes no page.
[[nodiscard]] std::optional<AtSpiPage> frontPage(const AtSpiQuery& query, const std::function<bool(qint32)>& isBrowser,
                                                 const std::function<QStringList()>& windowNames);

} // namespace ovalin
