#pragma once

#include "DesktopEntries.h"
#include "base/Dispatch.h"

#include <QObject>
#include <QSet>
#include <QStringList>

namespace ovalin {

/// What applications are called, by the desktop files of this machine, which are read in the background: at the
/// beginning, and again when an application comes along that is in none of them. Main thread.
class ApplicationNames {
public:
    /// `folders` of desktop files; empty: those of the desktop.
    explicit ApplicationNames(Dispatch& dispatch, QStringList folders = {});

    struct Name {
        QString name;     ///< for people
        QString bundleId; ///< see bundleIdentifier()
    };
    /// By the two parts of WM_CLASS, or the application identifier and nothing, and by the program that runs.
    [[nodiscard]] Name find(const QString& wmClass, const QString& instance, qint32 pid);

private:
    void read();

    Dispatch& dispatch;
    const QStringList folders;
    QObject context;
    DesktopEntries entries;
    QSet<QString> unknown; // classes for which the files have been read again
    bool reading = false;
};

} // namespace ovalin
