#include "AppDelegate.h"

#include "AccessibilityOffer.h"
#include "Forget.h"
#include "HotkeyAdvice.h"
#include "RuntimeScripts.h"

#include "base/Descriptor.h"
#include "base/Log.h"
#include "panel/Announcer.h"
#include "panel/Brand.h"
#include "panel/Palette.h"
#include "route/Processed.h"

#include <QApplication>

#include <chrono>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using namespace std::chrono_literals;

const QString HOWTO_SEEN_KEY = u"ovalinHowtoSeen"_s;
constexpr double SLOW_OPEN_MS = 400;
constexpr auto PREPARED_AFTER = 100ms; // the closing itself is through by then

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

QString whyNoHotkey(HotKeyState state) {
    switch (state) {
    case HotKeyState::Taken:
        return u"Another program holds %1."_s;
    case HotKeyState::ByCompositor:
        return u"On this desktop no program can bind %1 by itself."_s;
    default:
        return u"This keyboard has no %1."_s;
    }
}

/// Panel and cards.
void forEachWindow(const std::function<void(GlassWindow&)>& work) {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* window = qobject_cast<GlassWindow*>(widget); window && window->isVisible())
            work(*window);
    }
}

} // namespace

AppDelegate::AppDelegate(Desktop& desktop, Dispatch& dispatch, Surroundings surroundings)
    : program(desktop, dispatch, std::move(surroundings))
    , hotKey(desktop.hotKeys, dispatch) {
    hotKey.fired = [this] { hotkeyFired(); };
    hotKey.failed = [this](HotKeyState state) { hotkeyTaken(state); };
    hotKey.succeeded = [this] { withdrawHotkeyTaken(); };
    program.routedRequests->onNews = [this](const RequestNews& news) { told(news); };
    watchDesktop();
    program.next.status = program.in.notice;
    if (!program.in.notice.isEmpty())
        logLine(u"Ovalin: "_s + program.in.notice);
    const QStringList& complaints = program.in.config.complaints;
    for (const QString& complaint : complaints)
        logLine(u"Ovalin: configuration: "_s + complaint);
    if (!complaints.isEmpty())
        program.next.status = u"configuration: "_s + complaints.constFirst() +
                              (complaints.size() > 1 ? u" (1 of %1)"_s.arg(complaints.size()) : QString());
}

AppDelegate::~AppDelegate() {
    applicationWillTerminate();
    program.desktop.hotKeys.unregisterHotKey();
}

void AppDelegate::watchDesktop() {
    const Desktop& desktop = program.desktop;
    desktop.sessionEvents.didWake = [this] { hotKey.reassertHotKey(); };
    desktop.panels.compositedChanged = [] { forEachWindow([](GlassWindow& window) { window.compositedChanged(); }); };
    desktop.panels.covered = [] { forEachWindow([](GlassWindow& window) { window.raise(); }); };
    desktop.keyboardHold.refused = [] {
        logLine(u"Ovalin: another program holds the keyboard — the panel took the input focus instead"_s);
    };
}

void AppDelegate::applicationDidFinishLaunching() {
    const Paths& paths = program.in.paths;
    Brand::registerFonts(paths.resourcesDir);
    installAccessibleRoles();
    program.intentLexicon = IntentLexicon::load(IntentLexicon::storePath(paths.systemDir));
    offerAccessibility(program.desktop.accessibility, program.desktop.notifier, defaults);
    hotKey.registerHotKey(0);
    const QString& key = program.in.config.hotkey;
    logLine(u"Ovalin ready — %1 to capture"_s.arg(key == Config().hotkey ? u"Opt+Space"_s : key));
    heartbeat = std::make_unique<Heartbeat>(program.dispatch, paths.heartbeatFile, [this] { sweepOldRequests(); });
    program.promptHistory.load();
    program.dispatch.inBackground(
        Queue::Utility, this,
        [folders = ScriptFolders{paths.resourcesDir, paths.binDir, paths.stateDir}] { installBundledScripts(folders); },
        [this] {
            if (program.routedRequests)
                program.routedRequests->takeUp(); // by the script, where it has just come
        });
    program.dispatch.after(500ms, this, [this] { warmUp(); });
}

void AppDelegate::sweepOldRequests() {
    if (const int days = program.in.config.processedDays; days > 0)
        program.dispatch.run(Queue::Files, [paths = program.in.paths, before = program.dispatch.wallClock().addDays(
                                                                          -days)] { sweepProcessed(paths, before); });
}

void AppDelegate::forget(const std::function<void()>& done) {
    closePanel(); // which still keeps its words
    program.forget();
    program.dispatch.inBackground(
        Queue::Files, this, [paths = program.in.paths] { return forgetAll(paths); },
        [done](const FileResult<qsizetype>& undone) {
            logLine(undone ? u"Ovalin: everything is forgotten"_s
                           : u"Ovalin: not all is forgotten — "_s + undone.error());
            done();
        });
}

void AppDelegate::applicationWillTerminate() {
    closePanel();
    program.end();
}

void AppDelegate::dress() {
    const Config& config = program.in.config;
    DesktopSettings* const desktop = program.desktop.settings;
    Palette::Look look = Palette::Look::Light;
    if (config.appearance == Config::Appearance::Desktop && desktop) {
        const DesktopLook wanted = desktop->look();
        look = wanted.dark ? Palette::Look::Dark : wanted.contrast ? Palette::Look::Contrast : Palette::Look::Light;
    } else if (config.appearance == Config::Appearance::Dark) {
        look = Palette::Look::Dark;
    } else if (config.appearance == Config::Appearance::Contrast) {
        look = Palette::Look::Contrast;
    }
    if (look != Palette::look()) {
        Palette::use(look);
        QApplication::setPalette(Palette::forWidgets());
    }
    program.motion = !config.reducedMotion && (!desktop || desktop->animations());
    static const int usual = QApplication::cursorFlashTime();
    QApplication::setCursorFlashTime(program.motion ? usual : 0);
}

void AppDelegate::warmUp() {
    if (opening)
        return;
    dress();
    // The first panel would pay for fonts, text shaping, the shadows and the first window: an unseen one pays for it
    // now.
    CapturePanel unseen(program.desktop.pasteboard, program.desktop.panels);
    unseen.showMode(false);
    unseen.showExcerpt(u"warmup"_s, false);
    unseen.setPlaceholder(u"What should Torvi do with this?"_s);
    unseen.grab();
    unseen.winId();
    [[maybe_unused]] const QFontMetrics signature(Brand::signature(13));
    program.preparePanel();
}

void AppDelegate::toggle() { hotKey.passedOn(program.desktop.keyboardHold.waiting()); }

void AppDelegate::hotkeyFired() {
    if (opening)
        closePanel();
    else
        open();
}

void AppDelegate::open() {
    if (!descriptorsAreFree()) { // Qt would wait for ever for the one that its picture needs, and the keyboard with it
        logLine(u"Ovalin: too many open files — no panel"_s);
        told({u"Ovalin"_s, u"Too many files are open for the panel to be shown."_s, {}});
        return;
    }
    program.desktop.accessibility.keyboardIsTaken();
    const auto start = std::chrono::steady_clock::now();
    Workspace& workspace = program.desktop.workspace;
    auto front = workspace.frontmostApplication();
    if (front && !program.in.config.exclude.isEmpty())
        front->title = workspace.title(front->window);
    const double workspaceMs = millisecondsSince(start);
    showPanel(front);
    const double totalMs = millisecondsSince(start);
    logLine(u"Ovalin: panel up in %1 ms"_s.arg(totalMs, 0, 'f', 0));
    if (totalMs > SLOW_OPEN_MS)
        logLine(u"Ovalin: SLOW OPEN breakdown — workspace %1 ms, show %2 ms"_s.arg(workspaceMs, 0, 'f', 0)
                    .arg(totalMs - workspaceMs, 0, 'f', 0));
    opening->startCapture();
}

void AppDelegate::showPanel(const std::optional<FrontApplication>& front) {
    dress();
    const bool first = !defaults.isSet(HOWTO_SEEN_KEY);
    if (first && program.next.status.isEmpty())
        program.next.status = u"what you send goes to Claude, which has all your permissions — see PRIVACY.md"_s;
    opening = std::make_unique<Opening>(program, front);
    connect(opening.get(), &Opening::closed, this, &AppDelegate::closePanel);
    if (first) {
        // The flag is a file: written once the panel is on the screen.
        program.dispatch.after(0ms, this, [this] { defaults.set(HOWTO_SEEN_KEY); });
        program.dispatch.after(350ms, opening.get(), [shown = opening.get()] { shown->showHowto(); });
    }
}

void AppDelegate::closePanel() {
    if (!opening)
        return;
    opening.reset();
    program.dispatch.after(PREPARED_AFTER, this, [this] {
        if (!opening)
            program.preparePanel();
    });
}

void AppDelegate::showRequests(const QString& id) {
    if (!opening)
        open();
    if (opening)
        opening->showRequests(id);
}

Notification AppDelegate::notificationOf(const RequestNews& news) {
    Notification notification{news.title, news.body, {}, {}};
    if (!news.id.isEmpty())
        notification.onClick = [guard = QPointer(this), id = news.id] {
            if (guard)
                guard->showRequests(id);
        };
    return notification;
}

void AppDelegate::told(const RequestNews& news) {
    if (!news.hint.isEmpty())
        program.next.status = news.hint;
    if (!news.title.isEmpty())
        program.desktop.notifier.notify(notificationOf(news));
}

void AppDelegate::hotkeyTaken(HotKeyState state) {
    if (hotkeyTakenSaid)
        return;
    const QString& key = program.in.config.hotkey;
    const QString why = whyNoHotkey(state).arg(key);
    const auto explain = [this, key] {
        program.desktop.notifier.notify(
            {u"How to free %1"_s.arg(key),
             howToFree(key, qEnvironmentVariable("XDG_CURRENT_DESKTOP"), program.desktop.workspace.windowManager()),
             {},
             {}});
        hotKey.registerHotKey(0); // they may do so within the minute that its tries take
    };
    hotkeyTakenSaid = program.desktop.notifier.notify(
        {u"Ovalin cannot use %1"_s.arg(key),
         why + u" To open Ovalin without it, run `ovalin toggle`, or bind that command to another "
               "shortcut in your desktop's keyboard settings."_s,
         u"How to free it"_s, explain});
}

void AppDelegate::withdrawHotkeyTaken() {
    if (hotkeyTakenSaid)
        program.desktop.notifier.withdraw(*std::exchange(hotkeyTakenSaid, {}));
}

} // namespace ovalin
