// An answer of 20,000 deltas of five characters into the transcript, as one paragraph and as many, at the pace of an
// agent and a thousand at once; then answers with links. Qt's offscreen platform will do.
//
//   QT_QPA_PLATFORM=offscreen bench_transcript
#include "panel/Transcript.h"

#include <QApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <thread>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

constexpr int DELTAS = 20000;

double cpuMilliseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// Serves the event loop for a while, asleep when there is nothing to do, and keeps how long one turn of it took at
/// most: for so long a key press would have waited.
double longestTurn = 0;

void serve(std::chrono::microseconds time) {
    const auto until = std::chrono::steady_clock::now() + time;
    do {
        const auto start = std::chrono::steady_clock::now();
        QCoreApplication::processEvents();
        const auto now = std::chrono::steady_clock::now();
        longestTurn = std::max(longestTurn, std::chrono::duration<double, std::milli>(now - start).count());
        if (now < until)
            std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(until - now, std::chrono::milliseconds(1)));
    } while (std::chrono::steady_clock::now() < until);
}

/// `group` deltas each millisecond.
void feed(const char* name, int paragraph, int group) {
    Transcript view(nullptr);
    view.resize(448, 240);
    view.show();
    view.beginAnswer();
    serve(std::chrono::milliseconds(50));
    longestTurn = 0;
    std::vector<double> cost; // of each thousand deltas, main-thread CPU time
    const double begin = cpuMilliseconds();
    double mark = begin;
    for (int i = 0; i < DELTAS; ++i) {
        view.appendAnswer(i % paragraph == paragraph - 1 ? u"end.\n"_s : u"word "_s);
        if (i % group == group - 1)
            serve(std::chrono::milliseconds(1));
        if (i % 1000 == 999) {
            while (view.backlog() > 0)
                serve(std::chrono::milliseconds(1));
            cost.push_back(cpuMilliseconds() - mark);
            mark = cpuMilliseconds();
        }
    }
    std::printf("%-34s main thread %5.0f ms  first 1,000 %5.1f  last %5.1f  ratio %.2f  longest turn %.1f ms\n", name,
                cpuMilliseconds() - begin, cost[0], cost.back(), cost.back() / cost[0], longestTurn);
}

void links(int count) {
    Transcript view(nullptr);
    view.resize(448, 240);
    view.show();
    view.beginAnswer();
    QString answer;
    std::vector<LinkSpan> spans;
    for (int i = 0; i < count; ++i) {
        const QString target = u"https://example.com/%1"_s.arg(i);
        const QString source = u"[page %1](%2)"_s.arg(i).arg(target);
        answer += u"See "_s;
        spans.push_back({answer.size(), source.size(), u"page %1"_s.arg(i), target});
        answer += source + (i % 5 == 4 ? u".\n"_s : u", "_s);
    }
    view.appendAnswer(answer);
    view.flush();
    longestTurn = 0;
    QElapsedTimer time;
    time.start();
    const double begin = cpuMilliseconds();
    bool done = false;
    view.caughtUp = [&done] { done = true; };
    view.linkify(std::move(spans));
    while (!done)
        serve(std::chrono::milliseconds(1));
    std::printf("%5d links rendered: wall %lld ms, main thread %.0f ms, longest turn %.1f ms\n", count, time.elapsed(),
                cpuMilliseconds() - begin, longestTurn);
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    for (int run = 0; run < 3; ++run) {
        feed("one paragraph, 1,000 deltas/s", DELTAS, 1);
        feed("many paragraphs, 1,000 deltas/s", 60, 1);
        feed("one paragraph, a thousand at once", DELTAS, 1000);
        feed("many paragraphs, a thousand at once", 60, 1000);
    }
    links(10);
    links(200);
    links(10000);
}
