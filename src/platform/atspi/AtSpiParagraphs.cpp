#include "AtSpiParagraphs.h"

#include "AtSpiText.h"

#include <algorithm>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr int MOST = 200; // paragraphs to each side; more do not fit into the time

bool isParagraph(uint role) { return role == AtSpiRole::Paragraph || role == AtSpiRole::Heading; }

/// The selection of one paragraph, and whether it begins and ends with the paragraph.
struct Paragraph {
    QString text;
    bool selected = false;
    bool fromStart = false;
    bool toEnd = false;
};

Paragraph readParagraph(const AtSpiQuery& query, const AtSpiRef& object) {
    const QDBusPendingCall countAsked = query.begin(object, "org.a11y.atspi.Text", "GetNSelections");
    const QDBusPendingCall lengthAsked =
        query.begin(object, "org.freedesktop.DBus.Properties", "Get", {u"org.a11y.atspi.Text"_s, u"CharacterCount"_s});
    const QDBusPendingCall rangeAsked = query.begin(object, "org.a11y.atspi.Text", "GetSelection", {0});
    const int count = query.answer(countAsked, "i").value(0).toInt();
    const int length = query.property(lengthAsked).toInt();
    const QVariantList range = query.answer(rangeAsked, "ii");
    if (count < 1 || range.isEmpty())
        return {};
    const auto [start, end] = std::minmax({range[0].toInt(), range[1].toInt()});
    return {selectionOf(query, object).text, start < end || length == 0, start == 0, end >= length};
}

struct Sibling {
    AtSpiRef parent;
    int index = -1;
    int step; // 1: down the document, -1: up
};

/// What is selected from the next sibling on.
struct Beyond {
    QStringList texts; // in the order read
    bool all = false;  // its end was seen
};

Beyond selectedBeyond(const AtSpiQuery& query, Sibling at) {
    Beyond beyond;
    for (int i = 0; i < MOST && !query.expired(); ++i) {
        at.index += at.step;
        const AtSpiRef object = query.ref(query.begin(at.index < 0 ? AtSpiRef{} : at.parent,
                                                      "org.a11y.atspi.Accessible", "GetChildAtIndex", {at.index}));
        // Paragraphs that are not on the screen are not in the tree.
        if (object.isNull() || !isParagraph(query.role(object)))
            return beyond;
        const Paragraph paragraph = readParagraph(query, object);
        if (paragraph.selected)
            beyond.texts << paragraph.text;
        if (!paragraph.selected || !(at.step > 0 ? paragraph.toEnd : paragraph.fromStart)) {
            beyond.all = !query.expired();
            return beyond;
        }
    }
    return beyond;
}

} // namespace

AccessibleSelection acrossParagraphs(const AtSpiQuery& query, const AtSpiRef& paragraph, AccessibleSelection found) {
    using Kind = AccessibleSelection::Kind;
    if ((found.kind != Kind::Text && found.kind != Kind::None) || !isParagraph(query.role(paragraph)))
        return found;
    const Paragraph own = readParagraph(query, paragraph);
    // The caret stands at the start of the next paragraph when whole ones are selected.
    const bool above = !own.selected || own.fromStart, below = !own.selected || own.toEnd;
    Sibling at{
        query.parent(query.beginParent(paragraph)),
        query.answer(query.begin(paragraph, "org.a11y.atspi.Accessible", "GetIndexInParent"), "i").value(0, -1).toInt(),
        -1};
    const Beyond before = above ? selectedBeyond(query, at) : Beyond{{}, true};
    at.step = 1;
    const Beyond after = below ? selectedBeyond(query, at) : Beyond{{}, true};
    QStringList all(before.texts.crbegin(), before.texts.crend());
    if (own.selected)
        all << own.text;
    all << after.texts;
    found.part = !all.isEmpty() && !(before.all && after.all);
    if (!all.isEmpty()) {
        found.kind = Kind::Text;
        found.text = all.join(QLatin1Char('\n'));
    }
    return found;
}

} // namespace ovalin
