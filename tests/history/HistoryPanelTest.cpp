#include "panel/HistoryPanel.h"

#include "history/AskHistoryEntries.h"
#include "fakes/FakeDesktop.h"
#include "panel/ListRow.h"

#include <QKeyEvent>
#include <QSignalSpy>
#include <QTest>

namespace {

const QDateTime NOW(QDate(2026, 11, 16), QTime(19, 30), QTimeZone::utc());

QJsonObject entry(const QString& id, const QString& title, bool interrupted = false) {
    return {
        {u"id"_s, id}, {u"title"_s, title}, {u"lastAt"_s, u"2026-11-16T18:00:00Z"_s}, {u"interrupted"_s, interrupted}};
}

QList<PastConversation> past(const AskHistoryEntries& entries) {
    QList<PastConversation> conversations;
    for (const QJsonObject& each : entries) {
        if (const auto conversation = pastConversation(each, NOW))
            conversations.append(*conversation);
    }
    return conversations;
}

QList<PastConversation> many(int count) {
    AskHistoryEntries entries;
    for (int i = 0; i < count; ++i)
        entries.append(entry(QString::number(i), u"Title %1"_s.arg(i), i == 1));
    return past(entries);
}

/// The card as it is opened with these.
std::unique_ptr<HistoryPanel> listed(const QList<PastConversation>& conversations) {
    static FakePasteboard none;
    static FakePanelHost host;
    auto panel = std::make_unique<HistoryPanel>(none, host);
    panel->setConversations(conversations);
    panel->openAt({0, 0});
    return panel;
}

bool press(HistoryPanel& panel, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    return panel.handleKey(QKeyEvent(QEvent::KeyPress, key, modifiers));
}

} // namespace

TEST(HistoryPanelTest, ListsTheNewestEightInOneColumn) {
    const auto panel = listed(many(20));
    ASSERT_EQ(panel->rows().size(), 8);
    int bottom = 0;
    for (const ListRow* row : panel->rows()) {
        EXPECT_EQ(row->size(), QSize(308, 26));
        EXPECT_TRUE(
            panel->rect().adjusted(16, 16, -16, -16).contains(QRect(row->mapTo(panel.get(), QPoint()), row->size())));
        const int top = row->mapTo(panel.get(), QPoint()).y();
        EXPECT_GT(top, bottom);
        bottom = top + row->height() - 1;
    }
    EXPECT_EQ(panel->width(), 340);
    EXPECT_EQ(panel->height(), bottom + 1 + 16);
    EXPECT_EQ(panel->rows()[0]->accessibleName(), u"Title 0, 1h ago"_s);
    EXPECT_EQ(panel->rows()[1]->accessibleName(), u"Title 1, 1h ago · unfinished"_s);
}

TEST(HistoryPanelTest, AnEmptyHistorySaysSo) {
    const auto panel = listed({});
    EXPECT_GE(panel->height(), 90);
    QStringList texts;
    for (const QLabel* label : panel->findChildren<QLabel*>())
        texts += label->isVisible() ? QStringList{label->text()} : QStringList();
    EXPECT_EQ(texts, (QStringList{u"Past conversations"_s, u"No past conversations yet."_s}));
}

TEST(HistoryPanelTest, EntriesWithoutIdGetNoRowAndOddOnesNoAge) {
    const auto panel = listed(past({QJsonObject(), {{u"id"_s, 3}}, {{u"id"_s, u"a"_s}}}));
    ASSERT_EQ(panel->rows().size(), 1);
    EXPECT_EQ(panel->rows()[0]->accessibleName(), u"(conversation)"_s);
}

TEST(HistoryPanelTest, AnAgeShowsWholeBesideATitleOfAnyLength) {
    const auto picture = [](const QString& title) {
        const auto panel = listed(past({entry(u"a"_s, title, true)}));
        ListRow* row = panel->rows()[0];
        return std::pair(row->grab().toImage(), row->toolTip());
    };
    const auto [longOne, tip] = picture(QString(300, QLatin1Char('m')));
    const auto [longer, longerTip] = picture(QString(250, QLatin1Char('m')));
    EXPECT_EQ(longOne, longer) << "cut at the same place, the same age behind it";
    EXPECT_TRUE(tip.contains(QString(300, QLatin1Char('m'))));
    EXPECT_NE(longOne, picture(QString(300, QLatin1Char('n'))).first);
    EXPECT_EQ(picture(u"short"_s).second, QString());
    EXPECT_FALSE(picture(u"<img src=x>"_s.repeated(20)).second.contains(u"<img"_s));
}

TEST(HistoryPanelTest, KeysSelectOpenAndDismiss) {
    const auto panel = listed(many(3));
    const QSignalSpy tapped(panel.get(), &HistoryPanel::rowEntered), dismissed(panel.get(), &HistoryPanel::dismissed);
    EXPECT_FALSE(press(*panel, Qt::Key_Return)) << "the prompt's, as long as no row is selected";
    EXPECT_FALSE(press(*panel, Qt::Key_A));
    EXPECT_FALSE(press(*panel, Qt::Key_Down, Qt::ControlModifier));
    EXPECT_TRUE(press(*panel, Qt::Key_Up));
    EXPECT_EQ(panel->selectedRow(), panel->rows()[2]);
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(press(*panel, Qt::Key_Up));
    EXPECT_TRUE(press(*panel, Qt::Key_Down, Qt::KeypadModifier));
    EXPECT_TRUE(press(*panel, Qt::Key_Enter, Qt::KeypadModifier));
    ASSERT_EQ(tapped.size(), 1);
    EXPECT_EQ(tapped[0][0].toString(), u"1"_s);
    panel->deselect();
    EXPECT_FALSE(press(*panel, Qt::Key_Return)) << "it belongs to the prompt again";
    EXPECT_TRUE(press(*panel, Qt::Key_Escape));
    EXPECT_EQ(dismissed.size(), 1);
}

TEST(HistoryPanelTest, AClickOpensARow) {
    const auto panel = listed(many(3));
    const QSignalSpy tapped(panel.get(), &HistoryPanel::rowTapped);
    QTest::mouseClick(panel->rows()[2], Qt::LeftButton);
    ASSERT_EQ(tapped.size(), 1);
    EXPECT_EQ(tapped[0][0].toString(), u"2"_s);
}
