#include "OpenLink.h"

#include "AnswerLinks.h"

#include "base/DesktopOpen.h"
#include "base/Log.h"

using namespace Qt::StringLiterals;

namespace ovalin {

void openLink(Dispatch& dispatch, QObject* context, const QString& target,
              std::function<void(const QString&)> problem) {
    const QString address = openable(target);
    if (address.isEmpty()) {
        problem(u"only web and mail links are opened"_s);
        return;
    }
    dispatch.inBackground(
        Queue::UserInitiated, context, [address] { return openOnDesktop(address); },
        [problem = std::move(problem)](const tl::expected<void, QString>& opened) {
            if (!opened) {
                logLine(u"Ovalin: a link was not opened — "_s + opened.error());
                problem(u"no program opens links here"_s);
            }
        });
}

} // namespace ovalin
