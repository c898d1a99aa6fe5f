// What remembering costs: the store of a turn in a full history against the bare cost of reading, writing and syncing
// the same bytes, the main thread's share of it, the time from the click on the clock to the list on the screen, and
// searches in a full archive.
// Usage: bench_history [ROUNDS [FOLDER]], on a display for the list.
#include "NoPasteboard.h"
#include "base/Descriptor.h"
#include "base/WholeFile.h"
#include "history/AskHistory.h"
#include "panel/Brand.h"
#include "panel/HistoryPanel.h"
#include "platform/x11/panel/X11Panels.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

using Clock = std::chrono::steady_clock;

class Samples {
public:
    template <class Work>
    void time(Work work) {
        const auto begin = Clock::now();
        work();
        milliseconds.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
    }
    void print(const char* name) {
        std::sort(milliseconds.begin(), milliseconds.end());
        std::printf("%-44s best %8.3f   median %8.3f   worst %8.3f ms\n", name, milliseconds.front(),
                    milliseconds[milliseconds.size() / 2], milliseconds.back());
    }

private:
    std::vector<double> milliseconds;
};

/// Runs file work where it is asked for, so that it can be timed; keeps nothing for the main thread.
class DirectDispatch final : public Dispatch {
public:
    double now() const override { return 0; }
    QDateTime wallClock() const override { return QDateTime::currentDateTimeUtc(); }
    void after(std::chrono::milliseconds, QObject*, Work) override {}
    void sleep(std::chrono::milliseconds) override {}
    void toMain(Work) override {}
    void run(Queue, Work work) override { work(); }
};

AskTurn turn(int session) {
    return {u"00000000-0000-4000-8000-%1"_s.arg(session, 12, 10, QLatin1Char('0')),
            u"Text Editor"_s,
            std::nullopt,
            QString(700, QLatin1Char('q')),
            QString(700, QLatin1Char('a')),
            false};
}

void fill(const QString& file) {
    AskHistoryEntries entries;
    for (int i = 0; i < 80; ++i) {
        storeTurn(entries, turn(i % 20), QDateTime::currentDateTimeUtc());
        setTitle(entries, turn(i % 20).sessionId, u"A title of some words"_s);
    }
    (void)ensureFolder(QFileInfo(file).path());
    (void)replaceFile(file, askHistoryBytes(entries));
}

void bareReadWriteSync(const QString& from, const QString& to) {
    QFile source(from);
    (void)source.open(QIODevice::ReadOnly);
    const QByteArray bytes = source.readAll();
    const Descriptor file(::open(QFile::encodeName(to).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    (void)!::write(file.get(), bytes.constData(), static_cast<size_t>(bytes.size()));
    ::fsync(file.get());
}

void stores(const QString& file, int rounds) {
    DirectDispatch direct;
    AskHistory history(direct, file, {});
    Samples bare, replace, store;
    for (int i = 0; i < rounds; ++i) {
        bare.time([&] { bareReadWriteSync(file, file + u".bare"_s); });
        const auto contents = readWholeFile(file);
        replace.time([&] { (void)replaceFile(file + u".bare"_s, contents->bytes); });
        store.time([&] { history.persistAskTurn(turn(i % 20)); });
    }
    std::printf("a full history: %lld bytes\n", static_cast<long long>(QFileInfo(file).size()));
    bare.print("bare read, write, fsync");
    replace.print("the same bytes replaced so that it lasts");
    store.print("a turn stored");

    QtDispatch dispatch;
    AskHistory real(dispatch, file, {});
    Samples share;
    for (int i = 0; i < rounds; ++i) {
        share.time([&] { real.persistAskTurn(turn(i % 20)); });
        bool stored = false;
        real.loadAskHistory(&real, [&](const AskHistoryEntries&) { stored = true; });
        while (!stored)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    share.print("the main thread's share of it");
}

/// Tells when a widget's first frame has been handed to the display.
class FirstFrame final : public QObject {
public:
    explicit FirstFrame(QWidget* widget) { widget->installEventFilter(this); }
    bool done = false;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint)
            QMetaObject::invokeMethod(
                this, [this] { done = true; }, Qt::QueuedConnection);
        return false;
    }
};

void openings(const QString& file, int rounds) {
    QtDispatch dispatch;
    AskHistory history(dispatch, file, {});
    Samples samples;
    NoPasteboard pasteboard;
    X11Panels panels;
    for (int i = 0; i < rounds; ++i) {
        std::unique_ptr<HistoryPanel> panel;
        std::unique_ptr<FirstFrame> frame;
        samples.time([&] {
            history.loadAskHistory(&history, [&](const AskHistoryEntries& entries) {
                QList<PastConversation> conversations;
                for (const QJsonObject& entry : entries)
                    conversations.append(*pastConversation(entry, dispatch.wallClock()));
                panel = std::make_unique<HistoryPanel>(pasteboard, panels);
                panel->setConversations(conversations);
                frame = std::make_unique<FirstFrame>(panel.get());
                panel->openAt({100, 100});
            });
            while (!frame || !frame->done)
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            QGuiApplication::sync();
        });
    }
    samples.print("clock to list on the screen");
}

/// Twenty that are listed and a full archive, their previews full of words.
AskHistoryEntries manyEntries(int count) {
    static const char* const WORDS[] = {"Größe",  "answer", "caffè",  "question",  "über",  "river", "Montréal", "list",
                                        "number", "señor",  "window", "paragraph", "łódka", "train", "quarter",  "ice"};
    AskHistoryEntries entries;
    for (int i = 0; i < count; ++i) {
        const auto words = [i](int from) {
            QString text;
            for (int word = 0; text.size() < 690; ++word)
                text += QString::fromUtf8(WORDS[(i * 7 + from * 5 + word * word) % 16]) + QString::number(i) + u' ';
            return text;
        };
        AskHistoryEntries one;
        for (int exchange = 0; exchange < 3; ++exchange)
            storeTurn(one, {turn(i).sessionId, u"Editor"_s, std::nullopt, words(exchange), words(exchange + 3), false},
                      QDateTime::currentDateTimeUtc());
        entries += one;
    }
    return entries;
}

void searches(const QString& file, int rounds) {
    const QString archive = QFileInfo(file).path() + u"/ovalin-ask-history-archive.json"_s;
    (void)replaceFile(archive, askHistoryBytes(manyEntries(1000)));
    std::printf("a full archive: %lld bytes\n", static_cast<long long>(QFileInfo(archive).size()));
    QtDispatch dispatch;
    AskHistory history(dispatch, file, {});
    std::shared_ptr<const ConversationIndex> index;
    Samples first, one, rare, none;
    first.time([&] {
        history.loadIndex(&history, [&](const std::shared_ptr<const ConversationIndex>& read) { index = read; });
        while (!index)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    });
    for (int i = 0; i < rounds; ++i) {
        one.time([&] { (void)index->find(u"grosse"_s, 8); });
        rare.time([&] { (void)index->find(u"caffe999"_s, 8); });
        none.time([&] { (void)index->find(u"senor zebra"_s, 8); });
    }
    first.print("the first letter: read and folded, once");
    one.print("a search for what is in many");
    rare.print("for what is in the last one");
    none.print("for what is nowhere");
    DirectDispatch direct;
    AskHistory storing(direct, file, {});
    Samples full;
    for (int i = 0; i < std::min(rounds, 20); ++i)
        full.time([&] { storing.persistAskTurn(turn(5000 + i)); });
    full.print("a new conversation, the archive rewritten");
}

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    Brand::registerFonts(QCoreApplication::applicationDirPath() + u"/resources"_s);
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 200;
    const QTemporaryDir folder(argc > 2 ? QString::fromLocal8Bit(argv[2]) + u"/bench-XXXXXX"_s : QString());
    const QString file = AskHistory::storePath(folder.path());
    fill(file);
    stores(file, rounds);
    openings(file, rounds);
    searches(file, rounds);
}
