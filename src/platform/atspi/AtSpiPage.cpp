#include "AtSpiPage.h"

#include <algorithm>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

struct Candidate {
    AtSpiRef window;
    QString name;
    bool active = false;
    QList<AtSpiRef> documents;
};

QDBusPendingCall beginDocuments(const AtSpiQuery& query, const AtSpiRef& window, int count) {
    return query.beginMatches(window, {{AtSpiState::Showing}, AtSpiRole::DocumentWeb}, count);
}

std::vector<Candidate> windowsWithPages(const AtSpiQuery& query, const std::function<bool(qint32)>& isBrowser) {
    std::vector<QDBusPendingCall> windowLists;
    for (const auto& application : query.applications()) {
        if (isBrowser(application.pid))
            windowLists.push_back(query.beginChildren(application.root));
    }
    std::vector<AtSpiRef> windows;
    for (const QDBusPendingCall& list : windowLists) {
        for (const AtSpiRef& window : query.refs(list))
            windows.push_back(window);
    }
    std::vector<QDBusPendingCall> states, names, documents;
    for (const AtSpiRef& window : windows) {
        states.push_back(query.beginStates(window));
        names.push_back(query.beginName(window));
        documents.push_back(beginDocuments(query, window, 1));
    }
    std::vector<Candidate> found;
    for (size_t i = 0; i < windows.size(); ++i) {
        Candidate candidate{windows[i], query.name(names[i]), query.states(states[i]).has(AtSpiState::Active),
                            query.refs(documents[i])};
        if (!candidate.documents.isEmpty())
            found.push_back(std::move(candidate));
    }
    return found;
}

/// By the window's title, for Chromium goes on calling a window active when another one has become so. Long titles may
/// be cut by either side.
void frontFirst(std::vector<Candidate>& candidates, const QStringList& windowNames) {
    const auto rank = [&](const Candidate& candidate) {
        const auto place = std::find_if(windowNames.begin(), windowNames.end(), [&](const QString& name) {
            return QStringView(name).left(200) == QStringView(candidate.name).left(200);
        });
        return std::pair(place - windowNames.begin(), !candidate.active);
    };
    std::stable_sort(candidates.begin(), candidates.end(),
                     [&](const Candidate& a, const Candidate& b) { return rank(a) < rank(b); });
}

QString oneLine(QString text) {
    std::replace_if(
        text.begin(), text.end(), [](QChar each) { return each.category() == QChar::Other_Control; }, QLatin1Char(' '));
    return text.trimmed();
}

/// "TITLE — Mozilla Firefox" is how browsers name their windows.
QString withoutBrowserName(const QString& windowName) {
    for (const QString& separator : {u" — "_s, u" - "_s}) {
        if (const auto at = windowName.lastIndexOf(separator); at > 0)
            return windowName.left(at);
    }
    return {};
}

/// Firefox says DocURL, Chromium URI and Title. Chromium's hidden frames have an empty address.
std::optional<AtSpiPage> pageOf(const AtSpiQuery& query, const Candidate& window, const AtSpiRef& document) {
    const QDBusPendingCall nameCall = query.beginName(document);
    const auto attributes = qdbus_cast<QMap<QString, QString>>(
        query.answer(query.begin(document, "org.a11y.atspi.Document", "GetAttributes"), "a{ss}").value(0));
    const QString url = attributes.value(u"URI"_s, attributes.value(u"DocURL"_s));
    if (url.isEmpty())
        return std::nullopt;
    QString title = attributes.value(u"Title"_s);
    if (title.isEmpty())
        title = query.name(nameCall);
    if (title.isEmpty()) // Firefox's pages have no name yet when they are looked at for the first time
        title = withoutBrowserName(window.name);
    return AtSpiPage{oneLine(url), oneLine(title)};
}

} // namespace

std::optional<AtSpiPage> frontPage(const AtSpiQuery& query, const std::function<bool(qint32)>& isBrowser,
                                   const std::function<QStringList()>& windowNames) {
    std::vector<Candidate> candidates = windowsWithPages(query, isBrowser);
    if (candidates.size() > 1)
        frontFirst(candidates, windowNames());
    for (const Candidate& candidate : candidates) {
        if (auto page = pageOf(query, candidate, candidate.documents.first()))
            return page;
        // Asking for several makes the browser walk through the whole page: only when the first was none.
        const QList<AtSpiRef> more = query.refs(beginDocuments(query, candidate.window, 8));
        for (const AtSpiRef& document : more.mid(1)) {
            if (auto page = pageOf(query, candidate, document))
                return page;
        }
    }
    return std::nullopt;
}

} // namespace ovalin
