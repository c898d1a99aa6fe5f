#pragma once

#include "AtSpiBus.h"
#include "platform/Accessibility.h"

namespace ovalin {

/// The selection of one object that may hold text. `page` is left to the caller.
[[nodiscard]] AccessibleSelection selectionOf(const AtSpiQuery& query, const AtSpiRef& object);

/// The text without U+FEFF, which Firefox puts after characters outside the basic plane.
[[nodiscard]] QString withoutByteOrderMarks(QString text);

} // namespace ovalin
