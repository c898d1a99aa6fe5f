#include "SwayBindings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QRegularExpression>

#include <algorithm>
#include <memory>
#include <optional>

#include <wordexp.h>
#include <xkbcommon/xkbcommon.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr int DEEPEST = 8; // of files that include each other

struct ModifierName {
    const char* name;
    quint8 modifier; // 0: counts, but is none of ours
};
constexpr quint8 OTHER = 128;
const ModifierName MODIFIER_NAMES[] = {{"shift", KeyChord::Shift},
                                       {"ctrl", KeyChord::Control},
                                       {"control", KeyChord::Control},
                                       {"mod1", KeyChord::Alt},
                                       {"alt", KeyChord::Alt},
                                       {"mod4", KeyChord::Super},
                                       {"super", KeyChord::Super},
                                       {"lock", OTHER},
                                       {"mod2", OTHER},
                                       {"mod3", OTHER},
                                       {"mod5", OTHER}};

/// Whether the key of this number gives the symbol in the keyboard map of the environment.
bool givesSymbol(quint32 code, quint32 symbol) {
    const std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS),
                                                                             &xkb_context_unref);
    const std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> map(
        context ? xkb_keymap_new_from_names(context.get(), nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS) : nullptr,
        &xkb_keymap_unref);
    const xkb_keysym_t* symbols = nullptr;
    return map && xkb_keymap_key_get_syms_by_level(map.get(), code, 0, 0, &symbols) == 1 && *symbols == symbol;
}

class Reader {
public:
    explicit Reader(const KeyChord& theChord)
        : chord(theChord) {}

    std::optional<QString> command;

    void read(const QString& text, const QString& folder, int depth = 0) {
        QString whole = text;
        whole.replace(u"\\\n"_s, u" "_s);
        for (const QString& line : whole.split(u'\n'))
            takeLine(line.trimmed(), folder, depth);
    }

private:
    void takeLine(const QString& line, const QString& folder, int depth) {
        if (line.isEmpty() || line.startsWith(u'#'))
            return;
        if (line == u"}") {
            if (!blocks.isEmpty())
                blocks.removeLast();
            return;
        }
        if (line.endsWith(u'{')) {
            blocks.append(withVariables(line.chopped(1).trimmed()));
            return;
        }
        // "bindsym { … }" and "mode x { … }": what is in a block continues its first line.
        QStringList words = (blocks + QStringList{line}).join(u' ').split(SPACES, Qt::SkipEmptyParts);
        if (words.value(0) == u"mode" && words.value(1).remove(u'"') == u"default")
            words.remove(0, 2);
        const QString verb = words.takeFirst();
        if (verb == u"set" && words.size() > 1) {
            const QString name = words.takeFirst();
            variables.removeIf([&name](const auto& each) { return each.first == name; });
            variables.append({name, withVariables(words.join(u' '))});
        } else if (verb == u"include") {
            include(withVariables(words.join(u' ')), folder, depth);
        } else if (verb == u"bindsym" || verb == u"bindcode") {
            while (words.value(0).startsWith(u"--"))
                words.removeFirst();
            if (words.size() > 1 && isChord(withVariables(words.takeFirst()), verb == u"bindcode"))
                command = words.join(u' ');
        }
    }

    /// The longest name first, as sway does: $mod is in $mode.
    [[nodiscard]] QString withVariables(QString text) const {
        auto longest = variables;
        std::ranges::stable_sort(longest, std::ranges::greater{}, [](const auto& each) { return each.first.size(); });
        for (const auto& [name, value] : longest)
            text.replace(name, value);
        return text;
    }

    void include(const QString& pattern, const QString& folder, int depth) {
        if (depth == DEEPEST)
            return;
        wordexp_t found{};
        const QString absolute = pattern.startsWith(u'/') || pattern.startsWith(u'~') || pattern.startsWith(u'$')
                                     ? pattern
                                     : u'\'' + QString(folder).replace(u"'"_s, u"'\\''"_s) + u"'/"_s + pattern;
        if (::wordexp(absolute.toLocal8Bit().constData(), &found, WRDE_NOCMD) != 0)
            return;
        for (size_t i = 0; i < found.we_wordc; ++i) {
            QFile file(QFile::decodeName(found.we_wordv[i]));
            if (QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly))
                read(QString::fromUtf8(file.readAll()), QFileInfo(file).absolutePath(), depth + 1);
        }
        ::wordfree(&found);
    }

    [[nodiscard]] bool isChord(const QString& combination, bool byCode) const {
        quint8 modifiers = 0;
        std::optional<QString> key;
        for (const QString& part : combination.split(u'+', Qt::SkipEmptyParts)) {
            const QByteArray name = part.toLower().toUtf8();
            const auto* found =
                std::ranges::find_if(MODIFIER_NAMES, [&](const auto& each) { return name == each.name; });
            if (found != std::end(MODIFIER_NAMES))
                modifiers |= found->modifier;
            else if (!name.startsWith("group"))
                key = key ? QString() : part; // of several keys none is ours
        }
        if (!key || modifiers != chord.modifiers)
            return false;
        if (byCode)
            return givesSymbol(key->toUInt(), chord.symbol);
        return xkb_keysym_from_name(key->toUtf8().constData(), XKB_KEYSYM_CASE_INSENSITIVE) == chord.symbol;
    }

    inline static const QRegularExpression SPACES{u"\\s+"_s};
    const KeyChord chord;
    QList<std::pair<QString, QString>> variables;
    QStringList blocks;
};

} // namespace

QByteArray swayChord(const KeyChord& chord) {
    QByteArray name;
    for (const auto& [modifier, words] : {std::pair(KeyChord::Control, "Ctrl+"), std::pair(KeyChord::Alt, "Mod1+"),
                                          std::pair(KeyChord::Shift, "Shift+"), std::pair(KeyChord::Super, "Mod4+")}) {
        if (chord.modifiers & modifier)
            name += words;
    }
    char symbol[64] = {};
    xkb_keysym_get_name(chord.symbol, symbol, sizeof symbol);
    return name + symbol;
}

std::optional<QString> boundTo(const QString& config, const QString& folder, const KeyChord& chord) {
    Reader reader(chord);
    reader.read(config, folder);
    return reader.command;
}

} // namespace ovalin
