#include "Dispatch.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThreadPool>
#include <QTimer>

#include <cstdlib>
#include <thread>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#include <sanitizer/tsan_interface.h>
#define OVALIN_THREAD_SANITIZER
#endif
#endif

namespace ovalin {

namespace {

/// ThreadSanitizer does not see into Qt's queues, by which what one thread wrote before is there for the one that goes
/// on with it; so it is told. Elsewhere the work as it is.
Dispatch::Work handedOver(Dispatch::Work work) {
#ifdef OVALIN_THREAD_SANITIZER
    auto* const handed = new Dispatch::Work(std::move(work)); // a pointer alone: Qt copies it unseen
    __tsan_release(handed);
    return [handed] {
        __tsan_acquire(handed);
        const std::unique_ptr<Dispatch::Work> own(handed);
        (*own)();
    };
#else
    return work;
#endif
}

} // namespace

struct QtDispatch::Pools {
    QThreadPool general;
    QThreadPool files;
    QThreadPool jobs;
    QObject mainThread; // receiver of everything that comes back
};

QtDispatch::QtDispatch()
    : pools(std::make_unique<Pools>()) {
    // The work waits for other processes rather than for a core: one slow application must not hold up the next
    // opening.
    pools->general.setMaxThreadCount(16);
    pools->general.setExpiryTimeout(5000);
    pools->jobs.setMaxThreadCount(64);
    pools->jobs.setExpiryTimeout(5000);
    pools->files.setMaxThreadCount(1);
    pools->files.setExpiryTimeout(5000);
}

QtDispatch::~QtDispatch() { finish(); }

void QtDispatch::finish(int status) {
    pools->files.waitForDone();
    const QDeadlineTimer deadline(2000);
    for (QThreadPool* pool : {&pools->general, &pools->jobs}) {
        pool->clear();
        if (!pool->waitForDone(static_cast<int>(deadline.remainingTime())))
            std::_Exit(status);
    }
    // Nobody hears these any more; a child that was just started ends with the news of it.
    QCoreApplication::removePostedEvents(&pools->mainThread);
}

double QtDispatch::now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

QDateTime QtDispatch::wallClock() const { return QDateTime::currentDateTimeUtc(); }

void QtDispatch::after(std::chrono::milliseconds delay, QObject* context, Work work) {
    QTimer::singleShot(delay, delay.count() < 100 ? Qt::PreciseTimer : Qt::CoarseTimer, context, std::move(work));
}

void QtDispatch::sleep(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

void QtDispatch::toMain(Work work) {
    QMetaObject::invokeMethod(&pools->mainThread, handedOver(std::move(work)), Qt::QueuedConnection);
}

void QtDispatch::run(Queue queue, Work work) {
    QThreadPool& pool = queue == Queue::Files ? pools->files : queue == Queue::Jobs ? pools->jobs : pools->general;
    // Utility work waits for the user's own, which has the higher priority in the pool.
    pool.start(handedOver(std::move(work)), queue == Queue::UserInitiated ? 1 : 0);
}

} // namespace ovalin
