#pragma once

#include "intent/IntentClassifier.h"

#include <QObject>

namespace ovalin {

struct Program;

/// Do or Ask, for one opening: predicted from the prompt until the user chooses. Main thread.
class PromptMode final : public QObject {
    Q_OBJECT
public:
    explicit PromptMode(Program& program);

    [[nodiscard]] bool ask() const { return askMode; }
    void setMode(bool ask, bool byUser);
    /// The user's choice, which is never overruled.
    void choose(bool ask);
    /// No wording changes the mode while it is locked.
    void setLocked(bool locked) { modeLockedByUser = locked; }

    /// Predicts the mode from the prompt where it is time to.
    void applyIntentInference(const QString& prompt, bool hasSelection, bool force);

    /// Learns from a submission and logs it.
    void recordIntentCommit(const QString& prompt, bool committedAsk);

Q_SIGNALS:
    void modeSet(bool byUser);

private:
    Program& program;
    bool askMode = false;
    bool modeLockedByUser = false;
    OvalinIntent lastPredicted = OvalinIntent::neutral;
};

} // namespace ovalin
