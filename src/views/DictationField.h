#pragma once

#include <QString>

namespace ovalin {

/// Where dictated words go. Main thread.
class DictationField {
public:
    virtual ~DictationField();

    [[nodiscard]] virtual QString prompt() const = 0;
    /// Replaces the text; the insertion point is at its end then.
    virtual void setPrompt(const QString& text) = 0;
    virtual void focusPrompt() = 0;

    /// Whether it can be seen.
    [[nodiscard]] virtual bool isShown() const = 0;

    /// The microphone's state, and why it is off when that is no wish of the user's.
    virtual void setMicState(bool active, const QString& note) = 0;
};

} // namespace ovalin
