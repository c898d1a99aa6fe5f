#pragma once

#include <QString>
#include <QStringList>

namespace ovalin {

/// What the user has set in their configuration file, which the program never writes: lines `key=value`, in which `#`
/// begins a comment line. Of a key that stands there twice the last line counts, but `exclude` adds up. A value.
struct Config {
    enum class Appearance { Light, Dark, Contrast, Desktop };

    QString hotkey = QStringLiteral("Alt+Space"); ///< as written
    QStringList hotkeys;                          ///< of all lines, of which the last counts
    QStringList exclude;                          ///< names, identifiers or title patterns (* and ?), besides our own
    int processedDays = 30;                       ///< how long requests that are done stay on the disk; 0: for ever
    Appearance appearance = Appearance::Light;
    bool punctuation = true; ///< of what is dictated
    bool reducedMotion = false;
    QStringList complaints; ///< a short line for each line that says nothing we know, with its number
};

/// $XDG_CONFIG_HOME, else ~/.config.
[[nodiscard]] QString configFolder(const QString& home);
/// In there.
[[nodiscard]] QString configPath(const QString& home);

/// What cannot be used is complained of, and the rest is used. A file that is not there is no complaint. Blocks on the
/// disk.
[[nodiscard]] Config readConfig(const QString& file);

} // namespace ovalin
