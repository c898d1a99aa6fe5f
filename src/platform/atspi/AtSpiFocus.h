#pragma once

#include "AtSpiBus.h"

namespace ovalin {

/// The windows of the application in its tree that may be the one with this title: its only one, else those of the same
/// name. (What they say about being active is of no use: some go on saying so.)
[[nodiscard]] QList<AtSpiRef> windowsTitled(const AtSpiQuery& query, const AtSpiRef& application, const QString& title);

/// Finds the focused object in these windows, preferring one that holds text; null: nothing is focused, or it was not
/// found by the deadline. Toolkits differ in what they answer, so in this order: Collection.GetMatches (GTK 3, Firefox,
/// Chromium), Cache.GetItems (GTK 4), the tree level by level (Qt).
[[nodiscard]] AtSpiRef focusedObject(const AtSpiQuery& query, const AtSpiRef& application,
                                     const QList<AtSpiRef>& windows);

/// What an object lies in, at most 60 levels up.
struct AtSpiPlace {
    AtSpiRef document; ///< the innermost web document, itself perhaps; null: none
    AtSpiRef window;   ///< the child of the application; null: it could not be told
};
[[nodiscard]] AtSpiPlace placeOf(const AtSpiQuery& query, const AtSpiRef& object);

} // namespace ovalin
