#pragma once

#include "AtSpiBus.h"
#include "platform/Accessibility.h"

namespace ovalin {

/// The selection of one object that may hold text. `page` is set for terminals; that an object lies on a page is for
/// the caller to say.
[[nodiscard]] AccessibleSelection selectionOf(const AtSpiQuery& query, const AtSpiRef& object);

/// The text without U+FEFF, which Firefox puts after characters outside the basic plane.
[[nodiscard]] QString withoutByteOrderMarks(QString text);

} // namespace ovalin
