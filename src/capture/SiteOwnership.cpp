#include "SiteOwnership.h"

#include "base/children/ChildProcess.h"
#include "base/Text.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace ovalin {

using namespace std::chrono_literals;

bool siteOwned(const QString& url, const QString& scriptPath) {
    const QFileInfo script(scriptPath);
    if (!script.isFile() || !script.isExecutable())
        return false;
    QString address = url;
    address.remove(QLatin1Char('\''));
    const QString line = shellQuoted(scriptPath) + u" --check "_s + shellQuoted(address);
    const ChildRun run = runToEnd(shellCommand(line), {.input = {}, .deadline = 10s, .grace = 500ms});
    return !run.timedOut && run.end.succeeded();
}

} // namespace ovalin
