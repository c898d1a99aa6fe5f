#include "panel/CapturePanel.h"
#include "panel/HistoryPanel.h"
#include "panel/RequestsPanel.h"

#include "fakes/FakeDesktop.h"
#include "support/PanelParts.h"

#include <QTextBlock>

namespace {

/// All that a window says, to eyes and to readers: texts, tool tips, names and descriptions.
QStringList saidBy(const QWidget& window) {
    QStringList said;
    for (const QWidget* part : window.findChildren<QWidget*>()) {
        said += {part->toolTip(), part->accessibleName(), part->accessibleDescription()};
        if (const auto* label = qobject_cast<const QLabel*>(part)) {
            EXPECT_EQ(label->textFormat(), Qt::PlainText) << label->text().toStdString();
            said += label->text();
        }
        const auto* view = qobject_cast<const QTextEdit*>(part);
        const auto* plain = qobject_cast<const QPlainTextEdit*>(part);
        const QTextDocument* document = view ? view->document() : plain ? plain->document() : nullptr;
        for (QTextBlock block = document ? document->begin() : QTextBlock(); block.isValid(); block = block.next()) {
            said += block.text();
            for (auto it = block.begin(); !it.atEnd(); ++it)
                said += it.fragment().charFormat().toolTip();
        }
    }
    return said;
}

} // namespace

// A title of a window, a result of an agent, an entry of another tool: whoever writes it must not speak as the panel.
TEST(ForeignText, IsShownPlainAndBoundedWhereverItAppears) {
    const QString forged = u"<b>Mark</b> \u202edetnarg\x1b[2J\u2066\n● sent\u2028and e"_s +
                           QString(3000, QChar(0x301)) + u"\n"_s + QString(30'000, u'x');
    const PastRequest request{u"id"_s, forged, forged, forged, PastRequest::State::Working, forged, forged, true};
    FakePasteboard pasteboard;
    FakePanelHost host;
    CapturePanel panel(pasteboard, host);
    HistoryPanel history(pasteboard, host);
    RequestsPanel list(pasteboard, host), detail(pasteboard, host);
    PanelParts parts(panel);
    const struct {
        const char* place;
        const QWidget& window;
        std::function<void()> show;
        qsizetype times; // it says the words, tool tips and names among them
        qsizetype longest;
        bool byLines;
    } rows[] = {
        {"status", panel, [&] { panel.say(forged); }, 3, 600, false},
        {"note", panel, [&] { panel.note(forged); }, 3, 600, false},
        {"tool tip of a button", panel, [&] { panel.setReplaceButton(u"Replace"_s, false, forged); }, 5, 1200, false},
        {"what is announced", panel,
         [&] {
             panel.announce(forged);
             waitUntil([&] { return saidBy(panel).filter(u"Mark"_s).size() > 6; });
         },
         7, 25'000, false},
        {"excerpt", panel, [&] { panel.showExcerpt(forged, false); }, 8, 50'000, true},
        {"question", panel, [&] { panel.chatView().appendTranscript(Speaker::You, forged); }, 9, 50'000, true},
        {"link", panel,
         [&] {
             panel.chatView().beginAnswer();
             panel.chatView().appendAnswer(u"link"_s);
             panel.chatView().linkify({{0, 4, forged, u"https://"_s + forged}});
             parts.transcriptView->flush();
         },
         11, 50'000, true},
        {"past conversation", history,
         [&] {
             history.setConversations({{u"id"_s, forged, forged, false, {}, {}, {}}});
         },
         2, 1600, false},
        {"requests", list,
         [&] {
             list.setRequests({{request}, 0, {}});
         },
         2, 1600, false},
        {"what cannot be listed", list,
         [&] {
             list.setRequests({{}, 0, forged});
         },
         1, 1600, false},
        {"request", detail,
         [&] {
             detail.showDetail({request, forged, forged, forged, forged, forged, {}});
         },
         6, 25'000, true},
    };
    for (const auto& row : rows) {
        row.show();
        const QStringList said = saidBy(row.window).filter(u"Mark"_s);
        EXPECT_GE(said.size(), row.times) << row.place;
        for (const QString& text : said) {
            const bool tip = text.startsWith(u"<qt>"_s);
            EXPECT_TRUE(text.contains(tip ? u"&lt;b&gt;Mark&lt;/b&gt;"_s : u"<b>Mark</b>"_s)) << row.place;
            EXPECT_FALSE(text.contains(QChar(0x202e)) || text.contains(QChar(0x1b))) << row.place;
            EXPECT_LE(text.size(), row.longest) << row.place;
            EXPECT_TRUE(row.byLines || !text.contains(u'\n')) << row.place;
        }
    }
}
