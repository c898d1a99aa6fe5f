#pragma once

#include "ContextPipeline.h"

namespace ovalin {

/// The record of one opening, and what fills it. Shared with the request that was made of it, which may still wait for
/// the screenshot when the panel has closed.
struct Captured {
    Captured(Dispatch& dispatch, Selection& selection, const ContextSources& sources)
        : pipeline(dispatch, selection, sources, context) {}

    CaptureContext context;
    ContextPipeline pipeline;
};

} // namespace ovalin
