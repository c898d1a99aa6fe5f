#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

namespace ovalin {

/// What a desktop file says about an application (freedesktop.org Desktop Entry Specification).
struct DesktopEntry {
    QString id;   ///< file name without ".desktop", folders joined by '-'
    QString name; ///< Name=, in the user's language where the file has it
};

/// The desktop files of this machine, found by what a window shows of its application. A value; reading touches some
/// hundred small files, so it belongs into the background.
class DesktopEntries {
public:
    DesktopEntries() = default;

    /// Reads all *.desktop files; an earlier folder hides files of the same id in later ones. `locale` as in LANG.
    [[nodiscard]] static DesktopEntries read(const QStringList& folders, const QString& locale);

    /// The locale of messages: LC_ALL, else LC_MESSAGES, else LANG.
    [[nodiscard]] static QString messageLocale();

    /// By StartupWMClass or file id against the class, then the instance, then by the program that Exec names; an empty
    /// entry when there is none.
    [[nodiscard]] DesktopEntry find(const QString& wmClass, const QString& instance, const QString& executable) const;

private:
    struct File;
    using Table = QHash<QString, DesktopEntry>;

    void add(const File& file);

    Table byWmClass;
    Table byId;
    Table byProgram;
    Table weakById; // not shown in menus: helpers and the actions of other applications
    Table weakByProgram;
};

} // namespace ovalin
