#include "panel/Announcer.h"

#include "panel/CapturePanel.h"
#include "panel/HowtoPanel.h"
#include "views/ChatView.h"

#include "fakes/FakeDesktop.h"

#include <QAccessible>
#include <QSignalSpy>
#include <QTest>
#include <private/qguiapplication_p.h>
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>

namespace {

QStringList said;

void hear(QAccessibleEvent* event) {
    QAccessibleInterface* const about = event->accessibleInterface();
    if (event->type() == QAccessible::ObjectShow && about && about->role() == QAccessible::Notification)
        said.append(about->text(QAccessible::Name));
}

struct AnnouncerTest : testing::Test {
    FakePasteboard pasteboard;
    AnnouncerTest() {
        said.clear();
        QAccessible::installUpdateHandler(hear);
        QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(true);
        installAccessibleRoles();
    }
    ~AnnouncerTest() override {
        QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(false);
        QAccessible::installUpdateHandler(nullptr);
    }
};

} // namespace

TEST_F(AnnouncerTest, WhatHappensIsSaidOnceAndAnAnswerBySentence) {
    FakePanelHost host;
    CapturePanel panel(pasteboard, host);
    panel.showMode(false);
    panel.show();
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&panel)->role(), QAccessible::Window);
    const std::function<void()> steps[] = {
        [&] { panel.say(u"sent"_s); }, [&] { panel.say(u"sent"_s); }, [&] { panel.say({}); },
        [&] { panel.showMode(true); }, [&] { panel.showMode(true); }, [&] { panel.setMicState(true, {}); },
    };
    for (const auto& step : steps)
        step();
    waitUntil([] { return said.size() == 3; });
    EXPECT_EQ(said, (QStringList{u"sent"_s, u"Ask"_s, u"listening — click the mic to stop"_s}));
    said.clear();
    panel.revealTranscript();
    panel.chatView().beginAnswer();
    panel.setBusy(CapturePanel::Busy::Answering, true);
    for (const char* piece :
         {"The sky ", "is blue. It ", "scatters 3.", "14 waves. **End** [there](https://example.org/a_b)"})
        panel.chatView().appendAnswer(QString::fromUtf8(piece));
    waitUntil([] { return !said.isEmpty(); });
    EXPECT_EQ(said, QStringList{u"The sky is blue."_s});
    panel.setBusy(CapturePanel::Busy::Answering, false);
    waitUntil([] { return said.size() == 2; });
    EXPECT_EQ(said.mid(1), QStringList{u"It scatters 3.14 waves. End there"_s});
}

TEST_F(AnnouncerTest, TabLeadsIntoTheCardOfHelpAndOut) {
    const struct {
        std::vector<Qt::Key> keys;
        int dismissed, passed; // on to the panel
    } rows[] = {
        {{Qt::Key_Return}, 0, 1},
        {{Qt::Key_Tab, Qt::Key_Down, Qt::Key_PageUp}, 0, 0},
        {{Qt::Key_Tab, Qt::Key_Return}, 1, 0},
        {{Qt::Key_Tab, Qt::Key_Escape}, 1, 0},
        {{Qt::Key_Tab, Qt::Key_A, Qt::Key_Return}, 0, 2},
        {{Qt::Key_Tab, Qt::Key_Tab, Qt::Key_Tab}, 0, 1},
    };
    struct Counter final : QObject {
        int keys = 0;
        bool eventFilter(QObject*, QEvent* event) override {
            keys += event->type() == QEvent::KeyPress;
            return false;
        }
    };
    for (const auto& row : rows) {
        said.clear();
        QWidget window;
        FakePanelHost host;
        Counter counter;
        HowtoPanel card(u"⌥Space"_s, u"https://example.org/install"_s, host);
        card.show();
        window.installEventFilter(&counter); // the last one installed comes first
        window.installEventFilter(&card);
        const QSignalSpy dismissed(&card, &HowtoPanel::dismissed);
        for (const Qt::Key key : row.keys)
            QTest::keyClick(&window, key);
        EXPECT_EQ(dismissed.count(), row.dismissed);
        EXPECT_EQ(counter.keys, row.passed);
        if (row.keys.front() == Qt::Key_Tab)
            EXPECT_TRUE(waitUntil([] { return !said.isEmpty(); })) << "it is read on entering";
    }
}
