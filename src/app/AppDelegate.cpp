#include "AppDelegate.h"

#include "AccessibilityOffer.h"
#include "ReplaceButton.h"
#include "RuntimeScripts.h"

#include "base/AgentCli.h"
#include "base/Log.h"
#include "dictation/Dictation.h"
#include "panel/Brand.h"
#include "panel/Placement.h"

#include <QCursor>

#include <array>
#include <chrono>

namespace ovalin {

namespace {

using namespace std::chrono_literals;

const QString HOWTO_SEEN_KEY = QStringLiteral("ovalinHowtoSeen");
constexpr double SLOW_OPEN_MS = 400;

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

AppDelegate::AppDelegate(Desktop& theDesktop, Dispatch& theDispatch, Paths thePaths, ContextSources sources,
                         std::function<bool(const QString&)> theSiteOwned)
    : desktop(theDesktop)
    , dispatch(theDispatch)
    , paths(std::move(thePaths))
    , siteOwned(std::move(theSiteOwned))
    , hotKey(desktop.hotKeys, dispatch)
    , selection(desktop.accessibility, desktop.pasteboard, desktop.keyboard)
    , pipeline(dispatch, selection, std::move(sources), context)
    , selectionWatch(desktop.eventMonitors, dispatch, selection, context)
    , routedRequests(std::make_unique<RoutedRequests>(dispatch, paths, AgentSearch::under(paths.home)))
    , paste(desktop, dispatch)
    , askHistory(dispatch, AskHistory::storePath(paths.systemDir), AgentSearch::under(paths.home),
                 programEnds.get_token())
    , promptHistory(dispatch, PromptHistory::storePath(paths.systemDir)) {
    hotKey.fired = [this] { hotkeyFired(); };
    hotKey.gaveUp = [this](int status) { hotkeyTaken(status); };
    pipeline.updateCaptureUI = [this](const QString& text) { updateCaptureUI(text); };
    pipeline.checkSiteOwnership = [this](const QString& url, const QUuid& token) { checkSiteOwnership(url, token); };
    pipeline.applyShotToPendingSubmit = [this](const QUuid& token, const QString& shot) {
        applyShotToPendingSubmit(token, shot);
    };
    selectionWatch.panelExists = [this] { return panel != nullptr; };
    selectionWatch.updateCaptureUI = [this](const QString& text) { updateCaptureUI(text); };
    routedRequests->onNews = [this](const RequestNews& news) { told(news); };
    desktop.sessionEvents.didWake = [this] { hotKey.reassertHotKey(); };
    watchDesktop();
    desktop.keyboardHold.refused = [] {
        logLine(QStringLiteral("Ovalin: another program holds the keyboard — the panel took the input focus instead"));
    };
}

void AppDelegate::watchDesktop() {
    const auto windows = [this] {
        return std::array<GlassWindow*, 3>{panel.get(), howtoPanel.get(), historyPanel.get()};
    };
    desktop.workspace.compositorChanged = [this, windows] {
        for (GlassWindow* window : windows()) {
            if (window)
                window->setComposited(desktop.workspace.compositorRuns());
        }
    };
    desktop.workspace.windowManagerDied = [windows] {
        for (GlassWindow* window : windows()) {
            if (window)
                window->raise();
        }
    };
}

std::vector<ScreenArea> AppDelegate::screens() const { return currentScreens(desktop.workspace.reservedStrips()); }

AppDelegate::~AppDelegate() {
    applicationWillTerminate();
    desktop.hotKeys.unregisterHotKey();
}

void AppDelegate::applicationDidFinishLaunching() {
    Brand::registerFonts(paths.resourcesDir);
    intentLexicon = IntentLexicon::load(IntentLexicon::storePath(paths.systemDir));
    offerAccessibility(desktop.accessibility, desktop.notifier, defaults);
    hotKey.registerHotKey(0);
    logLine(QStringLiteral("Ovalin ready — Opt+Space to capture"));
    heartbeat = std::make_unique<Heartbeat>(dispatch, paths.heartbeatFile);
    promptHistory.load();
    dispatch.inBackground(
        Queue::Utility, this,
        [resources = paths.resourcesDir, bin = paths.binDir] { installBundledScripts(resources, bin); },
        [this] {
            if (routedRequests)
                routedRequests->takeUp(); // by the script, where it has just come
        });
    dispatch.after(500ms, this, [this] { warmUp(); });
}

void AppDelegate::warmUp() {
    if (panel)
        return;
    // The first panel would pay for fonts, text shaping, the shadows and the first window: an unseen one pays for it
    // now.
    CapturePanel unseen(desktop.pasteboard, desktop.workspace.compositorRuns());
    unseen.showMode(false);
    unseen.showExcerpt(QStringLiteral("warmup"), false);
    unseen.setPlaceholder(QStringLiteral("What should Torvi do with this?"));
    unseen.grab();
    unseen.winId();
    [[maybe_unused]] const QFontMetrics signature(Brand::signature(13));
}

void AppDelegate::toggle() {
    if (desktop.keyboardHold.waiting())
        return; // the shortcut that opened the panel is still held down and repeats
    hotKey.hotkeyFired();
}

void AppDelegate::hotkeyFired() {
    if (panel && panel->isVisible()) {
        closePanel();
        return;
    }
    desktop.accessibility.keyboardIsTaken();
    const auto start = std::chrono::steady_clock::now();
    const auto front = desktop.workspace.frontmostApplication();
    const double workspaceMs = millisecondsSince(start);
    const QString name = front && !front->name.isEmpty() ? front->name : QStringLiteral("Unknown");
    context.open(name, front ? front->bundleId : QString(), front ? front->pid : 0, front ? front->window : 0);
    showPanel();
    const double totalMs = millisecondsSince(start);
    logLine(QStringLiteral("Ovalin: panel up in %1 ms").arg(totalMs, 0, 'f', 0));
    if (totalMs > SLOW_OPEN_MS)
        logLine(QStringLiteral("Ovalin: SLOW OPEN breakdown — workspace %1 ms, show %2 ms")
                    .arg(workspaceMs, 0, 'f', 0)
                    .arg(totalMs - workspaceMs, 0, 'f', 0));
    if (!front && !desktop.workspace.seesAllWindows()) {
        // Without a window to ask, the whole display would be pictured, with what belongs to others.
        setStatus(QStringLiteral("the window in front is not an X11 one — nothing of it is known"));
        return;
    }
    pipeline.startContextPipeline(context.captureToken);
    selectionWatch.startSelectionWatch(context.captureToken);
}

void AppDelegate::showPanel() {
    dropPanel();
    askMode = false;
    modeLockedByUser = false;
    lastPredicted = OvalinIntent::neutral;

    panel = std::make_unique<CapturePanel>(desktop.pasteboard, desktop.workspace.compositorRuns());
    panel->screens = [this] { return screens(); };
    connectPanel();
    dictation = makeDictation();
    openChat();
    if (!context.capText.isEmpty())
        panel->showExcerpt(context.capText, false);
    setMode(false, false);
    if (std::exchange(nextOpeningAsks, false))
        modeAskTapped(); // as the user had chosen
    if (!nextOpeningPrompt.isEmpty())
        panel->setPrompt(std::exchange(nextOpeningPrompt, {}));
    if (!nextOpeningStatus.isEmpty())
        setStatus(std::exchange(nextOpeningStatus, {}));
    promptHistory.rewind();
    bringBackUndelivered();

    desktop.primaryGuard.setActive(true);
    panel->openAt(placeUnderPointer(QCursor::pos(), panel->size(), screens()));
    desktop.keyboardHold.take(static_cast<quint32>(panel->winId()));
    panel->prepareGlass(); // while the X server maps the window

    if (!defaults.isSet(HOWTO_SEEN_KEY)) {
        // The flag is a file: written once the panel is on the screen.
        dispatch.after(0ms, this, [this] { defaults.set(HOWTO_SEEN_KEY); });
        dispatch.after(350ms, this, [this] { showHowto(); });
    }
}

void AppDelegate::connectPanel() {
    connect(panel.get(), &CapturePanel::submitTapped, this, &AppDelegate::sendTapped);
    connect(panel.get(), &CapturePanel::cancelTapped, this, &AppDelegate::cancelTapped);
    connect(panel.get(), &CapturePanel::pressed, this, [this] {
        if (!desktop.keyboardHold.held())
            desktop.keyboardHold.take(static_cast<quint32>(panel->winId()));
    });
    connect(panel.get(), &CapturePanel::promptEdited, this, &AppDelegate::promptEdited);
    connect(panel.get(), &CapturePanel::promptWalked, this,
            [this](bool older) { recallPrompt(older ? PromptHistory::Step::Older : PromptHistory::Step::Newer); });
    connect(panel.get(), &CapturePanel::modeDoTapped, this, &AppDelegate::modeDoTapped);
    connect(panel.get(), &CapturePanel::modeAskTapped, this, &AppDelegate::modeAskTapped);
    connect(panel.get(), &CapturePanel::replaceTapped, this, &AppDelegate::replaceTapped);
    connect(panel.get(), &CapturePanel::micTapped, this, &AppDelegate::micTapped);
    connect(panel.get(), &CapturePanel::historyTapped, this, &AppDelegate::historyTapped);
    connect(panel.get(), &CapturePanel::helpTapped, this, &AppDelegate::helpTapped);
}

void AppDelegate::closePanel() {
    closeHowto();
    stopRecording();
    closeChat();
    selectionWatch.stopSelectionWatch();
    dropPanel();
}

void AppDelegate::dropPanel() {
    closeHistoryPanel();
    closeChat();
    if (!panel)
        return;
    rememberPrompt();
    dictation.reset();
    handingOver = false;
    broughtBack.clear();
    desktop.keyboardHold.letGo();
    desktop.primaryGuard.setActive(false);
    panel->hide();
    panel->disconnect(this);
    panel.release()->deleteLater(); // we may be in one of its own signals
}

void AppDelegate::updateCaptureUI(const QString& text) {
    if (!panel)
        return;
    context.capText = text;
    panel->showExcerpt(text, askMode);
    showPlaceholder();
    syncReplaceButton(text, askMode);
}

void AppDelegate::syncReplaceButton(const QString& selected, bool hidden) {
    if (!panel)
        return;
    const ReplaceButton button = replaceButtonFor(context, selected, hidden);
    panel->setReplaceButton(button.title, button.hidden);
}

void AppDelegate::checkSiteOwnership(const QString& url, const QUuid& token) {
    if (!isWebPage(url))
        return;
    dispatch.inBackground(
        Queue::UserInitiated, this, [owned = siteOwned, url] { return owned(url); },
        [this, token](bool owned) {
            if (token != context.captureToken)
                return;
            context.capSiteOwned = owned;
            syncReplaceButton(context.capText, askMode);
        });
}

std::function<SelectedText()> AppDelegate::currentFocus() {
    return [this, target = context.selectionTarget(), stored = context.capText, window = context.capTextWindow] {
        SelectedText live = selection.axSelection(target);
        if (!live.text.isEmpty())
            return live;
        return SelectedText{stored, live.source, live.focus, window ? window : live.window};
    };
}

void AppDelegate::setStatus(const QString& text) {
    if (panel)
        panel->say(text);
}

void AppDelegate::cancelTapped() { closePanel(); }

void AppDelegate::helpTapped() {
    if (howtoPanel)
        closeHowto();
    else
        showHowto();
}

void AppDelegate::showHowto() {
    closeHowto();
    closeHistoryPanel();
    if (!panel)
        return;
    howtoPanel = std::make_unique<HowtoPanel>(QString(AGENT_INSTALL_PAGE), desktop.workspace.compositorRuns());
    connect(howtoPanel.get(), &HowtoPanel::dismissed, this, &AppDelegate::closeHowto);
    const QPoint corner = placeBeside(panel->geometry(), howtoPanel->size(), screens());
    howtoPanel->openAt(corner);
    logLine(QStringLiteral("Ovalin howto: shown at (%1, %2) size %3x%4 contentH %5")
                .arg(corner.x())
                .arg(corner.y())
                .arg(howtoPanel->width())
                .arg(howtoPanel->height())
                .arg(howtoPanel->contentHeight()));
}

void AppDelegate::closeHowto() {
    if (!howtoPanel)
        return;
    howtoPanel->hide();
    howtoPanel.release()->deleteLater();
}

void AppDelegate::hotkeyTaken(int status) {
    if (hotkeyTakenSaid)
        return;
    hotkeyTakenSaid = true;
    const QString why = status > 0 ? QStringLiteral("Another program holds Alt+Space.")
                                   : QStringLiteral("Alt+Space cannot be registered on this display.");
    desktop.notifier.notify(
        {QStringLiteral("Ovalin cannot use Alt+Space"),
         why + QStringLiteral(" To open Ovalin without it, run `ovalin toggle`, or bind that command to another "
                              "shortcut in your desktop's keyboard settings."),
         {},
         {}});
}

} // namespace ovalin
