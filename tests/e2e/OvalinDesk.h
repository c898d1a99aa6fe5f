#pragma once

#include "support/SoundServer.h"
#include "support/TestDesk.h"

#include <QElapsedTimer>
#include <QSet>
#include <QRect>

namespace ovalin {

/// A desktop on which the real program runs, driven from outside as a user would. Its router does nothing.
class OvalinDesk : public TestDesk {
public:
    explicit OvalinDesk(const Options& options = {});

    /// Ends the program; whatever a sanitizer has found in it fails the test.
    ~OvalinDesk();

    /// Starts the program and waits for its ready line. Extra arguments go to it.
    void startOvalin(const QStringList& arguments = {});
    /// The same with a copy of the program whose helper program `tool` is this script, or is missing when it is empty.
    /// In the script, $TOOLS is the folder of the real ones.
    void startOvalinWith(const QString& tool, const QByteArray& script);
    [[nodiscard]] QProcess& ovalin() { return *program; }
    /// The program's exit status and output, for a second copy or a command; it is waited for.
    struct Run {
        int status = -1;
        QString output;
    };
    [[nodiscard]] Run runOvalin(const QStringList& arguments) const;

    /// What the program has logged so far.
    [[nodiscard]] QString log() const { return TestDesk::log(u"ovalin"_s); }
    bool waitForLog(const QString& text, double seconds = 15) const;

    /// A text editor (GTK) with this text; returns its window.
    QString openEditor(const QByteArray& text);

    void pressKey(const QString& key) const { xdotool({u"key"_s, key}); }
    /// Alt+Space, once the last such press is long enough ago not to count as the same.
    void pressHotkey() const {
        pressHotkey([this] { pressKey(u"alt+space"_s); });
    }
    void pressHotkey(const std::function<void()>& press) const;
    void type(const QString& text) const { xdotool({u"type"_s, u"--delay"_s, u"8"_s, text}); }
    /// The text, and Return.
    void enter(const QString& text) const {
        type(text);
        pressKey(u"Return"_s);
    }
    /// Whether the hotkey opens the panel.
    [[nodiscard]] testing::AssertionResult opensPanel() const;
    /// The panel's window while it shows, else empty.
    [[nodiscard]] QString panelWindow() const;
    bool waitForPanel(bool open, double seconds = 10) const;

    /// Where a window is on the screen; null when it is gone.
    [[nodiscard]] QRect frameOf(const QString& window) const;
    /// Saves the screen as NAME.png where OVALIN_TEST_PICTURES says, for a look at it; nothing otherwise.
    void keepPicture(const QString& name) const;

    /// Speaks these words into the listening microphone; whether the program made an utterance of them, and is done.
    [[nodiscard]] bool hears(SoundServer& sound, const QString& words) const;

    /// A press of the button between Cancel and Submit.
    void pressReplace() const;
    /// The names of all that the program shows, as a screen reader gets them.
    [[nodiscard]] QSet<QString> accessibleNames() const;

    [[nodiscard]] QString activeWindow() const { return xdotool({u"getactivewindow"_s}); }
    [[nodiscard]] QString primary() const { return selection("primary"); }

    /// All queue files, with those the router is done with.
    [[nodiscard]] std::vector<QJsonObject> requests() const;
    /// The queue file of the only request, or of the one with this instruction, once it is there and whole.
    [[nodiscard]] QJsonObject waitForRequest(const std::optional<QString>& prompt = {}, double seconds = 15) const;
    [[nodiscard]] QString systemDir() const { return path(u"CLAUDE/system"_s); }

    /// Puts an executable file there.
    void installScript(const QString& relative, const QByteArray& text) const { writeProgram(path(relative), text); }

private:
    void startBinary(const QString& binary, const QStringList& arguments);

    QProcess* program = nullptr;
    mutable QElapsedTimer sinceHotkey;
};

} // namespace ovalin
