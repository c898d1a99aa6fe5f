#include "Program.h"

namespace ovalin {

Program::Program(Desktop& theDesktop, Dispatch& theDispatch, Surroundings surroundings)
    : desktop(theDesktop)
    , dispatch(theDispatch)
    , in(std::move(surroundings))
    , selection(desktop.accessibility, desktop.pasteboard, desktop.keyboard, {}, in.sources.leftAloneNow)
    , paste(desktop, dispatch)
    , askHistory(dispatch, AskHistory::storePath(in.paths.systemDir), in.agent, ends.get_token())
    , promptHistory(dispatch, PromptHistory::storePath(in.paths.systemDir))
    , routedRequests(std::make_unique<RoutedRequests>(dispatch, in.paths, in.agent))
    , submissions(std::make_unique<Submissions>(dispatch, selection, *routedRequests)) {}

void Program::preparePanel() {
    prepared = std::make_unique<CapturePanel>(desktop.pasteboard, desktop.panels);
    prepared->winId(); // its native window, too: a third of the way to the screen
    preparedLook = Palette::look();
}

Shown<CapturePanel> Program::takePanel() {
    if (!prepared || preparedLook != Palette::look())
        preparePanel();
    return Shown<CapturePanel>(prepared.release());
}

Replacement* Program::beginReplacement(Replacement::Press press, QObject* opening) {
    return new Replacement({desktop,
                            dispatch,
                            selection,
                            paste,
                            {in.paths.binDir, in.agent, ends.get_token()},
                            [this] { return panelIsOpen; }},
                           std::move(press), opening, &replacements);
}

void Program::forget() {
    next = {};
    intentLexicon = {};
    askHistory.forget();
    promptHistory.forget();
    if (routedRequests)
        routedRequests->forget();
}

void Program::end() {
    ends.request_stop();
    submissions.reset();
    routedRequests.reset(); // finalises what still waits for its screenshot
    askHistory.saveAgain();
    promptHistory.saveAgain();
}

} // namespace ovalin
