#include "OpenLink.h"

#include "AnswerLinks.h"

#include "base/children/ChildProcess.h"
#include "base/Log.h"

namespace ovalin {

void openLink(Dispatch& dispatch, QObject* context, const QString& target,
              std::function<void(const QString&)> problem) {
    const QString address = openable(target);
    if (address.isEmpty()) {
        problem(QStringLiteral("only web and mail links are opened"));
        return;
    }
    dispatch.inBackground(
        Queue::UserInitiated, context,
        [address] {
            return launchDetached({QStringLiteral("/usr/bin/xdg-open"), {address}, {}, {}});
        },
        [problem = std::move(problem)](const tl::expected<void, QString>& opened) {
            if (!opened) {
                logLine(QStringLiteral("Ovalin: a link was not opened — ") + opened.error());
                problem(QStringLiteral("no program opens links here"));
            }
        });
}

} // namespace ovalin
