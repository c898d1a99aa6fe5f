#pragma once

#include <QSettings>
#include <QString>

namespace ovalin {

/// The few flags that outlive a run, in ~/.config/ovalin/ovalin.conf. A file that cannot be written is logged once and
/// the flags then last until the program ends. Main thread.
class UserDefaults {
public:
    UserDefaults();
    [[nodiscard]] bool isSet(const QString& key) const;
    void set(const QString& key);

private:
    QSettings settings;
};

} // namespace ovalin
