#include "Browsers.h"

#include "Confinement.h"

#include "platform/Browsers.h"
#include "platform/x11/ScreenConnection.h"
#include "platform/x11/windows/WindowReader.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

/// The file name of the program that a process runs. The name asked of the application itself would have to wait for
/// it.
QString executableOf(qint32 pid) {
    const QString folder = u"/proc/%1/"_s.arg(pid);
    QString name = QFileInfo(QFile::symLinkTarget(folder + u"exe"_s)).fileName();
    if (name.isEmpty()) { // another user's, or not dumpable
        QFile comm(folder + u"comm"_s);
        if (comm.open(QIODevice::ReadOnly))
            name = QString::fromUtf8(comm.readAll().trimmed());
    }
    return name.remove(QLatin1String(" (deleted)")); // replaced by an update while it runs
}

/// The browsers of this desktop's windows, by process: an executable may be called by any name.
QHash<qint32, const Browser*> browsersOf(const WindowReader& reader) {
    QHash<qint32, const Browser*> owners;
    for (const WindowIdentity& identity : reader.identify(reader.listedWindows())) {
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
        return tl::unexpected(u"no browser is known by the name "_s + application);
    AtSpiBus bus;
    const auto query = bus.open(deadline);
    if (!query)
        return tl::unexpected(u"the accessibility bus does not answer"_s);
    const ScreenConnection x;
    confine({}); // what applications answer is read from here on
    const auto reader = x ? std::optional<WindowReader>(x.get()) : std::nullopt;
    const auto owners = reader ? browsersOf(*reader) : QHash<qint32, const Browser*>();
    const auto isBrowser = [&](qint32 pid) {
        const Browser* owner = owners.value(pid);
        return owner ? owner == browser : mayRunAs(*browser, executableOf(pid));
    };
    const auto page = frontPage(*query, isBrowser, [&] { return reader ? reader->titlesTopDown() : QStringList(); });
    if (!page)
        return tl::unexpected(application + u" does not run, has no window, or exposes no page"_s);
    return *page;
}

} // namespace ovalin
