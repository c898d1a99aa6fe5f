// A question on its way: from Return to the message in the agent's hands (a search script that answers at once and a
// screenshot of 0 or 5 MB), and from the first text the agent prints to its first paint. The agent is a script that
// tells the times it saw. Qt's offscreen platform will do.
//
//   QT_QPA_PLATFORM=offscreen bench_ask [ROUNDS]
#include "ask/AskChat.h"
#include "ask/WebSearch.h"
#include "panel/CapturePanel.h"
#include "panel/Transcript.h"
#include "platform/x11/panel/X11Panels.h"

#include "NoPasteboard.h"

#include <QApplication>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

/// The wall clock in milliseconds, as the script has it.
double wallMilliseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

QString answerIn(const Transcript* transcript) { return transcript->toPlainText().section(u"TORVI\n"_s, 1); }

/// When the transcript was last painted with text of the answer in it.
class Paints final : public QObject {
public:
    explicit Paints(Transcript* view)
        : transcript(view) {
        view->viewport()->installEventFilter(this);
    }
    double at = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint && at == 0 && !answerIn(transcript).isEmpty() && transcript->backlog() == 0)
            at = wallMilliseconds();
        return false;
    }

private:
    Transcript* const transcript;
};

void script(const QString& path, const QByteArray& text) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) < 0)
        std::exit(1);
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void print(const char* name, std::vector<double> milliseconds) {
    std::sort(milliseconds.begin(), milliseconds.end());
    std::printf("%-46s median %6.1f   p95 %6.1f   worst %6.1f ms\n", name, milliseconds[milliseconds.size() / 2],
                milliseconds[milliseconds.size() * 95 / 100], milliseconds.back());
}

void rounds(const char* name, int count, qsizetype shot) {
    QTemporaryDir folder;
    const QString agent = folder.filePath(u"agent"_s), search = folder.filePath(u"search"_s);
    script(search, "#!/bin/sh\necho '[]'\n");
    script(agent, "#!/usr/bin/python3\nimport json, sys, time\n"
                  "for line in sys.stdin.buffer:\n    now = '%.6f' % time.time()\n"
                  "    print(json.dumps({'type': 'stream_event', 'event': {'type': 'content_block_delta', 'delta': "
                  "{'text': now}}}))\n    print(json.dumps({'type': 'result', 'subtype': 'success'}), flush=True)\n");
    NoPasteboard pasteboard;
    X11Panels panels;
    QtDispatch dispatch;
    LinkVerifier verifier;
    std::vector<double> written, painted;
    for (int round = 0; round < count; ++round) {
        CaptureContext context;
        context.capApp = u"Editor"_s;
        if (shot > 0)
            context.capShot = QByteArray(shot, 'A');
        CapturePanel panel(pasteboard, panels);
        panel.openAt({0, 0});
        panel.revealTranscript();
        auto* transcript = panel.findChild<Transcript*>();
        AskChat chat(dispatch, verifier, *transcript, context,
                     {{agent, {}},
                      [&search](const QString& question) { return googleSearch(question, search); },
                      [] { return [] { return u"selected"_s; }; }});
        chat.startWarmAsk();
        QEventLoop typing; // warm, as when the user has typed a question
        QTimer::singleShot(300, &typing, &QEventLoop::quit);
        typing.exec();
        Paints paints(transcript);
        const double start = wallMilliseconds();
        chat.sendAskTurn(u"why?"_s);
        while (paints.at == 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        const double read = answerIn(transcript).toDouble() * 1e3;
        written.push_back(read - start);
        painted.push_back(paints.at - read);
    }
    std::printf("%s\n", name);
    print("  Return to the message read by the agent", written);
    print("  first text printed to first painted", painted);
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 40;
    rounds("without a screenshot", count, 0);
    rounds("with 5 MB of screenshot", count, 5 << 20);
    LiveChild::awaitEnds();
}
