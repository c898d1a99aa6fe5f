#pragma once

#include "platform/Keyboard.h"

#include <QPointer>
#include <QWindow>

namespace ovalin {

class LayerPanels;

/// The hold as the exclusive keyboard of a layer surface. The compositor gives it to lockers by itself. Main thread.
class LayerHold final : public KeyboardHold {
public:
    explicit LayerHold(LayerPanels& panels);

    void take(QWindow& window) override;
    void letGo() override;
    [[nodiscard]] bool held() const override { return !window.isNull(); }
    [[nodiscard]] bool waiting() const override { return false; }

    /// For keys that are sent to the application: it has the keyboard as long as it is lent. The compositor takes a
    /// round trip to bring the focus there, and back.
    void lend(bool lent);
    [[nodiscard]] bool isLent() const { return lentNow; }
    /// The compositor has given the keyboard to a window that came by itself.
    void takeAgain();

private:
    LayerPanels& panels;
    QPointer<QWindow> window;
    bool lentNow = false;
};

} // namespace ovalin
