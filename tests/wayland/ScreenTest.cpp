#include "SwaySide.h"

#include "platform/wayland/panel/PointerProbe.h"
#include "platform/wayland/panel/ScreenPicture.h"

namespace {

Deadline soon() { return deadlineIn(10s); }

} // namespace

TEST(Screen, TellsWhereThePointerIsAndWhatItShows) {
    OutputConnection connection;
    hands().click({300, 200});
    connection.refresh();
    const auto place = findPointer(connection, soon());
    ASSERT_TRUE(place);
    EXPECT_EQ(place->at, QPoint(300, 200));
    EXPECT_EQ(place->free, QRect(0, 0, 1280, 800));
    ASSERT_EQ(connection.outputs().size(), 1U);
    EXPECT_EQ(place->output, connection.outputs().front().name);
    const ScreenPicture picture(connection, connection.outputs().front(), QRect(10, 10, 400, 300));
    ASSERT_TRUE(connection.waitUntil(soon(), [&] { return picture.isOver(); }));
    EXPECT_EQ(picture.image().size(), QSize(400, 300));
}

TEST(Screen, WhatDocksLeaveFreeIsFoundByThePointer) {
    const QSize all(1280, 800);
    const struct {
        const char* what;
        QSize rest;
        QPoint pointer;
        std::optional<QPoint> inRest;
        QRect free;
    } rows[] = {
        {"no dock", {1280, 800}, {640, 300}, QPoint(640, 300), {0, 0, 1280, 800}},
        {"one above and one below", {1280, 737}, {640, 300}, QPoint(640, 277), {0, 23, 1280, 737}},
        {"at the left", {1240, 800}, {640, 300}, QPoint(600, 300), {40, 0, 1240, 800}},
        {"over the one above", {1280, 777}, {640, 5}, {}, {0, 23, 1280, 777}},
        {"over the one below", {1280, 777}, {640, 790}, {}, {0, 0, 1280, 777}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(freeArea(all, row.rest, row.pointer, row.inRest), row.free) << row.what;
}

TEST(Screen, APartHasTheScaleOfThePicture) {
    QImage picture(1280, 800, QImage::Format_RGB32);
    picture.fill(Qt::black);
    picture.setPixelColor(200, 300, Qt::white);
    const QImage part = partOf(picture, {640, 400}, QRect(100, 150, 50, 20));
    EXPECT_EQ(part.size(), QSize(100, 40));
    EXPECT_EQ(part.devicePixelRatio(), 2);
    EXPECT_EQ(part.pixelColor(0, 0), QColor(Qt::white));
}

TEST(Screen, AWindowIsCutOutOfTheOutputThatHasMostOfIt) {
    QImage left(100, 80, QImage::Format_RGB32), right(200, 160, QImage::Format_RGB32); // the right one at scale 2
    left.fill(Qt::red);
    right.fill(Qt::blue);
    const std::vector<ShownOutput> outputs{{{0, 0, 100, 80}, left}, {{100, 0, 100, 80}, right}};
    const struct {
        const char* what;
        QRect window;
        QSize size;
        QColor colour;
    } rows[] = {
        {"on the left one", {10, 10, 50, 20}, {50, 20}, Qt::red},
        {"more of it on the right one", {90, 10, 50, 20}, {80, 40}, Qt::blue},
        {"no window", {}, {100, 80}, Qt::red},
        {"out of sight", {500, 10, 50, 20}, {0, 0}, {}},
    };
    for (const auto& row : rows) {
        const QImage picture = cutOut(outputs, row.window);
        EXPECT_EQ(picture.size(), row.size) << row.what;
        EXPECT_EQ(picture.devicePixelRatio(), 1) << row.what;
        EXPECT_TRUE(picture.isNull() || picture.pixelColor(0, 0) == row.colour) << row.what;
    }
}

TEST(Screen, AnOutputThatIsTurnedOrMirroredIsSeenUpright) {
    const auto swayOutput = [](const QString& what) {
        desk().output(u"swaymsg"_s, u"output * "_s.append(what).split(u' '));
    };
    SwaySide side;
    const Running window(side, u"foot"_s, {u"-o"_s, u"colors.background=0000ff"_s, u"cat"_s});
    for (const QString& transform : {u"normal"_s, u"90"_s, u"180"_s, u"270"_s, u"flipped"_s, u"flipped-90"_s}) {
        swayOutput(u"transform "_s + transform);
        OutputConnection connection;
        const auto shows = [&] {
            connection.refresh();
            const ScreenPicture picture(connection, connection.outputs().front());
            connection.waitUntil(soon(), [&] { return picture.isOver(); });
            const QString file = desk().path(u"grim.png"_s);
            desk().output(u"grim"_s, {file});
            return picture.image().convertToFormat(QImage::Format_RGB32) ==
                   QImage(file).convertToFormat(QImage::Format_RGB32);
        };
        EXPECT_TRUE(waitUntil(shows)) << transform.toStdString();
    }
    swayOutput(u"transform normal"_s);
}
