#include "platform/x11/desktop/X11Settings.h"

#include "support/Testing.h"

namespace {

void pad(QByteArray& bytes) { bytes.append((4 - bytes.size() % 4) % 4, '\0'); }

QByteArray number(quint32 value, int size, bool big) {
    QByteArray bytes;
    for (int i = 0; i < size; ++i)
        bytes.append(static_cast<char>(value >> 8 * (big ? size - 1 - i : i)));
    return bytes;
}

/// A theme, a colour that is nobody's business, and whether things move.
QByteArray settings(const QByteArray& theme, quint32 animations, bool big) {
    QByteArray bytes(1, big ? 1 : 0);
    bytes += QByteArray(7, '\0') + number(3, 4, big);
    const auto head = [&](char type, const QByteArray& name) {
        bytes += QByteArray(1, type) + QByteArray(1, '\0') + number(static_cast<quint32>(name.size()), 2, big) + name;
        pad(bytes);
        bytes += number(7, 4, big);
    };
    head(1, "Net/ThemeName");
    bytes += number(static_cast<quint32>(theme.size()), 4, big) + theme;
    pad(bytes);
    head(2, "Some/Color");
    bytes += QByteArray(8, '\xff');
    head(0, "Gtk/EnableAnimations");
    bytes += number(animations, 4, big);
    return bytes;
}

} // namespace

TEST(XSettings, TellHowTheDesktopLooksAndAreReadWhereverTheyAreCut) {
    for (const bool big : {false, true}) {
        const QByteArray whole = settings("Adwaita-dark", 0, big);
        const auto found = parseXSettings(whole);
        EXPECT_EQ(found.size(), 2);
        EXPECT_EQ(found.value("Gtk/EnableAnimations", 1).toInt(), 0);
        EXPECT_TRUE(lookOf(found).dark);
        for (qsizetype length = 0; length < whole.size(); ++length)
            EXPECT_LT(parseXSettings(whole.left(length)).size(), 2) << length;
        EXPECT_TRUE(lookOf(parseXSettings(settings("HighContrast", 1, big))).contrast);
        EXPECT_FALSE(lookOf(parseXSettings(settings("Arc", 1, big))).dark);
    }
    QByteArray lies = settings("Arc", 1, false);
    lies.replace(8, 4, QByteArray(4, '\xff'));
    EXPECT_EQ(parseXSettings(lies).size(), 2) << "as many as there are";
}
