#include "DesktopOpen.h"

#include "children/ChildProcess.h"

using namespace Qt::StringLiterals;

namespace ovalin {

tl::expected<void, QString> openOnDesktop(const QString& target) {
    return launchDetached({u"/usr/bin/xdg-open"_s, {target}, {}, {}});
}

} // namespace ovalin
