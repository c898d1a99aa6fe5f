#include "KeyChord.h"

#include <QStringList>

#include <algorithm>
#include <array>

#include <xkbcommon/xkbcommon.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

struct Name {
    const char* written; ///< lower case
    quint8 modifier;
};

// The first of each is ours.
constexpr std::array MODIFIERS{
    Name{"ctrl", KeyChord::Control}, Name{"alt", KeyChord::Alt},         Name{"shift", KeyChord::Shift},
    Name{"super", KeyChord::Super},  Name{"control", KeyChord::Control}, Name{"primary", KeyChord::Control},
    Name{"option", KeyChord::Alt},   Name{"opt", KeyChord::Alt},         Name{"mod1", KeyChord::Alt},
    Name{"meta", KeyChord::Super},   Name{"win", KeyChord::Super},       Name{"mod4", KeyChord::Super}};

struct Alias {
    const char* written; ///< lower case
    quint32 symbol;
};
constexpr std::array ALIASES{Alias{"enter", XKB_KEY_Return}, Alias{"esc", XKB_KEY_Escape},
                             Alias{"del", XKB_KEY_Delete},   Alias{"ins", XKB_KEY_Insert},
                             Alias{"pgup", XKB_KEY_Page_Up}, Alias{"pgdown", XKB_KEY_Page_Down}};

quint8 modifierNamed(const QString& word) {
    const auto* const found =
        std::ranges::find_if(MODIFIERS, [&](const Name& each) { return word == QLatin1String(each.written); });
    return found == MODIFIERS.end() ? quint8{0} : found->modifier;
}

quint32 symbolNamed(const QString& word) {
    const QString lower = word.toLower();
    const auto* const alias =
        std::ranges::find_if(ALIASES, [&](const Alias& each) { return lower == QLatin1String(each.written); });
    if (alias != ALIASES.end())
        return alias->symbol;
    const auto letters = lower.toUcs4();
    if (letters.size() == 1)
        return xkb_utf32_to_keysym(letters.front());
    return xkb_keysym_from_name(word.toUtf8().constData(), XKB_KEYSYM_CASE_INSENSITIVE);
}

bool isModifierKey(quint32 symbol) {
    return (symbol >= XKB_KEY_Shift_L && symbol <= XKB_KEY_Hyper_R) ||
           (symbol >= XKB_KEY_ISO_Lock && symbol <= XKB_KEY_ISO_Level5_Lock) || symbol == XKB_KEY_Mode_switch ||
           symbol == XKB_KEY_Num_Lock;
}

/// Nothing is typed, moved or closed with such a key.
bool standsAlone(quint32 symbol) {
    constexpr quint32 MULTIMEDIA = 0x10080000, BEYOND = 0x10090000; // XF86 keys
    return (symbol >= XKB_KEY_F1 && symbol <= XKB_KEY_F35) || (symbol >= MULTIMEDIA && symbol < BEYOND) ||
           symbol == XKB_KEY_Pause || symbol == XKB_KEY_Print || symbol == XKB_KEY_Scroll_Lock ||
           symbol == XKB_KEY_Menu;
}

} // namespace

QString KeyChord::name() const {
    QString text;
    for (const Name& each : MODIFIERS) {
        QString word = QString::fromLatin1(each.written);
        word[0] = word[0].toUpper();
        if (modifiers & each.modifier && !text.contains(word) && &each < &MODIFIERS[4])
            text += word + u'+';
    }
    char name[64] = {};
    const quint32 letter = xkb_keysym_to_utf32(symbol);
    xkb_keysym_get_name(symbol, name, sizeof name);
    QString key = letter > 0x20 && letter != 0x7f ? QString::fromUcs4(reinterpret_cast<const char32_t*>(&letter), 1)
                                                  : QString::fromLatin1(name);
    key[0] = key[0].toUpper();
    return text + key;
}

tl::expected<KeyChord, QString> KeyChord::parse(const QString& written) {
    KeyChord chord{0, 0};
    QString text = written.trimmed();
    if (text.endsWith(u"++"_s))
        text.replace(text.size() - 1, 1, u"plus"_s);
    QStringList words = text.split(u'+');
    const QString key = words.takeLast().trimmed();
    for (const QString& word : std::as_const(words)) {
        const quint8 modifier = modifierNamed(word.trimmed().toLower());
        if (!modifier)
            return tl::unexpected(u"“%1” is no key"_s.arg(written));
        chord.modifiers |= modifier;
    }
    chord.symbol = symbolNamed(key);
    if (chord.symbol == XKB_KEY_NoSymbol || isModifierKey(chord.symbol))
        return tl::unexpected(u"“%1” is no key"_s.arg(written));
    if (!(chord.modifiers & (Control | Alt | Super)) && !standsAlone(chord.symbol))
        return tl::unexpected(u"“%1” needs Ctrl, Alt or Super beside it"_s.arg(written));
    return chord;
}

KeyChord hotkeyOf(Config& config) {
    auto chord = KeyChord::parse(config.hotkey.left(40));
    if (!chord) {
        config.complaints.prepend(u"the hotkey %1 — Alt+Space is used"_s.arg(chord.error()));
        chord = KeyChord();
    }
    for (const QString& earlier : config.hotkeys.first(std::max<qsizetype>(config.hotkeys.size() - 1, 0))) {
        if (const auto read = KeyChord::parse(earlier.left(40)); !read)
            config.complaints += u"the hotkey %1 — a later line counts"_s.arg(read.error());
    }
    config.hotkey = chord->name();
    return *chord;
}

} // namespace ovalin
