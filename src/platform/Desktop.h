#pragma once

#include "platform/Accessibility.h"
#include "platform/DesktopSettings.h"
#include "platform/HotKeys.h"
#include "platform/Keyboard.h"
#include "platform/Notifier.h"
#include "platform/PanelHost.h"
#include "platform/Pasteboard.h"
#include "platform/PrimaryGuard.h"
#include "platform/SelectionHints.h"
#include "platform/Speech.h"
#include "platform/Workspace.h"

namespace ovalin {

/// Every capability of the desktop that the rooms use. References: whoever builds it keeps the objects alive.
struct Desktop {
    HotKeys& hotKeys;
    Workspace& workspace;
    Accessibility& accessibility;
    Pasteboard& pasteboard;
    Keyboard& keyboard;
    KeyboardHold& keyboardHold;
    PanelHost& panels;
    SelectionHints& selectionHints;
    Notifier& notifier;
    SessionEvents& sessionEvents;
    PrimaryGuard& primaryGuard;
    DesktopSettings* settings = nullptr; ///< none: everything is as it is by default
    Microphone* microphone = nullptr;    ///< none: no dictation
    SpeechRecognizer* speechRecognizer = nullptr;
};

} // namespace ovalin
