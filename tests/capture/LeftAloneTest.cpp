#include "capture/LeftAlone.h"

#include "fakes/FakeDesktop.h"

TEST(LeftAlone, IsWhatHoldsSecretsOrTheUserHasExcludedByAnyOfItsNames) {
    const struct {
        const char *name, *identifier, *title;
        QStringList exclude;
        bool alone;
    } rows[] = {
        {"Secrets", "org.gnome.World.Secrets", "", {}, true},
        {"x", "polkit-gnome-authentication-agent-1", "", {}, true},
        {"Bitwarden", "x", "", {}, true},
        {"x", "Gcr-Prompter", "", {}, true},
        {"Firefox", "org.mozilla.firefox", "KeePassXC - Wikipedia", {}, false},
        {"Secrets of the sea", "game", "", {}, false},
        {"Diary", "x", "", {u"diar?"_s}, true},
        {"Diary", "x", "", {u"diary?"_s}, false},
        {"x", "org.diary.App", "", {u"shop"_s, u"*.DIARY.*"_s}, true},
        {"x", "y", "two\nlines/of a bank", {u"*bank"_s}, true},
        {"x", "y", "my bank account", {u"bank"_s}, false},
        {"x", "y", "price [a-z]", {u"price [a-z]"_s}, true},
        {"x", "y", "price b", {u"price [a-z]"_s}, false},
    };
    for (const auto& row : rows) {
        const auto text = [](const char* words) { return QString::fromLatin1(words); };
        const FrontApplication front{text(row.name), text(row.identifier), 1, {1}, text(row.title)};
        EXPECT_EQ(whyLeftAlone(front, true, row.exclude).isEmpty(), !row.alone) << row.name << row.title;
    }
    EXPECT_FALSE(whyLeftAlone({}, false, {}).isEmpty()) << "nobody knows what it is";
    EXPECT_TRUE(whyLeftAlone({}, true, {}).isEmpty()) << "the bare desktop";
}

TEST(LeftAlone, AWindowIsAskedForAgainUnderTheOpenPanel) {
    FakeWindows windows;
    windows.list = {{{1}, 7, 0, {}, u"firefox"_s, u"Mail"_s}, {{2}, 8, 0, {}, u"firefox"_s, u"My bank"_s}};
    EXPECT_FALSE(leftAloneAmong(windows, {})) << "nothing to ask for";
    const struct {
        const char *exclude, *page;
        quint64 window;
        bool alone;
    } rows[] = {{"*bank", "", 1, false},  {"*bank", "", 2, true}, {"*bank", "The bank", 1, true},
                {"firefox", "", 1, true}, {"mail", "", 1, true},  {"mail", "", 3, false},
                {"kee*", "", 1, false}};
    for (const auto& row : rows)
        EXPECT_EQ(
            leftAloneAmong(windows, {QString::fromLatin1(row.exclude)})({row.window}, QString::fromLatin1(row.page)),
            row.alone)
            << row.exclude << row.window;
}
