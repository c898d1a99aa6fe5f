#include "UserDefaults.h"

#include "base/Log.h"

using namespace Qt::StringLiterals;

namespace ovalin {

UserDefaults::UserDefaults()
    : settings(u"ovalin"_s, u"ovalin"_s) {}

bool UserDefaults::isSet(const QString& key) const { return settings.value(key, false).toBool(); }

void UserDefaults::set(const QString& key) {
    settings.setValue(key, true);
    settings.sync();
    if (settings.status() != QSettings::NoError)
        logOnce(u"defaults"_s, u"Ovalin: cannot write %1"_s.arg(settings.fileName()));
}

} // namespace ovalin
