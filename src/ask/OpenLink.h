#pragma once

#include "base/Dispatch.h"

namespace ovalin {

/// Hands a link that was clicked to the desktop, unless it leads to anything but a page or a mail. `problem` gets what
/// to say when it was not opened, unless `context` is gone by then. Main thread; returns at once.
void openLink(Dispatch& dispatch, QObject* context, const QString& target, std::function<void(const QString&)> problem);

} // namespace ovalin
