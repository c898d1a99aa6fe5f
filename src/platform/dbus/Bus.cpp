#include "Bus.h"

#include <atomic>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

// Names are for ever within a process: a second connection of the same name would be the first one.
QString freshName() {
    static std::atomic<int> count = 0;
    return u"ovalin-%1"_s.arg(++count);
}

} // namespace

BusConnection::BusConnection(const QString& address)
    : name(freshName())
    , connection(busAnswers(address) ? QDBusConnection::connectToBus(address, name) : QDBusConnection(name)) {}

BusConnection::~BusConnection() { QDBusConnection::disconnectFromBus(name); }

BusThread::BusThread(QObject* theResident)
    : resident(theResident)
    , thread(new QThread) {
    thread->setObjectName(u"bus"_s);
    resident->moveToThread(thread);
    QObject::connect(thread, &QThread::finished, resident, &QObject::deleteLater);
    thread->start();
}

BusThread::~BusThread() {
    thread->requestInterruption();
    QMetaObject::invokeMethod(
        resident, [thread = thread] { thread->quit(); }, Qt::QueuedConnection);
    if (thread->wait(2000))
        delete thread;
}

} // namespace ovalin
