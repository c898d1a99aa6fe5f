#pragma once

#include "AtSpiBus.h"
#include "platform/Accessibility.h"

namespace ovalin {

/// A word processor has an object for each paragraph, with a selection of its own. Adds to what is selected in
/// `paragraph` what is selected in those before and after it; `part` is set when there may be more of it than the
/// application shows in its tree. An object of another role is left as it is.
[[nodiscard]] AccessibleSelection acrossParagraphs(const AtSpiQuery& query, const AtSpiRef& paragraph,
                                                   AccessibleSelection found);

} // namespace ovalin
