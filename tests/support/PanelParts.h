#pragma once

#include "panel/CapturePanel.h"
#include "panel/ModeControl.h"
#include "panel/PreviewTextView.h"
#include "panel/PromptField.h"
#include "panel/Transcript.h"
#include "panel/Widgets.h"
#include "support/Testing.h"

#include <QTest>

namespace ovalin {

/// The controls of a panel, as a user finds them.
struct PanelParts {
    explicit PanelParts(const CapturePanel& panel)
        : modeControl(panel.findChild<ModeControl*>())
        , previewView(panel.findChild<PreviewTextView*>())
        , transcriptView(panel.findChild<Transcript*>())
        , promptField(panel.findChild<PromptField*>())
        , hintField(panel.findChild<StatusLine*>()) {
        const auto glyphs = panel.findChildren<GlyphButton*>();
        const auto pills = panel.findChildren<PillButton*>();
        micButton = glyphs.at(0), historyBtnRef = glyphs.at(1), helpBtn = glyphs.at(2), requestsBtn = glyphs.at(3);
        cancelBtn = pills.at(0), replaceBtnRef = pills.at(1), sendBtnRef = pills.at(2);
        for (Label* label : panel.findChildren<Label*>()) {
            if (label != hintField)
                emptyNoteRef = label;
        }
    }

    ModeControl* modeControl;
    PreviewTextView* previewView;
    Label* emptyNoteRef = nullptr;
    Transcript* transcriptView;
    PromptField* promptField;
    StatusLine* hintField;
    GlyphButton *micButton, *historyBtnRef, *helpBtn, *requestsBtn;
    PillButton *cancelBtn, *replaceBtnRef, *sendBtnRef;
};

/// Types the text, whatever keys it would take.
inline void type(QWidget* widget, const QString& text) {
    for (const QChar letter : text)
        QTest::sendKeyEvent(QTest::Click, widget, Qt::Key_unknown, QString(letter), Qt::NoModifier);
}

} // namespace ovalin
