#include "LayerHold.h"

#include "LayerPanels.h"

namespace ovalin {

LayerHold::LayerHold(LayerPanels& thePanels)
    : panels(thePanels) {}

void LayerHold::take(QWindow& wanted) {
    window = &wanted;
    panels.setKeyboard(wanted, true);
}

void LayerHold::letGo() {
    if (window)
        panels.setKeyboard(*window, false);
    window = nullptr;
}

void LayerHold::lend(bool lent) {
    lentNow = lent;
    if (window)
        panels.setKeyboard(*window, !lent);
}

void LayerHold::takeAgain() {
    lend(true);
    lend(false);
}

} // namespace ovalin
