// The flows of AppDelegate that begin at the microphone.
#include "AppDelegate.h"

#include "dictation/Dictation.h"

namespace ovalin {

std::unique_ptr<Dictation> AppDelegate::makeDictation() {
    if (!desktop.microphone || !desktop.speechRecognizer)
        return nullptr;
    return std::make_unique<Dictation>(*desktop.microphone, *desktop.speechRecognizer, dispatch, *panel,
                                       [this](bool force) { applyIntentInference(force); });
}

void AppDelegate::micTapped() {
    if (!panel)
        return;
    if (dictation)
        dictation->micTapped();
    else
        panel->note(QStringLiteral("speech recognizer unavailable"));
}

void AppDelegate::stopRecording() {
    if (dictation)
        dictation->stopRecording();
}

} // namespace ovalin
