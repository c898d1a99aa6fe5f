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
    if (window)
        panels.setKeyboard(*window, !lent);
}

} // namespace ovalin
