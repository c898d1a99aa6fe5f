// What KWin says and wants, without one: it is driven by scripts/check-compositors.
#include "SwaySide.h"

#include "platform/wayland/kwin/KwinHotKeys.h"
#include "platform/wayland/kwin/KwinPictures.h"
#ifdef OVALIN_PLASMA
#include "platform/wayland/plasma/FakeKeys.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>
#endif

TEST(KWin, ThePictureIsTakenOnlyWhenItIsWhole) {
    const QVariantMap two{{u"type"_s, u"raw"_s},
                          {u"width"_s, 1U},
                          {u"height"_s, 2U},
                          {u"stride"_s, 8U},
                          {u"format"_s, 5U}}; // a byte order of its own, and a margin
    const QByteArray bytes = QByteArray::fromHex("112233ff"
                                                 "00000000"
                                                 "445566ff"
                                                 "00000000");
    const QImage whole = kwinPicture(two, bytes);
    ASSERT_EQ(whole.size(), QSize(1, 2));
    EXPECT_EQ(whole.pixel(0, 1), qRgb(0x66, 0x55, 0x44));
    const struct {
        const char* name;
        QVariant value;
    } wrong[] = {{"type", u"png"_s}, {"width", 3U},  {"width", 0U},  {"height", 3U},
                 {"height", 1U},     {"stride", 4U}, {"format", 3U}, {"format", 4711U}};
    for (const auto& row : wrong) {
        QVariantMap described = two;
        described[QString::fromLatin1(row.name)] = row.value;
        EXPECT_TRUE(kwinPicture(described, bytes).isNull()) << row.name;
    }
    EXPECT_TRUE(kwinPicture(two, bytes.chopped(1)).isNull());
}

TEST(KWin, TheHotkeyIsTheSameKeyInItsNumbers) {
    const struct {
        const char* chord;
        QKeyCombination key;
    } rows[] = {{"Alt+Space", Qt::ALT | Qt::Key_Space},
                {"Super+F9", Qt::META | Qt::Key_F9},
                {"Ctrl+Shift+a", Qt::CTRL | Qt::SHIFT | Qt::Key_A},
                {"Alt+PgUp", Qt::ALT | Qt::Key_PageUp},
                {"Ctrl+Enter", Qt::CTRL | Qt::Key_Return},
                {"Ctrl++", Qt::CTRL | Qt::Key_Plus},
                {"Pause", QKeyCombination(Qt::Key_Pause)},
                {"Super+Del", Qt::META | Qt::Key_Delete}};
    for (const auto& row : rows)
        EXPECT_EQ(qtKey(*KeyChord::parse(QString::fromLatin1(row.chord))), row.key.toCombined()) << row.chord;
}

#ifdef OVALIN_PLASMA
TEST(KWin, ALetterIsPressedWhereTheUsersLayoutsHaveIt) {
    const struct {
        const char* layouts;
        std::optional<quint32> key; // for V
    } rows[] = {{"us", KEY_V}, {"de,ru", KEY_V}, {"us,us(dvorak)", {}}, {"us(dvorak)", KEY_DOT}, {"ru", {}}};
    for (const auto& row : rows) {
        const QByteArray written = row.layouts;
        QByteArrayList layouts, variants;
        for (const QByteArray& each : written.split(',')) {
            layouts += each.split('(').first();
            variants += each.contains('(') ? each.split('(').last().chopped(1) : QByteArray();
        }
        const QByteArray layout = layouts.join(','), variant = variants.join(',');
        xkb_rule_names names{};
        names.layout = layout.constData();
        names.variant = variant.constData();
        xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
        xkb_keymap* map = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
        EXPECT_EQ(keyInLayouts(map, KEY_V), row.key) << row.layouts;
        EXPECT_EQ(keyInLayouts(map, KEY_INSERT), std::optional<quint32>(KEY_INSERT)) << row.layouts;
        xkb_keymap_unref(map);
        xkb_context_unref(context);
    }
}
#endif
