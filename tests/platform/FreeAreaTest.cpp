#include "platform/x11/panel/FreeArea.h"
#include "support/Testing.h"

TEST(FreeArea, TheDocksOfEveryMonitorAreKeptFreeAndThoseOfOthersTakeNothing) {
    // A large monitor and a smaller one to its right: the root window is 3200 by 1080.
    const QRect large(0, 0, 1920, 1080), small(1920, 0, 1280, 800);
    struct Row {
        const char* what;
        ReservedStrip strip;
        QRect largeRest, smallRest;
    };
    for (const Row& row :
         {Row{"a bar over both", {Qt::TopEdge, {0, 0, 3200, 30}}, {0, 30, 1920, 1050}, {1920, 30, 1280, 770}},
          Row{"below the large one", {Qt::BottomEdge, {0, 1040, 1920, 40}}, {0, 0, 1920, 1040}, small},
          Row{"below the small one", {Qt::BottomEdge, {1920, 760, 1280, 320}}, large, {1920, 0, 1280, 760}},
          Row{"left", {Qt::LeftEdge, {0, 0, 48, 1080}}, {48, 0, 1872, 1080}, small},
          Row{"between the two", {Qt::LeftEdge, {0, 0, 1960, 800}}, large, {1960, 0, 1240, 800}},
          Row{"right", {Qt::RightEdge, {3100, 0, 100, 800}}, large, {1920, 0, 1180, 800}}}) {
        EXPECT_EQ(freeOf(large, {row.strip}), row.largeRest) << row.what;
        EXPECT_EQ(freeOf(small, {row.strip}), row.smallRest) << row.what;
    }
    EXPECT_EQ(freeOf(large, {{Qt::TopEdge, {0, 0, 1920, 30}}, {Qt::BottomEdge, {0, 1040, 1920, 40}}}),
              QRect(0, 30, 1920, 1010));
}
