#include "Forget.h"

#include "PromptHistory.h"

#include "base/SetAside.h"
#include "history/AskHistory.h"
#include "intent/CommitLog.h"
#include "intent/IntentLexicon.h"
#include "route/Processed.h"

#include <cstdio>

namespace ovalin {

FileResult<qsizetype> forgetAll(const Paths& paths) {
    const QString stores[] = {
        AskHistory::storePath(paths.systemDir),
        AskHistory::archivePath(paths.systemDir),
        PromptHistory::storePath(paths.systemDir),
        IntentLexicon::storePath(paths.systemDir),
        commitLogPath(paths.systemDir),
    };
    FileResult<qsizetype> all = forgetRequests(paths);
    for (const QString& store : stores) { // also behind one that cannot be removed
        if (const auto removed = removeStore(store); !removed && all)
            all = tl::unexpected(removed.error());
    }
    return all;
}

int runForget(const Paths& paths, bool sure, const std::function<void()>& tellRunning) {
    if (!sure) {
        std::fputs("Ovalin forgets all past conversations, prompts and finished requests, what it has learnt\n"
                   "from them, and its logs. What the agent itself keeps is not touched. Go on? [y/N] ",
                   stdout);
        std::fflush(stdout);
        const int answer = std::getchar();
        if (answer != 'y' && answer != 'Y') {
            std::puts("nothing was removed");
            return 1;
        }
    }
    tellRunning();
    const auto undone = forgetAll(paths);
    if (!undone) {
        std::fprintf(stderr, "ovalin: %s\n", qUtf8Printable(undone.error()));
        return 1;
    }
    std::puts("forgotten");
    if (*undone > 0)
        std::printf("%lld request(s) that are not done yet stay in %s\n", static_cast<long long>(*undone),
                    qUtf8Printable(paths.queueDir));
    return 0;
}

} // namespace ovalin
