#include "SwayHotKeys.h"

#include "base/Log.h"

#include <QFileInfo>

#include <chrono>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds FIRST_REPEAT{750}; // sway's is 600
const QByteArray PRESS = "nop ovalin", RELEASE = "nop ovalin released";

} // namespace

SwayHotKeys::SwayHotKeys(SwayIpc& theSway, std::function<void(EventThread::Task)> thePost, Dispatch& theDispatch,
                         const KeyChord& theChord)
    : sway(theSway)
    , post(std::move(thePost))
    , dispatch(theDispatch)
    , chord(theChord) {}

HotKeyState SwayHotKeys::registerHotKey() {
    post([this] {
        wanted = true;
        look();
    });
    return state;
}

void SwayHotKeys::unregisterHotKey() {
    post([this] {
        wanted = false;
        if (std::exchange(bound, false))
            sway.command("unbindsym " + swayChord(chord) + "; unbindsym --release " + swayChord(chord));
    });
}

void SwayHotKeys::look() {
    if (!sway.connected())
        return become(HotKeyState::NoDesktop);
    if (bound)
        return;
    sway.ask(SwayIpc::Ask::Version, {}, [this](const QJsonDocument& version) {
        const QString file = version[u"loaded_config_file_name"].toString();
        sway.ask(SwayIpc::Ask::Config, {},
                 [this, file](const QJsonDocument& config) { decide(config[u"config"].toString(), file); });
    });
}

void SwayHotKeys::decide(const QString& config, const QString& file) {
    if (!wanted || bound)
        return;
    if (const auto command = boundTo(config, QFileInfo(file).absolutePath(), chord))
        return become(command->contains(u"ovalin"_s) ? HotKeyState::ByCompositor : HotKeyState::Taken);
    bound = true; // before the answer: a question that crosses this one must not take it for somebody's
    sway.command("bindsym " + swayChord(chord) + ' ' + PRESS + "; bindsym --release " + swayChord(chord) + ' ' +
                     RELEASE,
                 [this](bool done) {
                     bound = done;
                     become(done ? HotKeyState::Registered : HotKeyState::NoKey);
                 });
}

void SwayHotKeys::become(HotKeyState now) {
    if (state.exchange(now) == now)
        return;
    dispatch.toMain([this, guard = QPointer<QObject>(&context)] {
        if (guard && shouldReassert)
            shouldReassert();
    });
}

void SwayHotKeys::told(SwayIpc::Event event, const QJsonObject& what) {
    if (event == SwayIpc::Event::Workspace && what[u"change"].toString() == u"reload") {
        bound = false; // what was bound at run time is gone with the old configuration
        if (wanted)
            look();
    }
    if (event != SwayIpc::Event::Binding)
        return;
    const QString command = what[u"binding"][u"command"].toString();
    if (command == QLatin1String(RELEASE))
        downSince.reset();
    if (command != QLatin1String(PRESS))
        return;
    // The release is not told when a modifier goes up first.
    const Deadline now = std::chrono::steady_clock::now();
    const auto before = std::exchange(downSince, now);
    if (!before || now - *before > FIRST_REPEAT)
        fire();
}

void SwayHotKeys::fire() {
    const auto time =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch());
    dispatch.toMain([this, guard = QPointer<QObject>(&context), at = static_cast<quint32>(time.count())] {
        if (guard && pressed)
            pressed(at);
    });
}

} // namespace ovalin
