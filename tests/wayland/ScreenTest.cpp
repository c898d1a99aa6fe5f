#include "SwaySide.h"

#include "platform/wayland/panel/PointerProbe.h"
#include "platform/wayland/panel/ScreenPicture.h"

namespace {

ScreenDeadline soon() { return std::chrono::steady_clock::now() + 10s; }

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
    const ScreenPicture picture(connection, connection.outputs().front().proxy, QRect(10, 10, 400, 300));
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
    EXPECT_TRUE(partOf(picture, {400, 640}, QRect(0, 0, 50, 20)).isNull()) << "it lies on its side";
}
