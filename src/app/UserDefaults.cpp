#include "UserDefaults.h"

#include "base/Log.h"

namespace ovalin {

UserDefaults::UserDefaults()
    : settings(QStringLiteral("ovalin"), QStringLiteral("ovalin")) {}

bool UserDefaults::isSet(const QString& key) const { return settings.value(key, false).toBool(); }

void UserDefaults::set(const QString& key) {
    settings.setValue(key, true);
    settings.sync();
    if (settings.status() != QSettings::NoError)
        logOnce(QStringLiteral("defaults"), QStringLiteral("Ovalin: cannot write %1").arg(settings.fileName()));
}

} // namespace ovalin
