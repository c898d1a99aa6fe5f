#pragma once

#include <QString>

#include <tl/expected.hpp>

namespace ovalin {

/// Has the program started at each login, or not: by its systemd user unit where the user manager runs the graphical
/// session, else by a file in the autostart folder; never by both. What was done, or why it could not be, in words for
/// people. Blocks: for the command line.
[[nodiscard]] tl::expected<QString, QString> setStartAtLogin(bool on, const QString& home);

/// How it is started at login, for people; empty: it is not.
[[nodiscard]] QString startAtLoginWay(const QString& home);

} // namespace ovalin
