#pragma once

#include "platform/Accessibility.h"

#include <QString>

#include <optional>

namespace ovalin {

/// What the user works on: the application in front, and the page that it shows.
struct Subject {
    QString capApp;    ///< for people
    QString capBundle; ///< identifier
    qint32 capPID = 0;
    WindowId capWindow{}; ///< since a process may have several
    std::optional<QString> capURL;
    std::optional<QString> capTitle;

    [[nodiscard]] AppWindow window() const { return {capPID, capWindow}; }
};

} // namespace ovalin
