#include "SessionChoice.h"

#include "platform/wayland/thread/WaylandThread.h"

#include <QFileInfo>
#include <QLibraryInfo>

namespace ovalin {

using namespace Qt::StringLiterals;

WaylandSession lookForWayland() {
    const QString display = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (display.isEmpty())
        return {false, u"WAYLAND_DISPLAY is not set"_s};
    const QByteArrayList offered = waylandInterfaces();
    if (offered.isEmpty())
        return {false, u"no compositor answers at WAYLAND_DISPLAY \"%1\""_s.arg(display)};
    for (const char* needed : {"zwlr_layer_shell_v1", "zwlr_data_control_manager_v1"}) {
        if (!offered.contains(needed))
            return {true, u"the compositor has no %1"_s.arg(QLatin1String(needed))};
    }
    const QString plugin = QLibraryInfo::path(QLibraryInfo::PluginsPath) + u"/platforms/libqwayland-generic.so"_s;
    if (!QFileInfo::exists(plugin)) // Qt would abort
        return {true, u"the package qt6-wayland is missing"_s};
    return {true, {}};
}

} // namespace ovalin
