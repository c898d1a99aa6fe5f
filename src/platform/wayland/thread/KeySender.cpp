#include "KeySender.h"

#include <linux/input-event-codes.h>

namespace ovalin {

std::vector<WaylandChord> pasteChords(const PasteWay& way) {
    constexpr quint8 CONTROL = WaylandChord::Control, SHIFT = WaylandChord::Shift;
    std::vector<WaylandChord> chords;
    if (way.before != PasteWay::Before::Nothing)
        chords.push_back({static_cast<quint32>(way.before == PasteWay::Before::Delete ? KEY_DELETE : KEY_BACKSPACE)});
    switch (way.keys) {
    case PasteWay::Keys::CtrlShiftV:
        chords.push_back({KEY_V, CONTROL | SHIFT});
        break;
    case PasteWay::Keys::CtrlV:
        chords.push_back({KEY_V, CONTROL});
        break;
    default:
        chords.push_back({KEY_INSERT, SHIFT});
    }
    return chords;
}

} // namespace ovalin
