#pragma once

#include "PromptHistory.h"
#include "Shown.h"
#include "Submissions.h"

#include "ask/LinkVerifier.h"
#include "base/AgentCli.h"
#include "base/Config.h"
#include "base/Dispatch.h"
#include "base/Paths.h"
#include "capture/ContextPipeline.h"
#include "history/AskHistory.h"
#include "intent/IntentLexicon.h"
#include "panel/CapturePanel.h"
#include "panel/Palette.h"
#include "platform/Desktop.h"
#include "transform/Replacement.h"

#include <functional>
#include <memory>
#include <stop_token>

namespace ovalin {

/// Where the program looks for what is not its own.
struct Surroundings {
    Paths paths;
    AgentSearch agent;
    ContextSources sources;
    /// Whether the page at this address is the user's own; blocks, and is called on workers.
    std::function<bool(const QString& url)> siteOwned;
    Config config = {}; ///< the user's own settings
    QString notice{};   ///< said on the first opening: what does not work on this desktop
};

/// What the last opening leaves to the next one.
struct NextOpening {
    QString status; ///< said on its hint line
    QString prompt; ///< words that were taken back: none is lost
    bool asks = false;
    bool selectionViaClipboard = false;
};

/// What every opening works with, and what outlives them all. Main thread.
struct Program {
    Program(Desktop& theDesktop, Dispatch& theDispatch, Surroundings surroundings);

    Desktop& desktop;
    Dispatch& dispatch;
    const Surroundings in;
    std::stop_source ends; ///< for children that have no time limit

    Selection selection;
    PasteOver paste;
    LinkVerifier linkVerifier;
    IntentLexicon intentLexicon;
    AskHistory askHistory;
    PromptHistory promptHistory;
    std::unique_ptr<RoutedRequests> routedRequests; ///< until the program ends, like the next one
    std::unique_ptr<Submissions> submissions;
    NextOpening next;
    bool panelIsOpen = false;
    bool motion = true; ///< what need not move may

    /// Makes the panel of the next opening while nobody waits for it. Nothing of an earlier one is in it.
    void preparePanel();
    [[nodiscard]] Shown<CapturePanel> takePanel();

    /// `opening`: that of the press.
    Replacement* beginReplacement(Replacement::Press press, QObject* opening);

    /// Nothing of what the user has said stays in memory; requests under way go on.
    void forget();

    /// Hands over what is still under way; nothing is submitted afterwards.
    void end();

private:
    std::unique_ptr<CapturePanel> prepared;
    Palette::Look preparedLook{};
    QObject replacements; ///< their parent
};

} // namespace ovalin
