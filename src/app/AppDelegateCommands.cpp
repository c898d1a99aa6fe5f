// What programs of the command line have the running copy do.
#include "AppDelegate.h"

#include "base/Log.h"
#include "base/Version.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPointer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using namespace std::chrono_literals;

constexpr auto LONGEST_LOOK = 2500ms;

QJsonObject error(const QString& why) { return {{u"error"_s, why}}; }

/// What is asked of others for one answer, which goes when all have said something, or when it takes too long.
struct Gathered : QObject {
    QJsonObject facts;
    int waiting = 0;
    SingleInstance::Answer answer;
    void arrived(const QString& fact, const QJsonValue& value) {
        facts[fact] = value;
        if (--waiting == 0)
            send();
    }
    void send() {
        answer(facts);
        deleteLater();
    }
};

} // namespace

void AppDelegate::serve(const QJsonObject& message, const SingleInstance::Answer& answer) {
    if (!hotKey.registered())
        hotKey.registerHotKey(0); // it may have become free
    const QString command = message.value(u"command"_s).toString();
    const QString words = message.value(u"words"_s).toString().trimmed();
    if (command == u"status"_s) {
        describe(answer);
    } else if (command == u"do"_s && !words.isEmpty()) {
        submit(words, answer);
    } else if (command == u"ask"_s && !words.isEmpty()) {
        answer(ask(words));
    } else if (command == u"toggle"_s) {
        answer({});
        toggle();
    } else if (command == u"open"_s) {
        answer({});
        if (!opening)
            open();
    } else if (command == u"forget"_s) {
        forget([answer] { answer({}); });
    } else if (command == u"requests"_s) {
        answer({});
        showRequests();
    } else if (command == u"quit"_s) {
        logLine(u"Ovalin: asked to quit"_s);
        answer({});
        QCoreApplication::quit();
    } else {
        answer(error(u"the running copy does not understand “%1”"_s.arg(command)));
    }
}

void AppDelegate::submit(const QString& words, const SingleInstance::Answer& answer) {
    Subject nothing;
    nothing.capApp = u"Unknown"_s;
    const QueueItem item = makeQueueItem(words, {}, nothing, u"fetch"_s, program.dispatch.wallClock());
    program.routedRequests->submit(item, QUuid::createUuid());
    // Behind its own work.
    program.dispatch.inBackground(
        Queue::Files, this, [] {},
        [this, answer, id = item.id] {
            if (!program.routedRequests)
                return;
            const auto& waiting = program.routedRequests->undelivered();
            const auto back = std::ranges::find(waiting, id, [](const Undelivered& each) { return each.item.id; });
            answer(back == waiting.end()
                       ? QJsonObject{{u"said"_s, u"handed over as %1"_s.arg(id)}}
                       : error(u"not handed over, %1 — the words wait in the panel"_s.arg(back->reason)));
        });
}

QJsonObject AppDelegate::ask(const QString& question) {
    if (opening)
        return error(u"the panel is open — close it first"_s);
    if (!program.next.prompt.isEmpty()) {
        open();
        return error(u"the panel has words in it that were not sent"_s);
    }
    program.next.prompt = question;
    program.next.asks = true;
    open();
    if (!opening)
        return error(u"the panel cannot be shown"_s);
    opening->sendWhenSeen();
    return {};
}

void AppDelegate::describe(const SingleInstance::Answer& answer) {
    auto* const gathered = new Gathered;
    gathered->setParent(this);
    gathered->answer = answer;
    gathered->facts = {{u"pid"_s, QCoreApplication::applicationPid()},
                       {u"version"_s, QLatin1String(VERSION)},
                       {u"platform"_s, QGuiApplication::platformName()},
                       {u"hotkey"_s, program.in.config.hotkey},
                       {u"hotkey_status"_s, static_cast<int>(hotKey.lastState())}};
    if (const QString manager = program.desktop.workspace.windowManager(); !manager.isEmpty())
        gathered->facts[u"window_manager"_s] = manager;
    gathered->waiting = 2;
    program.desktop.accessibility.queryEnabled([guard = QPointer<Gathered>(gathered)](bool enabled) {
        if (guard)
            guard->arrived(u"accessibility"_s, enabled);
    });
    if (program.desktop.microphone)
        program.desktop.microphone->look(
            gathered, [gathered](const QString& wrong) { gathered->arrived(u"microphone"_s, wrong); });
    else
        gathered->arrived(u"microphone"_s, u"no sound on this desktop"_s);
    program.dispatch.after(LONGEST_LOOK, gathered, [gathered] { gathered->send(); });
}

} // namespace ovalin
