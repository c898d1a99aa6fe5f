#include "RouterWatch.h"

#include "RunningRouters.h"

#include "base/children/ProcessTree.h"

#include <QSocketNotifier>

#include <cerrno>

namespace ovalin {

namespace {

constexpr std::chrono::seconds LOOK_AGAIN(10);
constexpr std::chrono::milliseconds SECOND_LOOK(300);

} // namespace

RouterWatch::RouterWatch(Dispatch& theDispatch, QObject* parent)
    : QObject(parent)
    , dispatch(theDispatch) {}

void RouterWatch::follow(const QString& id, const std::function<void()>& ended) { look(id, ended, false); }

void RouterWatch::look(const QString& id, const std::function<void()>& ended, bool missedBefore) {
    dispatch.inBackground(
        Queue::UserInitiated, this,
        [id] {
            const auto routers = runningRouters().values(id);
            return routers.isEmpty() ? 0 : *std::max_element(routers.begin(), routers.end());
        },
        [this, id, ended, missedBefore](pid_t router) {
            if (router > 0) // the shell that launches the agent ends before it
                waitFor(router, [this, id, ended] { look(id, ended, false); });
            else if (!missedBefore) // one that is being launched can be missed
                dispatch.after(SECOND_LOOK, this, [this, id, ended] { look(id, ended, true); });
            else
                ended();
        });
}

void RouterWatch::waitFor(pid_t router, const std::function<void()>& lookAgain) {
    auto process = std::make_shared<Descriptor>(openProcess(router));
    if (!*process) {
        if (errno == ESRCH) // it has just ended
            lookAgain();
        else
            dispatch.after(LOOK_AGAIN, this, lookAgain);
        return;
    }
    auto* notifier = new QSocketNotifier(process->get(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [notifier, process, lookAgain] {
        notifier->setEnabled(false);
        notifier->deleteLater();
        lookAgain();
    });
}

} // namespace ovalin
