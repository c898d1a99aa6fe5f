// The check of an answer's links against a local server that takes its time, and the rendering of answers that are hard
// to search for links. Usage: bench_links [LINKS [DELAY_MS [ROUNDS]]]
#include "ask/AnswerLinks.h"
#include "ask/LinkCheck.h"

#include <QCoreApplication>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

template <class Work>
double milliseconds(Work work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

/// Answers every request with 404 after a delay, in a thread of its own.
class SlowServer {
public:
    explicit SlowServer(int delay) {
        server.setListenBacklogSize(1000); // a connection that finds no room tries again a second later
        server.setMaxPendingConnections(1000);
        server.listen(QHostAddress::LocalHost);
        QObject::connect(&server, &QTcpServer::newConnection, &server, [this, delay] {
            while (QTcpSocket* socket = server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket, delay] {
                    if (socket->readAll().endsWith("\r\n\r\n"))
                        QTimer::singleShot(delay, Qt::PreciseTimer, socket, [socket] {
                            socket->write("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
                        });
                });
            }
        });
        port = server.serverPort();
        server.moveToThread(&thread);
        thread.start();
    }
    ~SlowServer() {
        QMetaObject::invokeMethod(
            &server,
            [this] {
                server.close();
                server.moveToThread(QCoreApplication::instance()->thread());
            },
            Qt::BlockingQueuedConnection);
        thread.quit();
        thread.wait();
    }

    quint16 port = 0;

private:
    QTcpServer server;
    QThread thread;
};

void checkRounds(int links, int delay, int rounds) {
    SlowServer server(delay);
    std::vector<LinkPair> pairs;
    for (int i = 0; i < links; ++i)
        pairs.push_back({u"text"_s, u"http://127.0.0.1:%1/%2"_s.arg(server.port).arg(i)});
    std::vector<double> times;
    const std::atomic<bool> stop = false;
    for (int round = 0; round < rounds; ++round) {
        qsizetype found = 0;
        times.push_back(milliseconds([&] { found = checkLinks(pairs, u"127.0.0.1"_s, {}, stop).size(); }));
        if (found != links)
            std::printf("%lld of %d links found dead\n", static_cast<long long>(found), links);
    }
    std::sort(times.begin(), times.end());
    std::printf("%d links, %d ms each, %d rounds: best %.1f   median %.1f   worst %.1f ms\n", links, delay, rounds,
                times.front(), times[times.size() / 2], times.back());
}

void renderings() {
    for (const char* piece :
         {"%", ")", "[", "](", "a@b.", "a-a.", "www.", "http://a)", "[x](y)", "[text](https://x.example/page) ",
          "see https://x.example/page, or ", "plain words and nothing else "}) {
        const QString text = QString::fromLatin1(piece).repeated((1 << 20) / static_cast<int>(qstrlen(piece)));
        size_t runs = 0;
        const double time = milliseconds([&] { runs = attributedAnswer(text).size(); });
        std::printf("1 MiB of %-32s %8.1f ms, %zu runs\n", piece, time, runs);
    }
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    checkRounds(argc > 1 ? std::atoi(argv[1]) : 200, argc > 2 ? std::atoi(argv[2]) : 100,
                argc > 3 ? std::atoi(argv[3]) : 20);
    renderings();
}
