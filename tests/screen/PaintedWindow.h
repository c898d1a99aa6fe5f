#pragma once

#include "support/Testing.h"
#include <QByteArray>
#include <QColor>
#include <QRect>

#include <xcb/xcb.h>

namespace ovalin {

/// A window of a client of its own, in vertical stripes that the server itself repaints (a background pixmap), on a
/// screen of any depth.
class PaintedWindow {
public:
    struct Options {
        QByteArray display;
        QRect frame{100, 80, 400, 300};
        std::vector<QColor> stripes{Qt::red, Qt::green, Qt::blue, Qt::white, Qt::black, QColor(128, 96, 64)};
        QByteArray windowClass = "painted";
        bool overrideRedirect = true;
        bool argb = false; ///< a 32-bit visual
        bool inputOnly = false;
        bool map = true;
        int borderWidth = 0;
        QByteArray type; ///< _NET_WM_WINDOW_TYPE_...
    };

    explicit PaintedWindow(const Options& options);
    ~PaintedWindow();
    PaintedWindow(const PaintedWindow&) = delete;
    PaintedWindow& operator=(const PaintedWindow&) = delete;

    [[nodiscard]] quint32 id() const { return window; }
    [[nodiscard]] QString number() const { return QString::number(window); }

    /// What the screen really shows of the stripe, after its rounding to the screen's depth.
    [[nodiscard]] QColor shown(size_t stripe) const { return colors.at(stripe); }
    [[nodiscard]] size_t stripes() const { return colors.size(); }

    /// A point in the middle of the stripe, at that height, window coordinates.
    [[nodiscard]] QPoint inStripe(size_t stripe, int y) const;

    void raise();
    void sync();

private:
    xcb_pixmap_t paint(uint8_t depth, xcb_colormap_t colormap, const std::vector<QColor>& stripes);

    xcb_connection_t* c;
    xcb_screen_t* screen;
    xcb_window_t window;
    QSize size;
    std::vector<QColor> colors;
};

} // namespace ovalin
