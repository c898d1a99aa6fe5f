// What a Do request costs: the main thread's share, the way to a queue file that survives a crash, and the append to a
// full ledger against the bare cost of reading, writing and syncing the same bytes. Usage: bench_submit [ROUNDS
// [FOLDER]]
#include "base/Descriptor.h"
#include "base/Json.h"
#include "base/WholeFile.h"
#include "base/Log.h"
#include "route/CapturesLedger.h"
#include "route/RoutedRequests.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

class Samples {
public:
    template <class Work>
    void time(Work work) {
        const auto begin = std::chrono::steady_clock::now();
        work();
        milliseconds.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
    }
    double median() {
        std::sort(milliseconds.begin(), milliseconds.end());
        return milliseconds[milliseconds.size() / 2];
    }
    void print(const char* name) {
        const double middle = median(); // sorts
        std::printf("%-34s best %8.3f   median %8.3f   worst %8.3f ms\n", name, milliseconds.front(), middle,
                    milliseconds.back());
    }

private:
    std::vector<double> milliseconds;
};

QueueItem request(int number) {
    return makeQueueItem(u"reply to this mail, number %1"_s.arg(number), QString(400, QLatin1Char('x')),
                         {u"Text Editor"_s, u"org.x.editor"_s, 1, 2, u"https://example.org/page"_s, u"A page"_s},
                         u"fetch"_s, QDateTime::currentDateTimeUtc());
}

void writeFullLedger(const QString& file) {
    QJsonArray items;
    for (int i = 0; i < 500; ++i) {
        QJsonObject entry = request(i).ledgerEntry();
        entry[u"result"_s] = QJsonObject{{u"summary"_s, QString(120, QLatin1Char('s'))}};
        items.append(entry);
    }
    (void)ensureFolder(QFileInfo(file).path());
    (void)replaceFile(file, prettyJson({{u"items"_s, items}}));
}

void bareReadWriteSync(const QString& from, const QString& to) {
    QFile source(from);
    (void)source.open(QIODevice::ReadOnly);
    const QByteArray bytes = source.readAll();
    const Descriptor file(::open(QFile::encodeName(to).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    (void)!::write(file.get(), bytes.constData(), static_cast<size_t>(bytes.size()));
    ::fsync(file.get());
}

void waitForFile(const QString& path) {
    while (::access(QFile::encodeName(path).constData(), F_OK) != 0)
        QThread::usleep(50);
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int rounds = std::max(1, arguments.value(1, u"200"_s).toInt());
    const QTemporaryDir folder(arguments.value(2, QDir::tempPath()) + u"/bench-submit-XXXXXX"_s);
    const Paths paths = Paths::under(folder.path());
    writeFullLedger(paths.capturesFile);
    // A router that does nothing, so that none of the user's is started.
    ReplaceOptions executable;
    executable.newMode = 0755;
    (void)ensureFolder(paths.binDir);
    (void)replaceFile(paths.routerScript, "#!/bin/sh\n", executable);
    setLogSink([](const QString&) {});

    Samples bare, append, mainThread, durable;
    for (int i = 0; i < rounds; ++i) { // in turn, so that a slow spell of the machine hits both
        bare.time([&] { bareReadWriteSync(paths.capturesFile, folder.filePath(u"bare"_s)); });
        append.time([&] { (void)appendToCaptures(paths.capturesFile, request(i)); });
    }
    {
        QtDispatch dispatch;
        RoutedRequests requests(dispatch, paths, {});
        for (int i = 0; i < rounds; ++i) {
            const QueueItem item = request(i);
            durable.time([&] {
                mainThread.time([&] { requests.submit(item, QUuid()); });
                waitForFile(u"%1/%2.json"_s.arg(paths.queueDir, item.id));
            });
        }
    }
    std::printf("ledger of 500 entries, %lld bytes, %d rounds\n",
                static_cast<long long>(QFileInfo(paths.capturesFile).size()), rounds);
    bare.print("bare read, write, fsync");
    append.print("append to the ledger");
    std::printf("%-34s %.2f\n", "ratio of the medians", append.median() / bare.median());
    mainThread.print("submit, main thread");
    durable.print("submit to the queue file in place");
    return 0;
}
