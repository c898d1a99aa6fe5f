#include "SelectionRules.h"

#include <algorithm>
#include <array>

namespace ovalin {

namespace {

constexpr QChar OBJECT_REPLACEMENT(0xFFFC);

// Protocol of the selection itself (ICCCM 2.6.2) and of clipboard managers; and GTK's pointer into its own process.
constexpr std::array NEVER_TAKEN = {
    "TARGETS",          "MULTIPLE",      "TIMESTAMP",       "SAVE_TARGETS",      "DELETE",
    "INSERT_SELECTION", "CLIENT_WINDOW", "INSERT_PROPERTY", "CLIPBOARD_MANAGER", "GTK_TEXT_BUFFER_CONTENTS"};

constexpr std::array PLAIN_TEXT = {"UTF8_STRING", "STRING", "TEXT", "COMPOUND_TEXT"};

template <class Names>
bool contains(const Names& names, const QByteArray& name) {
    return std::ranges::any_of(names, [&name](const char* each) { return name == each; });
}

bool isImage(const QByteArray& target) { return target.startsWith("image/"); }

int order(const QByteArray& target) {
    if (contains(PLAIN_TEXT, target) || target.startsWith("text/plain"))
        return 0;
    if (target.startsWith("text/html"))
        return 1;
    if (target == "text/uri-list" || target.startsWith("x-special/"))
        return 2;
    return isImage(target) ? 4 : 3;
}

} // namespace

const QByteArrayList& textTargets() {
    static const QByteArrayList targets{"UTF8_STRING", "text/plain;charset=utf-8", "STRING"};
    return targets;
}

std::vector<PasteboardSnapshot::Item> textContent(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    std::vector<PasteboardSnapshot::Item> content;
    for (const char* name : {"UTF8_STRING", "text/plain;charset=utf-8", "text/plain"})
        content.push_back({name, name, 8, utf8});
    content.push_back({"TEXT", "UTF8_STRING", 8, utf8});
    content.push_back({"STRING", "STRING", 8, text.toLatin1()});
    return content;
}

std::optional<QString> selectionText(const QByteArray& type, int format, const QByteArray& bytes) {
    // Some owners answer every request with what they have, a picture for one.
    if (format != 8 || (type != "UTF8_STRING" && type != "STRING" && !type.startsWith("text/")))
        return {};
    QString text = type == "STRING" ? QString::fromLatin1(bytes) : QString::fromUtf8(bytes);
    while (text.endsWith(QChar::Null)) // some owners count the C string's end
        text.chop(1);
    text.remove(OBJECT_REPLACEMENT);
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

QByteArrayList targetsToTake(const QByteArrayList& offered) {
    QByteArrayList taken;
    const bool png = offered.contains("image/png");
    bool haveImage = false;
    for (const QByteArray& target : offered) {
        if (target.isEmpty() || taken.contains(target) || contains(NEVER_TAKEN, target))
            continue;
        if (isImage(target)) {
            // A picture that does not come as PNG would be lost: then the owner's first format.
            if (haveImage || (png && target != "image/png"))
                continue;
            haveImage = true;
        }
        taken.push_back(target);
    }
    std::ranges::stable_sort(taken, {}, order);
    return taken;
}

QByteArrayList furtherPictures(const QByteArrayList& offered) {
    const QByteArrayList taken = targetsToTake(offered);
    QByteArrayList further;
    for (const QByteArray& target : offered) {
        if (isImage(target) && !taken.contains(target) && !further.contains(target))
            further.push_back(target);
    }
    return further;
}

bool isFaithful(const PasteboardSnapshot& snapshot, quint64 changeCountAfter) {
    return snapshot.changeCount == changeCountAfter && (!snapshot.owned || !snapshot.items.empty());
}

bool needsRestore(const PasteboardSnapshot& snapshot, quint64 changeCountNow) {
    return snapshot.changeCount != changeCountNow;
}

} // namespace ovalin
