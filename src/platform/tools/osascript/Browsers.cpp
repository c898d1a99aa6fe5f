#include "Browsers.h"

#include "platform/Browsers.h"
#include "platform/x11/WindowsConnection.h"
#include "platform/x11/windows/WindowNames.h"
#include "platform/x11/windows/WindowReader.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>

namespace ovalin {

namespace {

constexpr char WINDOW_LIST[] = "_NET_CLIENT_LIST";
constexpr uint32_t MOST_WINDOWS = 1024;

/// The file name of the program that a process runs. The name asked of the application itself would have to wait for
/// it.
QString executableOf(qint32 pid) {
    const QString folder = QStringLiteral("/proc/%1/").arg(pid);
    QString name = QFileInfo(QFile::symLinkTarget(folder + QStringLiteral("exe"))).fileName();
    if (name.isEmpty()) { // another user's, or not dumpable
        QFile comm(folder + QStringLiteral("comm"));
        if (comm.open(QIODevice::ReadOnly))
            name = QString::fromUtf8(comm.readAll().trimmed());
    }
    return name.remove(QLatin1String(" (deleted)")); // replaced by an update while it runs
}

/// The browsers of this desktop's windows, by process: an executable may be called by any name.
QHash<qint32, const Browser*> ownersOfWindows() {
    QHash<qint32, const Browser*> owners;
    const WindowsConnection x;
    if (!x)
        return owners;
    const auto atom = xcb_intern_atom(x.get(), 1, sizeof WINDOW_LIST - 1, WINDOW_LIST);
    const XReply<xcb_intern_atom_reply_t> named(xcb_intern_atom_reply(x.get(), atom, nullptr));
    const auto ask = xcb_get_property(x.get(), 0, x.root(), named ? named->atom : xcb_atom_t{XCB_ATOM_NONE},
                                      XCB_ATOM_WINDOW, 0, MOST_WINDOWS);
    const XReply<xcb_get_property_reply_t> list(xcb_get_property_reply(x.get(), ask, nullptr));
    if (!list)
        return owners;
    const auto* window = static_cast<const xcb_window_t*>(xcb_get_property_value(list.get()));
    const WindowReader reader(x.get());
    for (int left = xcb_get_property_value_length(list.get()) / 4; left > 0; --left, ++window) {
        const WindowIdentity identity = reader.identify({*window}).front();
        const Browser* browser = browserOfWindow(identity.wmClass);
        if (!browser)
            browser = browserOfWindow(identity.instance);
        if (browser)
            owners.insert(identity.pid, browser);
    }
    return owners;
}

} // namespace

tl::expected<AtSpiPage, QString> frontPageOf(const QString& application, QDeadlineTimer deadline) {
    const Browser* browser = browserNamed(application);
    if (!browser)
        return tl::unexpected(QStringLiteral("no browser is known by the name ") + application);
    AtSpiBus bus;
    const auto query = bus.open(deadline);
    if (!query)
        return tl::unexpected(QStringLiteral("the accessibility bus does not answer"));
    const auto isBrowser = [browser, owners = ownersOfWindows()](qint32 pid) {
        const Browser* owner = owners.value(pid);
        return owner ? owner == browser : mayRunAs(*browser, executableOf(pid));
    };
    const auto page = frontPage(*query, isBrowser, windowNamesTopDown);
    if (!page)
        return tl::unexpected(application + QStringLiteral(" does not run, has no window, or exposes no page"));
    return *page;
}

} // namespace ovalin
