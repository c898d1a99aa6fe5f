#include "ApplicationNames.h"

#include "BundleIds.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace ovalin {

using namespace Qt::StringLiterals;

ApplicationNames::ApplicationNames(Dispatch& theDispatch, QStringList theFolders)
    : dispatch(theDispatch)
    , folders(theFolders.isEmpty() ? QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation)
                                   : std::move(theFolders)) {
    read();
}

ApplicationNames::Name ApplicationNames::find(const QString& wmClass, const QString& instance, qint32 pid) {
    const QString program = QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid))).fileName();
    const DesktopEntry entry = entries.find(wmClass, instance, program);
    if (entry.id.isEmpty() && !reading && !unknown.contains(wmClass)) {
        unknown.insert(wmClass);
        read(); // installed since; its name is known at the next opening
    }
    const QString fallback = wmClass.isEmpty() ? instance : wmClass;
    return {entry.name.isEmpty() ? fallback : entry.name, bundleIdentifier(instance, wmClass, entry.id)};
}

void ApplicationNames::read() {
    reading = true;
    dispatch.inBackground(
        Queue::Utility, &context,
        [from = folders, locale = DesktopEntries::messageLocale()] { return DesktopEntries::read(from, locale); },
        [this](DesktopEntries fresh) {
            entries = std::move(fresh);
            reading = false;
        });
}

} // namespace ovalin
