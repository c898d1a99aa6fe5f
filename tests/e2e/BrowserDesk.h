#pragma once

#include "e2e/OvalinDesk.h"

namespace ovalin {

/// A desktop with browsers that expose their pages, and a web server for a folder of its own.
struct BrowserDesk : OvalinDesk {
    BrowserDesk() {
        // Browsers look for this once, at their start.
        output(u"gdbus"_s, {u"call"_s, u"--session"_s, u"--dest"_s, u"org.a11y.Bus"_s, u"--object-path"_s,
                            u"/org/a11y/bus"_s, u"--method"_s, u"org.freedesktop.DBus.Properties.Set"_s,
                            u"org.a11y.Status"_s, u"IsEnabled"_s, u"<true>"_s});
        QDir().mkpath(folder());
        start(u"python3"_s,
              {u"-u"_s, u"-m"_s, u"http.server"_s, u"0"_s, u"--bind"_s, u"127.0.0.1"_s, u"--directory"_s, folder()});
        EXPECT_TRUE(waitUntil([this] {
            port = TestDesk::log(u"python3"_s).section(u" port "_s, 1).section(u' ', 0, 0);
            return !port.isEmpty();
        })) << TestDesk::log(u"python3"_s).toStdString();
    }
    [[nodiscard]] QString folder() const { return path(u"my site"_s); }
    QProcess& startChromium(const QString& address) {
        return start(u"chromium"_s, u"--no-sandbox --disable-gpu --no-first-run --disable-background-networking "
                                    "--disable-component-update --disable-sync --disable-features=HttpsUpgrades "
                                    "--password-store=basic --force-renderer-accessibility"_s.split(u' ') +
                                        QStringList{u"--host-resolver-rules=MAP example.test 127.0.0.1"_s,
                                                    u"--user-data-dir="_s + path(u"chromium"_s), address});
    }
    QString port; ///< of the server, on 127.0.0.1
};

} // namespace ovalin
