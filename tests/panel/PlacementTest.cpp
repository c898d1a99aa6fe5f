#include "panel/Placement.h"
#include "support/Testing.h"

namespace {

// A main screen with a bar at its top, a second one to its left and higher, with a dock at its right.
const std::vector<ScreenArea> SCREENS = {{{0, 0, 1920, 1080}, {0, 30, 1920, 1050}},
                                         {{-1280, -200, 1280, 1024}, {-1280, -200, 1210, 1024}}};
const QSize PANEL(480, 134);

} // namespace

TEST(Placement, ThePanelHangsUnderThePointerAndStaysOnItsScreen) {
    struct Row {
        const char* what;
        QPoint pointer;
        QPoint corner;
    };
    for (const Row& row :
         {Row{"free", {900, 500}, {660, 524}}, Row{"left edge", {5, 500}, {12, 524}},
          Row{"right edge", {1919, 500}, {1920 - 480 - 12, 524}},
          Row{"lower edge", {900, 1079}, {660, 1080 - 134 - 12}}, Row{"under the bar", {900, 2}, {660, 42}},
          Row{"other screen", {-640, 100}, {-880, 124}}, Row{"its dock", {-2, 100}, {-70 - 480 - 12, 124}},
          Row{"no screen there: the main one", {5000, 500}, {1920 - 480 - 12, 524}}})
        EXPECT_EQ(placeUnderPointer(row.pointer, PANEL, SCREENS), row.corner) << row.what;
    EXPECT_EQ(placeUnderPointer({900, 500}, PANEL, {}), QPoint(660, 524));
    EXPECT_EQ(placeUnderPointer({50, 50}, PANEL, {{{0, 0, 320, 100}, {0, 0, 320, 100}}}), QPoint(12, 12))
        << "screen too small";
}

TEST(Placement, ACardStandsRightElseLeftElseBelow) {
    const QSize card(340, 400);
    struct Row {
        const char* what;
        QRect panel;
        QPoint corner;
    };
    for (const Row& row : {Row{"right", {{300, 200}, PANEL}, {794, 200}},
                           Row{"left at the right edge", {{1400, 200}, PANEL}, {1046, 200}},
                           Row{"pulled up at the lower edge", {{300, 900}, PANEL}, {794, 1080 - 400 - 12}},
                           Row{"on the panel's screen", {{-1200, 0}, PANEL}, {-706, 0}},
                           Row{"neither side: below", QRect(-1100, 0, 900, 134), {-1100, 148}}})
        EXPECT_EQ(placeBeside(row.panel, card, SCREENS), row.corner) << row.what;
}

TEST(Placement, AGrowingPanelKeepsItsTopUnlessItWouldLeaveTheScreen) {
    EXPECT_EQ(placeResized({{660, 500}, PANEL}, 300, SCREENS), QPoint(660, 500));
    EXPECT_EQ(placeResized({{660, 934}, PANEL}, 294, SCREENS), QPoint(660, 1080 - 12 - 294));
    EXPECT_EQ(placeResized({{660, 1000}, PANEL}, 120, SCREENS), QPoint(660, 1000)) << "shrinking pulls nothing back";
    EXPECT_EQ(placeResized({{660, 500}, PANEL}, 3000, SCREENS), QPoint(660, 42)) << "higher than the screen";
}
