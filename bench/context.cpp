// bench_context ROUNDS: the context pipeline over the front application of $DISPLAY, as an opening starts it: when the
// excerpt, the browser's tab and the screenshot are there. Prints NAME, count, median, p95, worst (ms). bench/context
// runs it over an editor and a browser.
#include "capture/Captured.h"
#include "capture/WindowShot.h"
#include "platform/helpers/Tools.h"
#include "platform/x11/desktop/X11Desktop.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace ovalin;

namespace {

constexpr std::chrono::seconds ROUND_ENDS{3};

struct NoRecognizer final : TextRecognizer {
    std::optional<QString> recognize(const QByteArray&) override { return std::nullopt; }
};

class Times {
public:
    void begin() { timer.start(); }
    void add() { milliseconds.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6); }
    void print(const char* name) {
        std::sort(milliseconds.begin(), milliseconds.end());
        const size_t count = milliseconds.size();
        if (count > 0)
            std::printf("%s\t%zu\t%.0f\t%.0f\t%.0f\n", name, count, milliseconds[count / 2],
                        milliseconds[(count * 95 + 99) / 100 - 1], milliseconds.back());
    }

private:
    QElapsedTimer timer;
    std::vector<double> milliseconds;
};

} // namespace

int main(int argc, char** argv) {
    const QGuiApplication application(argc, argv);
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 20;
    const Tools tools = Tools::under(Tools::folderBeside(QCoreApplication::applicationDirPath()));
    QtDispatch dispatch;
    X11Desktop x11(dispatch);
    Desktop desktop = x11.desktop();
    const auto front = desktop.workspace.frontmostApplication();
    if (!front) {
        std::fprintf(stderr, "no application in front\n");
        return 1;
    }
    std::fprintf(stderr, "front: %s\n", qPrintable(front->bundleId));

    NoRecognizer recognizer;
    const WindowShots shots(x11.windows(), recognizer, tools);
    Selection selection(desktop.accessibility, desktop.pasteboard, desktop.keyboard);
    const ContextSources sources{
        [&](const QString& bundle) { return browserTabInfoViaOsascript(bundle, tools.osascript); },
        [&](qint32 pid) { return shots.captureWindowPNG(pid); }, [](const QByteArray&) { return std::nullopt; }};

    Times excerpt, tab, screenshot;
    QEventLoop loop;
    bool excerptDone = false, pageDone = false;
    const auto quitWhenDone = [&] {
        if (excerptDone && pageDone)
            loop.quit();
    };
    for (int i = 0; i < rounds; ++i) {
        Captured captured(dispatch, selection, sources);
        captured.context.capBundle = front->bundleId;
        captured.context.capPID = front->pid;
        captured.pipeline.updateCaptureUI = [&](const QString& text) {
            if (!text.isEmpty())
                excerpt.add();
            excerptDone = true;
            quitWhenDone();
        };
        captured.pipeline.checkSiteOwnership = [&](const QString& url) {
            tab.add();
            pageDone = isRemotePage(url); // else the screenshot follows
            quitWhenDone();
        };
        captured.pipeline.applyShotToPendingSubmit = [&](const QUuid&, const QByteArray&) {
            screenshot.add();
            pageDone = true;
            quitWhenDone();
        };
        excerptDone = pageDone = false;
        excerpt.begin();
        tab.begin();
        screenshot.begin();
        captured.pipeline.startContextPipeline();
        QTimer::singleShot(ROUND_ENDS, &loop, &QEventLoop::quit);
        loop.exec();
    }
    excerpt.print("excerpt");
    tab.print("tab");
    screenshot.print("screenshot handed over");
    dispatch.finish();
    return 0;
}
