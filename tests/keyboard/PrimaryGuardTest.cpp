#include "keyboard/KeyboardDesk.h"
#include "platform/x11/XReply.h"
#include "platform/x11/keyboard/X11KeyboardHold.h"
#include "platform/x11/selections/X11PrimaryGuard.h"

#include <xcb/xcb.h>

namespace {

quint32 primaryOwner(const OtherClient& client) {
    const XReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        client.connection, xcb_get_selection_owner(client.connection, XCB_ATOM_PRIMARY), nullptr));
    return reply->owner;
}

TEST(PrimaryGuard, SelectingInOurOwnFieldLeavesPrimaryToTheOtherApplicationWhileActive) {
    const OtherClient other;
    setSelection("primary", u"theirs"_s);
    const quint32 theirs = primaryOwner(other);
    PanelWindow panel;
    panel.line.setText(u"ours"_s);
    QtDispatch dispatch;
    X11KeyboardHold hold(dispatch);
    hold.take(*panel.windowHandle());
    const auto select = [&] { // real keys: Qt claims with the time of the last one
        tap("End");
        ASSERT_TRUE(waitUntil([&] { return panel.line.selectedText().isEmpty(); }));
        tap("shift+Home");
        ASSERT_TRUE(waitUntil([&] { return panel.line.selectedText() == u"ours"_s; }));
    };
    X11PrimaryGuard guard;
    guard.setActive(true);
    select();
    EXPECT_EQ(primaryOwner(other), theirs);
    EXPECT_EQ(clipboard("primary"), u"theirs"_s);
    guard.setActive(false);
    select();
    const quint32 ours = primaryOwner(other);
    EXPECT_NE(ours, theirs) << "the guard stays on";

    guard.setActive(true);
    xcb_set_selection_owner(other.connection, XCB_NONE, XCB_ATOM_PRIMARY, XCB_CURRENT_TIME);
    EXPECT_EQ(primaryOwner(other), quint32{XCB_NONE}) << "giving it up is no claim";
    guard.setActive(false);
}

} // namespace
