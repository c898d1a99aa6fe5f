// The accessibility tree of an application that says what it likes.
#include "HostileApplication.h"

#include "platform/atspi/AtSpiFocus.h"
#include "platform/atspi/AtSpiPage.h"
#include "platform/atspi/AtSpiParagraphs.h"
#include "platform/atspi/AtSpiText.h"

#include <chrono>

using namespace ovalin;
using namespace ovalin::fuzz;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto LIMIT = 300ms, LATE = 8000ms; // fuzzers get what the machine has left

/// Each opening's and osascript's questions.
void askAll(const AtSpiQuery& query) {
    if (const auto page = frontPage(
            query, [](qint32) { return true; }, [] { return QStringList{u"title"_s}; }))
        require(!page->url.contains(u'\n') && !page->title.contains(u'\n'), "address and title are a line each");
    const AtSpiRef application = query.application(1).value_or(AtSpiRef{u":1.1"_s, u"/a/1"_s});
    const AtSpiRef focused = focusedObject(query, application, windowsTitled(query, application, u"title"_s));
    std::ignore = placeOf(query, focused);
    std::ignore = acrossParagraphs(query, focused, selectionOf(query, focused));
    std::ignore = query.cacheItems(application);
}

} // namespace

OVALIN_FUZZ(tree) {
    static HostileApplication application;
    static const QDBusConnection bus = application.connection();
    application.answerFrom(&in);
    const auto start = std::chrono::steady_clock::now();
    askAll({bus, QDeadlineTimer(LIMIT)});
    require(std::chrono::steady_clock::now() - start < LATE, "a reading ends at its deadline");
    application.answerFrom(nullptr);
}
