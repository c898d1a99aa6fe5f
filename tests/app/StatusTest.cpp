#include "app/Status.h"

#include "app/Commands.h"
#include "app/StartAtLogin.h"
#include "base/Version.h"
#include "base/children/ChildProcess.h"
#include "support/Testing.h"

TEST(Status, TellsOfTheRunningCopyWhatIsWellWhatIsOffAndWhatNobodyKnows) {
    const QTemporaryDir home;
    setShellPath(home.filePath(u"zsh"_s)); // whatever the login shell of this machine knows
    CommandCall call{Paths::under(home.path()), {}};
    call.paths.runtimeDir = home.filePath(u"run"_s);
    const QJsonObject well{
        {u"version"_s, QLatin1String(VERSION)}, {u"hotkey"_s, u"Alt+Space"_s}, {u"accessibility"_s, true}};
    struct Row {
        const char *key, *value, *fact; // of what it says; and "mark subject: words" of the fact
    };
    for (const Row& row : {Row{nullptr, "", "! running: no"},
                           {nullptr, "", "? hotkey: Alt+Space, whether"},
                           {nullptr, "", "? accessibility: not known"},
                           {nullptr, "", "? microphone: not known"},
                           {"pid", "7", "  running: yes, pid 7, version "},
                           {"version", "\"0\"", "! running: yes, pid 0, version 0"},
                           {"hotkey_status", "0", "  hotkey: Alt+Space"},
                           {"hotkey_status", "10", "! hotkey: Alt+Space, held by another"},
                           {"hotkey_status", "-2", "! hotkey: Alt+Space, which this keyboard"},
                           {"hotkey_status", "1", "? hotkey: Alt+Space, if it is bound"},
                           {"hotkey", "\"F9\"", "! hotkey: F9, though the configuration says Alt+Space"},
                           {"accessibility", "true", "  accessibility: on"},
                           {"accessibility", "false", "! accessibility: off"},
                           {"accessibility", "null", "! accessibility: no service"},
                           {"microphone", "\"\"", "  microphone: yes"},
                           {"microphone", "\"no sound\"", "- microphone: no sound"},
                           {"platform", "\"wayland\"", "  desktop: natively on Wayland"},
                           {"pid", "7", "! agent: not found"},
                           {"pid", "7", "! runtime scripts: 0 as they came; "},
                           {"pid", "7", "  disk: "},
                           {"pid", "7", "  start at login: no"}}) {
        std::optional<QJsonObject> running;
        if (row.key) {
            running = well;
            running->insert(QLatin1String(row.key),
                            QJsonDocument::fromJson("[" + QByteArray(row.value) + "]").array().first());
        }
        QStringList told;
        for (const Fact& fact : facts(call, running))
            told.append(QStringLiteral(" -!?").at(static_cast<int>(fact.state)) + u' ' + fact.subject + u": "_s +
                        fact.words);
        EXPECT_TRUE(
            std::ranges::any_of(told, [&](const QString& line) { return line.startsWith(QLatin1String(row.fact)); }))
            << row.fact << '\n'
            << told.join(u'\n').toStdString();
    }
    setShellPath(u"/bin/zsh"_s);
}

TEST(Status, AStartAtLoginThatCannotBeTakenBackIsSaid) {
    const QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", {});
    const QString entry = home.filePath(u".config/autostart/ovalin.desktop"_s);
    QDir().mkpath(entry); // nothing that can be removed like a file
    EXPECT_EQ(setStartAtLogin(false, home.path()).error(), u"cannot remove "_s + entry);
    EXPECT_EQ(startAtLoginWay(home.path()), entry);
    QDir().rmdir(entry);
    EXPECT_EQ(setStartAtLogin(false, home.path()), u"Ovalin does not start at login"_s);
}
