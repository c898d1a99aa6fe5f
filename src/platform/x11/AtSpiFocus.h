#pragma once

#include "AtSpiBus.h"

namespace ovalin {

/// Where the keyboard focus is inside an application.
struct AtSpiFocus {
    AtSpiRef object;           ///< null: nothing is focused, or it was not found by the deadline
    bool windowActive = false; ///< one of the application's windows says that it is the active one
};

/// Finds the focused object, preferring one that holds text. Toolkits differ in what they answer, so in this order:
/// Collection.GetMatches (GTK 3, Firefox, Chromium), Cache.GetItems (GTK 4), the tree level by level (Qt).
[[nodiscard]] AtSpiFocus focusedObject(const AtSpiQuery& query, const AtSpiRef& application);

/// The web document that encloses the object, at most 40 levels up; null when there is none.
[[nodiscard]] AtSpiRef enclosingDocument(const AtSpiQuery& query, const AtSpiRef& object);

} // namespace ovalin
