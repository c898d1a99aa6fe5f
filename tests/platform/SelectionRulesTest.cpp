#include "platform/selections/SelectionRules.h"
#include "platform/x11/input/ActivityClock.h"
#include "support/Testing.h"

TEST(SelectionRules, SnapshotTakesTheUsefulTargetsInOrder) {
    const struct {
        const char* why;
        QByteArrayList offered;
        QByteArrayList taken;
    } rows[] = {
        {"protocol targets and in-process pointers stay out",
         {"TIMESTAMP", "TARGETS", "MULTIPLE", "SAVE_TARGETS", "DELETE", "GTK_TEXT_BUFFER_CONTENTS", "UTF8_STRING"},
         {"UTF8_STRING"}},
        {"text before web text before files before custom before pictures",
         {"image/png", "application/x-thing", "x-special/gnome-copied-files", "text/html", "STRING", "text/uri-list"},
         {"STRING", "text/html", "x-special/gnome-copied-files", "text/uri-list", "application/x-thing", "image/png"}},
        {"of pictures the PNG only", {"image/bmp", "image/png", "image/tiff"}, {"image/png"}},
        {"a picture without PNG is not lost", {"image/jpeg", "image/bmp"}, {"image/jpeg"}},
        {"twice offered, once taken; atoms without a name skipped", {"TEXT", "", "TEXT"}, {"TEXT"}},
        {"nothing offered", {}, {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(targetsToTake(row.offered), row.taken) << row.why;
}

TEST(SelectionRules, TextIsDecodedByItsType) {
    const struct {
        const char* why;
        QByteArray type;
        int format;
        QByteArray bytes;
        QString text; // null: none
    } rows[] = {
        {"UTF-8", "UTF8_STRING", 8, "Grüße", u"Grüße"_s},
        {"STRING is Latin-1", "STRING", 8, "Gr\xfc\xdf\x65", u"Grüße"_s},
        {"object replacements go", "UTF8_STRING", 8, "a\xef\xbf\xbc\x62", u"ab"_s},
        {"counted C string end", "UTF8_STRING", 8, QByteArray("a\0", 2), u"a"_s},
        {"nothing left is no text", "UTF8_STRING", 8, "\xef\xbf\xbc", QString()},
        {"empty", "UTF8_STRING", 8, "", QString()},
        {"a picture under a text target", "image/png", 8, "\x89PNG", QString()},
        {"numbers are no text", "INTEGER", 32, QByteArray(4, 'a'), QString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(selectionText(row.type, row.format, row.bytes).value_or(QString()), row.text) << row.why;
}

TEST(SelectionRules, PrimaryIsFreshWhenSetAtOrAfterTheLastPress) {
    const struct {
        const char* why;
        std::optional<quint32> setAt;
        bool watching;
        std::optional<quint32> lastPress;
        bool fresh;
    } rows[] = {
        {"set by that very press", 1000, true, 1000, true},
        {"set later", 1001, true, 1000, true},
        {"a press since", 999, true, 1000, false},
        {"no press seen at all", 999, true, {}, true},
        {"an owner that gives up what is not selected", 0, true, 1000, true},
        {"an owner that does not say", {}, true, {}, false},
        {"nobody watches the input", 1001, false, {}, false},
        {"across the wrap of X time", 5, true, 0xfffffff0u, true},
        {"a press across the wrap", 0xfffffff0u, true, 5, false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(isPrimaryFresh(row.setAt, {row.watching, row.lastPress}), row.fresh) << row.why;
}

TEST(SelectionRules, OnlyAnUndisturbedSnapshotStandsInForTheClipboard) {
    const PasteboardSnapshot::Item item{"UTF8_STRING", "UTF8_STRING", 8, "x"};
    EXPECT_TRUE(isFaithful({true, {item}, 7}, 7));
    EXPECT_TRUE(isFaithful({false, {}, 7}, 7)) << "an unowned clipboard";
    EXPECT_FALSE(isFaithful({true, {item}, 7}, 8)) << "taken meanwhile";
    EXPECT_FALSE(isFaithful({true, {}, 7}, 7)) << "owned, but nothing could be read";
}

TEST(ActivityClock, APressIntoAWindowOfOursIsTakenBack) {
    ActivityClock clock;
    clock.pressed(100);
    clock.pressedPerhaps(200);
    clock.pressedPerhaps(210);
    EXPECT_EQ(clock.read().lastPress, 210u) << "counts until it is decided";
    clock.decide(200, true);
    clock.decide(210, false);
    EXPECT_EQ(clock.read().lastPress, 200u);
    clock.pressedPerhaps(300);
    clock.pressed(400);
    clock.decide(300, true);
    EXPECT_EQ(clock.read().lastPress, 400u) << "never goes back";
}
