// bench_replace WINDOW FILE ROUNDS: over the running program, again and again: fill the clipboard, select all in
// WINDOW, open the panel, type words, press its button, and see when the title of WINDOW shows that its text changed
// and whether the clipboard is byte for byte as before. With FILE the window is an editor's, whose text is read back
// from the file it saves; "-" for a page whose title is "page:TEXT|TIME" (ms since the epoch): the browser shows titles
// late, so the page notes when its text changed. Prints one line: ROUNDS, texts replaced, clipboards restored, median,
// p95 and worst (ms) from the button to the changed title; what went wrong goes to standard error.
//
// bench_replace transform: 10 MB through `cat` as a transform, and through `cat` alone (ms, median of 7).
#include "transform/TransformJob.h"

#include "platform/x11/selections/SelectionServer.h"
#include "platform/x11/selections/X11Pasteboard.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <memory>

#include <xcb/xtest.h>

using namespace Qt::StringLiterals;
using namespace ovalin;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int RIGHT_OF_BUTTON = 140, BELOW_BUTTON = 32; // its distance to the corner of the panel

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double at(std::vector<double>& times, double part) {
    std::ranges::sort(times);
    return times.empty()
               ? 0
               : times[std::min(times.size() - 1, static_cast<size_t>(part * static_cast<double>(times.size())))];
}

QString xdotool(const QStringList& arguments) {
    QProcess process;
    process.start(u"xdotool"_s, arguments);
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

bool until(const std::function<bool()>& condition, std::chrono::milliseconds patience = 10s) {
    for (const auto end = Clock::now() + patience; !condition(); QThread::msleep(5)) {
        if (Clock::now() >= end)
            return false;
    }
    return true;
}

/// A picture, text in several forms and a type of its own, different in each round.
SelectionContent clipboardContent(int round) {
    SelectionContent content = textContent(u"copied in round %1 🙂"_s.arg(round));
    content.push_back({"text/html", "text/html", 8, "<b>round " + QByteArray::number(round) + "</b>"});
    QByteArray noise(round % 3 == 0 ? 400'000 : 9'000, Qt::Uninitialized);
    quint32 state = static_cast<quint32>(round) + 1;
    for (char& byte : noise)
        byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    content.push_back({"image/png", "image/png", 8, noise});
    content.push_back({"image/bmp", "image/bmp", 8, noise + noise});
    content.push_back({"application/x-thing", "application/x-thing", 8, QByteArray("a\0b", 3)});
    return content;
}

class Rounds {
public:
    Rounds(quint32 theWindow, QString theFile)
        : window(theWindow)
        , file(std::move(theFile)) {
        const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(server.get(), window, XCB_CW_EVENT_MASK, &mask);
        thread.runAndWait(
            [this] { owner = std::make_unique<SelectionServer>(thread, thread.connection().atom("CLIPBOARD")); });
    }
    ~Rounds() {
        thread.runAndWait([this] { owner.reset(); });
    }

    void run(int number) {
        const SelectionContent content = clipboardContent(number);
        const QString words = u"words of round %1"_s.arg(number);
        thread.runAndWait([&] { owner->own(content); });
        xdotool({u"windowactivate"_s, QString::number(window)});
        xdotool({u"key"_s, u"ctrl+a"_s, u"alt+space"_s});
        QString panel;
        until([&] {
            panel = xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Ovalin$"_s});
            return !panel.isEmpty();
        });
        xdotool({u"type"_s, u"--delay"_s, u"4"_s, words});
        pointAtButton(panel);
        while (server.waitForEvent(Clock::now())) { // titles of the round before
        }
        const auto start = Clock::now();
        const auto pressed =
            std::chrono::duration<double, std::milli>(std::chrono::system_clock::now().time_since_epoch());
        for (const uint8_t what : {uint8_t{XCB_BUTTON_PRESS}, uint8_t{XCB_BUTTON_RELEASE}})
            xcb_test_fake_input(server.get(), what, 1, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        const bool changed = titleChanges();
        if (changed)
            times.push_back(isPage() ? title().section(u'|', 1).section(u' ', 0, 0).toDouble() - pressed.count()
                                     : millisecondsSince(start));
        const bool restored = until([&] { return isOnClipboard(content); }, 6s);
        const bool textIsThere = until([&] { return text() == words; }, 6s);
        replacedCount += textIsThere ? 1 : 0;
        restoredCount += restored ? 1 : 0;
        if (!changed || !restored || !textIsThere)
            std::fprintf(stderr, "round %d: title changed %d, clipboard restored %d, text \"%s\"\n", number, changed,
                         restored, qPrintable(text()));
    }

    void print(int rounds) {
        std::printf("%d\t%d\t%d\t%.0f\t%.0f\t%.0f\n", rounds, replacedCount, restoredCount, at(times, 0.5),
                    at(times, 0.95), at(times, 1));
    }

private:
    // The panel grows when the excerpt comes, and the button with it: it stands still for a while first.
    void pointAtButton(const QString& panel) {
        QString last;
        for (int same = 0; same < 8; QThread::msleep(15)) {
            const QString shell = xdotool({u"getwindowgeometry"_s, u"--shell"_s, panel});
            same = shell == last ? same + 1 : 0;
            last = shell;
        }
        const auto value = [&](const QString& key) { return last.section(key + u'=', 1).section(u'\n', 0, 0).toInt(); };
        xdotool({u"mousemove"_s, u"--window"_s, panel, QString::number(value(u"WIDTH"_s) - RIGHT_OF_BUTTON),
                 QString::number(value(u"HEIGHT"_s) - BELOW_BUTTON)});
    }
    bool titleChanges() {
        const xcb_atom_t name = server.atom("_NET_WM_NAME");
        const Deadline deadline = deadlineIn(10s);
        while (const auto event = server.waitForEvent(deadline)) {
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY &&
                reinterpret_cast<const xcb_property_notify_event_t*>(event.get())->atom == name)
                return true;
        }
        return false;
    }
    bool isOnClipboard(const SelectionContent& content) {
        const PasteboardSnapshot seen = reader.save(Pasteboard::Selection::Clipboard);
        return seen.items.size() == content.size() && std::ranges::all_of(content, [&](const auto& item) {
                   return std::ranges::any_of(seen.items, [&](const auto& found) {
                       return found.target == item.target && found.type == item.type && found.bytes == item.bytes;
                   });
               });
    }
    [[nodiscard]] bool isPage() const { return file == u"-"_s; }
    [[nodiscard]] QString title() const { return xdotool({u"getwindowname"_s, QString::number(window)}); }
    QString text() {
        if (isPage())
            return title().section(u"page:"_s, 1).section(u'|', 0, 0);
        xdotool({u"key"_s, u"ctrl+s"_s});
        QFile saved(file);
        return saved.open(QIODevice::ReadOnly) ? QString::fromUtf8(saved.readAll()).trimmed() : QString();
    }

    const quint32 window;
    const QString file;
    XConnection server;
    XThread thread;
    ActivityClock clock;
    X11Pasteboard reader{thread, clock};
    std::unique_ptr<SelectionServer> owner;
    std::vector<double> times;
    int replacedCount = 0, restoredCount = 0;
};

double medianOf(const std::function<void()>& work) {
    std::vector<double> times;
    for (int i = 0; i < 7; ++i) {
        const auto start = Clock::now();
        work();
        times.push_back(millisecondsSince(start));
    }
    return at(times, 0.5);
}

int measureTransform() {
    QTemporaryDir folder;
    const QString script = folder.filePath(replaceScript(ReplaceTarget::Plain));
    QFile file(script);
    if (!file.open(QIODevice::WriteOnly) || file.write("#!/bin/sh\nexec cat\n") < 0)
        return 1;
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    Subject subject;
    subject.capApp = u"bench"_s;
    const QString text = u"A line of a text of ten megabytes.\n"_s.repeated(300'000);
    QString result;
    const double job = medianOf([&] {
        result = runTransform({ReplaceTarget::Plain, u"x"_s, text, subject}, {folder.path(), {}, {}}).text;
    });
    const QString input = folder.filePath(u"input"_s);
    QFile data(input);
    if (!data.open(QIODevice::WriteOnly) || data.write(text.toUtf8()) < 0)
        return 1;
    data.close();
    const double cat = medianOf([&] {
        QProcess process;
        process.start(u"sh"_s, {u"-c"_s, u"cat '%1' | cat > /dev/null"_s.arg(input)});
        process.waitForFinished();
    });
    std::printf("%.0f\t%.0f\t%d\n", job, cat, result.size() == text.size() - 1);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList words = QCoreApplication::arguments();
    if (words.value(1) == u"transform"_s)
        return measureTransform();
    if (words.size() < 4)
        return 2;
    const int count = words[3].toInt();
    Rounds rounds(words[1].toUInt(), words[2]);
    for (int number = 1; number <= count; ++number)
        rounds.run(number);
    rounds.print(count);
    return 0;
}
