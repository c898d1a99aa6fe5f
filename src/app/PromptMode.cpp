#include "PromptMode.h"

#include "Program.h"

#include "intent/CommitLog.h"
#include "intent/ModeInference.h"

namespace ovalin {

PromptMode::PromptMode(Program& theProgram)
    : program(theProgram) {}

void PromptMode::setMode(bool ask, bool byUser) {
    askMode = ask;
    Q_EMIT modeSet(byUser);
}

void PromptMode::choose(bool ask) {
    modeLockedByUser = true;
    setMode(ask, true);
}

void PromptMode::applyIntentInference(const QString& prompt, bool hasSelection, bool force) {
    const auto inference = inferMode(prompt, force, {askMode, modeLockedByUser, hasSelection}, program.intentLexicon);
    if (!inference)
        return;
    lastPredicted = inference->predicted;
    if (inference->askMode)
        setMode(*inference->askMode, false);
}

void PromptMode::recordIntentCommit(const QString& prompt, bool committedAsk) {
    const auto commit = intentCommit(prompt, committedAsk, lastPredicted, modeLockedByUser);
    if (!commit)
        return;
    program.intentLexicon.record(commit->head, committedAsk);
    program.dispatch.run(Queue::Files, [lexicon = program.intentLexicon, commit = *commit,
                                        time = program.dispatch.wallClock(), folder = program.in.paths.systemDir] {
        lexicon.save(IntentLexicon::storePath(folder));
        logCommit(commitLogPath(folder), commit, time);
    });
}

} // namespace ovalin
