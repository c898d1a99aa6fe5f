#include "Browsers.h"

#include "platform/x11/WindowNames.h"

#include <QFile>
#include <QFileInfo>
#include <QMap>

namespace ovalin {

namespace {

/// The programs that an application name stands for.
QStringList executablesOf(const QString& application) {
    static const QMap<QString, QStringList> table{
        {QStringLiteral("Brave Browser"),
         {QStringLiteral("brave"), QStringLiteral("brave-browser"), QStringLiteral("brave-browser-stable")}},
        {QStringLiteral("Google Chrome"),
         {QStringLiteral("chrome"), QStringLiteral("google-chrome"), QStringLiteral("google-chrome-stable")}},
        {QStringLiteral("Chromium"), {QStringLiteral("chromium"), QStringLiteral("chromium-browser")}},
        {QStringLiteral("Firefox"),
         {QStringLiteral("firefox"), QStringLiteral("firefox-esr"), QStringLiteral("firefox-bin")}},
        {QStringLiteral("Safari"), {QStringLiteral("safari")}},
    };
    return table.value(application);
}

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

} // namespace

tl::expected<AtSpiPage, QString> frontPageOf(const QString& application, QDeadlineTimer deadline) {
    const QStringList executables = executablesOf(application);
    if (executables.isEmpty())
        return tl::unexpected(QStringLiteral("no browser is known by the name ") + application);
    AtSpiBus bus;
    const auto query = bus.open(deadline);
    if (!query)
        return tl::unexpected(QStringLiteral("the accessibility bus does not answer"));
    const auto isBrowser = [&](qint32 pid) { return executables.contains(executableOf(pid)); };
    const auto page = frontPage(*query, isBrowser, windowNamesTopDown);
    if (!page)
        return tl::unexpected(application + QStringLiteral(" does not run, has no window, or exposes no page"));
    return *page;
}

} // namespace ovalin
