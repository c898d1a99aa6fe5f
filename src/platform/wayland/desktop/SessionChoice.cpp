#include "SessionChoice.h"

#include "platform/wayland/thread/WaylandThread.h"

#include <QFileInfo>
#include <QLibraryInfo>

namespace ovalin {

using namespace Qt::StringLiterals;

WaylandSession lookForWayland() {
    const QString display = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (display.isEmpty())
        return {false, false, u"WAYLAND_DISPLAY is not set"_s};
    const QByteArrayList offered = waylandInterfaces();
    if (offered.isEmpty())
        return {false, false, u"no compositor answers at WAYLAND_DISPLAY \"%1\""_s.arg(display)};
    QString missing;
    for (const char* needed : {"zwlr_data_control_manager_v1", "zwlr_layer_shell_v1"}) {
        if (!offered.contains(needed))
            missing = QLatin1String(needed);
    }
    if (!missing.isEmpty() && !offered.contains("gtk_shell1")) // GNOME Shell's own
        return {true, false, u"the compositor has no %1"_s.arg(missing)};
    const QString plugin = QLibraryInfo::path(QLibraryInfo::PluginsPath) + u"/platforms/libqwayland-generic.so"_s;
    if (!QFileInfo::exists(plugin)) // Qt would abort
        return {true, false, u"the package qt6-wayland is missing"_s};
    return {true, missing.isEmpty(), {}};
}

} // namespace ovalin
