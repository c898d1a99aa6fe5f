// The composition root: the command line, the one running copy, the desktop, the controller, the loop.
#include "Session.h"
#include "WatchedApplication.h"
#include "app/AppDelegate.h"
#include "app/CommandLine.h"
#include "app/SingleInstance.h"
#include "app/Termination.h"
#include "base/children/ChildEnvironment.h"
#include "base/children/LiveChild.h"
#include "base/Log.h"
#include "base/Version.h"
#include "capture/SiteOwnership.h"
#include "capture/WindowShot.h"
#include "platform/helpers/OcrProcess.h"
#include "platform/helpers/Tools.h"
#include "platform/speech/PulseMicrophone.h"
#include "platform/speech/VoskRecognizer.h"
#include "platform/x11/XServer.h"

#include <QApplication>
#include <QDir>
#include <QLoggingCategory>

#include <malloc.h>

using namespace ovalin;
using namespace Qt::StringLiterals;

namespace {

/// By itself malloc keeps as much as its largest block so far, a picture of the screen, for each thread that once held
/// one; with fixed limits a picture goes back at once (mallopt(3)).
void keepLittleMemory() {
    constexpr int MEGABYTE = 1 << 20;
    ::mallopt(M_MMAP_THRESHOLD, MEGABYTE);
    ::mallopt(M_TRIM_THRESHOLD, MEGABYTE);
}

void prepareQt() {
    QCoreApplication::setApplicationName(u"ovalin"_s);
    QCoreApplication::setApplicationVersion(QLatin1String(VERSION));
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi); // sizes are pixels; a screen's scale factor comes on top
    // The PRIMARY guard refuses claims on purpose; Qt would warn of each.
    // The other one is that there is no GL for its windows on Wayland.
    QLoggingCategory::setFilterRules(u"qt.qpa.clipboard.warning=false\nqt.qpa.wayland.warning=false"_s);
    QApplication::setDesktopFileName(u"ovalin"_s);
    QApplication::setQuitOnLastWindowClosed(false);
}

/// The one copy that runs, from its desktop to the end of its loop. Returns the exit status.
int run(const SessionChoice& choice, const Paths& paths, SingleInstance& instance) {
    const QString toolFolder = Tools::folderBeside(programFolder());
    const Tools tools = Tools::under(toolFolder);
    setHelperFolder(toolFolder);
    QtDispatch dispatch;
    Config config = readConfig(configPath(paths.home));
    const auto session = makeDesktop(choice, dispatch, hotkeyOf(config));
    OcrProcess recognizer(tools.ocr);
    WindowShots shots(session->windows(), recognizer, tools, std::chrono::seconds(5), config.exclude);
    shots.taken = session->pictures();
    ContextSources sources{
        [tools](const QString& bundle) { return browserTabInfoViaOsascript(bundle, tools.osascript); },
        [&shots](qint32 pid) { return shots.captureWindowPNG(pid); },
        [&shots](const QByteArray& png) { return shots.ocrText(png); },
        leftAloneAmong(session->windows(), config.exclude),
    };
    PulseMicrophone microphone(dispatch);
    VoskRecognizer speech(dispatch,
                          [home = paths.home, program = programFolder()] { return findSpeechFiles(home, program); });
    Desktop desktop = session->desktop();
    desktop.microphone = &microphone;
    desktop.speechRecognizer = &speech;
    AppDelegate delegate(
        desktop, dispatch,
        {paths, AgentSearch::under(paths.home), std::move(sources),
         [script = paths.binDir + u"/ovalin-replace-web.sh"_s](const QString& url) { return siteOwned(url, script); },
         std::move(config), choice.notice + session->missing()}); // one of the two is empty
    instance.listen([&delegate](const QJsonObject& message, const SingleInstance::Answer& answer) {
        delegate.serve(message, answer);
    });
    const Termination termination;
    const auto end = [&](int status) {
        delegate.applicationWillTerminate();
        dispatch.finish(status); // its workers use what is destroyed next
        LiveChild::awaitEnds();
    };
    const ServerLoss serverLoss([end] { end(1); });
    delegate.applicationDidFinishLaunching();
    const int status = QApplication::exec();
    end(status);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    keepLittleMemory();
    completeEnvironment();
    const CommandLine command = parseCommandLine(argc, argv);
    if (!command.display.isEmpty())
        qputenv("DISPLAY", command.display); // for the connections and helper programs that are not Qt's
    rememberEnvironment();
    qputenv("DBUS_FATAL_WARNINGS", "0"); // libdbus would end the process over a bus that misbehaves
    if (command.action != CommandLine::Action::Run)
        return runCommand(command, argc, argv);
    const SessionChoice choice = chooseSession(command);
    if (!choice.refusal.isEmpty()) { // Qt would abort where it finds no platform
        logLine(u"Ovalin: needs %1, but %2 — exiting"_s.arg(
            choice.wayland() ? u"a Wayland compositor"_s : u"an X server"_s, choice.refusal));
        return 1;
    }

    setVerboseLog(command.verbose);
    closeStandardInput();
    std::vector<char*> arguments = platformArguments(argc, argv, choice.wayland());
    int count = static_cast<int>(arguments.size()) - 1;
    prepareQt();
    WatchedApplication application(count, arguments.data());

    const Paths paths = Paths::under(QDir::homePath());
    const SingleInstance::Folders folders{paths.runtimeDir, paths.stateDir};
    SingleInstance instance(folders);
    if (!instance.acquire()) {
        logLine(u"Ovalin: another instance is running (pid %1) — exiting"_s.arg(instance.otherPid()));
        if (!command.background)
            std::ignore = SingleInstance::send(folders, {{u"command"_s, u"open"_s}}, std::chrono::seconds(2));
        return 0;
    }
    return run(choice, paths, instance);
}
