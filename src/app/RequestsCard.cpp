#include "RequestsCard.h"

#include "Program.h"

#include "base/DesktopOpen.h"
#include "base/Log.h"
#include "base/Text.h"
#include "panel/CapturePanel.h"
#include "route/RequestList.h"
#include "route/Router.h"

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using namespace std::chrono_literals;

constexpr auto COALESCE = 100ms, LOOK_AGAIN = 2000ms, GROW_OLDER = 60'000ms;

constexpr qsizetype LONGEST_SPOKEN = 200; // UTF-16 units

/// What has waited for longer waits for something else.
bool isUnderWay(const PastRequest& request) {
    return request.state == PastRequest::State::Working ||
           (request.state == PastRequest::State::Queued && request.age == "just now"_L1);
}

bool matches(const PastRequest& request, const QStringList& words) {
    const QString text = folded(request.words + u' ' + request.app + u' ' + request.stateName + u' ' + request.summary);
    return std::all_of(words.begin(), words.end(), [&](const QString& word) { return text.contains(word); });
}

QString spoken(const RequestDetail& detail) {
    QStringList parts{u"Request, "_s + detail.request.stateName, detail.prompt.left(LONGEST_SPOKEN), detail.summary,
                      u"Tab leads to its buttons"_s};
    parts.removeAll(QString());
    return parts.join(u". "_s);
}

} // namespace

struct RequestsCard::Read {
    PastRequests requests;
    QString openId;
    std::optional<RequestDetail> detail;
};

RequestsCard::RequestsCard(Program& theProgram, CapturePanel& thePanel, const QString& id)
    : program(theProgram)
    , panel(thePanel)
    , first(id) {
    connect(&watcher, &QFileSystemWatcher::fileChanged, this, &RequestsCard::refreshSoon);
    connect(&watcher, &QFileSystemWatcher::directoryChanged, this, &RequestsCard::refreshSoon);
    refresh();
}

// A file that is replaced is another one for the watcher, so its folder is watched too; what is not there yet cannot
// be.
void RequestsCard::watchFiles() {
    const Paths& paths = program.in.paths;
    const QString ledger = QFileInfo(paths.capturesFile).canonicalFilePath();
    for (const QString& place : {paths.systemDir, paths.queueDir, ledger, QFileInfo(ledger).path(),
                                 QFileInfo(routerMark(paths.queueDir + u"/x"_s)).path()}) {
        if (!place.isEmpty() && !watcher.files().contains(place) && !watcher.directories().contains(place))
            watcher.addPath(place);
    }
}

void RequestsCard::refreshSoon() {
    if (!std::exchange(soon, true))
        program.dispatch.after(COALESCE, this, [this] {
            soon = false;
            refresh();
        });
}

void RequestsCard::refresh() {
    if (std::exchange(reading, true)) {
        again = true;
        return;
    }
    watchFiles(); // before it is read: what changes meanwhile is read again
    const QString openId = !opening.isEmpty() ? opening : card ? card->openId() : QString();
    program.dispatch.inBackground(
        Queue::Files, this,
        [paths = program.in.paths, openId, now = program.dispatch.wallClock()] {
            return Read{listRequests(paths, now), openId,
                        openId.isEmpty() ? std::nullopt : requestDetail(paths, openId, now)};
        },
        [this](const Read& read) {
            reading = false;
            show(read);
            if (std::exchange(again, false))
                refresh();
        });
}

/// For who does not see the rows.
void RequestsCard::announceChanges(const PastRequests& now) {
    for (const PastRequest& before : std::as_const(requests.newest)) {
        for (const PastRequest& request : now.newest) {
            if (request.id == before.id && request.stateName != before.stateName)
                panel.announce(request.words.left(60) + u": "_s + request.stateName + u". "_s + request.summary);
        }
    }
}

void RequestsCard::show(const Read& read) {
    announceChanges(read.requests);
    requests = read.requests;
    if (!card)
        open();
    listMatching();
    if (const QString id = std::exchange(first, QString()); !id.isEmpty())
        card->selectRow(id);
    if (!read.openId.isEmpty() && (read.openId == opening || read.openId == card->openId())) {
        if (const bool opens = !std::exchange(opening, QString()).isEmpty(); opens && read.detail)
            panel.announce(spoken(*read.detail));
        if (read.detail) {
            detail = *read.detail;
            card->showDetail(detail);
        } else {
            say(u"it is not in the ledger any more"_s);
        }
    }
    const bool underWay = std::any_of(requests.newest.begin(), requests.newest.end(), isUnderWay);
    program.dispatch.after(underWay ? LOOK_AGAIN : GROW_OLDER, this, [this, look = ++looks] {
        if (look == looks)
            refresh();
    });
}

void RequestsCard::open() {
    card.reset(new RequestsPanel(program.desktop.pasteboard, program.desktop.panels));
    listMatching();
    connect(card.get(), &RequestsPanel::rowTapped, this, &RequestsCard::openDetail);
    connect(card.get(), &RequestsPanel::rowEntered, this, &RequestsCard::openDetail);
    connect(card.get(), &RequestsPanel::searched, this, [this](const QString& words) {
        wanted = words;
        listMatching();
    });
    connect(card.get(), &RequestsPanel::putBackTapped, this, [this] {
        const QString words = detail.prompt.isEmpty() ? detail.request.words : detail.prompt;
        Q_EMIT putBack(words);
    });
    connect(card.get(), &RequestsPanel::queueFileTapped, this, [this] { openFile(detail.queueFile); });
    connect(card.get(), &RequestsPanel::logTapped, this, [this] { openFile(program.in.paths.routerLog); });
    connect(card.get(), &RequestsPanel::runAgainTapped, this, &RequestsCard::runAgain);
    connect(card.get(), &RequestsPanel::stopTapped, this, &RequestsCard::stop);
    connect(card.get(), &RequestsPanel::dismissed, this, &RequestsCard::dismissed);
    card->openBeside(panel);
    panel.announce(u"Requests, %1"_s.arg(requests.newest.size()));
}

void RequestsCard::listMatching() {
    const QStringList words = folded(wanted).simplified().split(u' ', Qt::SkipEmptyParts);
    PastRequests matching = requests;
    matching.newest.removeIf([&](const PastRequest& request) { return !matches(request, words); });
    card->setRequests(matching);
}

void RequestsCard::openDetail(const QString& id) {
    opening = id;
    refresh();
}

void RequestsCard::openFile(const QString& file) {
    program.dispatch.inBackground(
        Queue::UserInitiated, this,
        [file]() -> QString {
            if (!QFileInfo::exists(file))
                return u"it is not there"_s;
            const auto opened = openOnDesktop(file);
            if (!opened)
                logLine(u"Ovalin: a file was not opened — "_s + opened.error());
            return opened ? QString() : u"no program opens it here"_s;
        },
        [this](const QString& problem) { say(problem); });
}

void RequestsCard::runAgain() {
    program.routedRequests->runAgain(detail.request.id, [guard = QPointer(this)](const QString& status) {
        if (guard)
            guard->said(status);
    });
}

void RequestsCard::stop() {
    say(u"stopping…"_s);
    program.routedRequests->stop(detail.request.id, [guard = QPointer(this)](const QString& status) {
        if (guard)
            guard->said(status);
    });
}

void RequestsCard::said(const QString& status) {
    say(status);
    refresh();
}

void RequestsCard::say(const QString& status) {
    card->say(status);
    panel.announce(status);
}

} // namespace ovalin
