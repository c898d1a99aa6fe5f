#pragma once

#include <QByteArray>
#include <QPoint>
#include <QSize>
#include <QString>

#include <memory>

namespace ovalin {

/// A user's hands on a Wayland compositor: a keyboard (US) and a pointer of their own. Each call returns when the
/// compositor has worked it off.
class WaylandHands {
public:
    /// `screen`: all outputs together.
    explicit WaylandHands(const QString& runtimeFolder, const QString& display, QSize screen = {1280, 800});
    ~WaylandHands();

    /// Keys that are pressed in this order and released in the other: "ctrl+shift+v", "alt+space", "Return".
    void press(const QString& chord);
    /// Holds its keys down until release().
    void hold(const QString& chord);
    void release(const QString& chord);
    /// ASCII.
    void type(const QString& text);
    void click(QPoint at);
    void drag(QPoint from, QPoint to);

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace ovalin
