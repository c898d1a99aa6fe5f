#include "RouterWatch.h"

#include "base/ProcessTree.h"

#include <QSocketNotifier>

namespace ovalin {

namespace {

constexpr std::chrono::seconds LOOK_AGAIN(10);

} // namespace

RouterWatch::RouterWatch(Dispatch& theDispatch, QObject* parent)
    : QObject(parent)
    , dispatch(theDispatch) {}

void RouterWatch::follow(const QString& id, const std::function<void()>& ended) {
    dispatch.inBackground(
        Queue::UserInitiated, this, [name = id.toUtf8()] { return processesNaming(name); },
        [this, id, ended](const std::vector<pid_t>& routers) {
            if (routers.empty())
                ended();
            else // the shell that launches the agent ends before it
                waitFor(routers.back(), [this, id, ended] { follow(id, ended); });
        });
}

void RouterWatch::waitFor(pid_t router, const std::function<void()>& lookAgain) {
    auto process = std::make_shared<Descriptor>(openProcess(router));
    if (!*process) { // no descriptor to be had, or it has just ended
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
