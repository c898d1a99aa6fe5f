#pragma once

#include "platform/Desktop.h"
#include "platform/Windows.h"

#include <functional>

class QImage;

namespace ovalin {

/// All of a real desktop: it has made every capability, and keeps them alive. Made after QApplication; main thread.
class RealDesktop {
public:
    virtual ~RealDesktop() = default;

    [[nodiscard]] virtual Desktop desktop() = 0;
    [[nodiscard]] virtual Windows& windows() = 0;

    /// Where the picture of a process's window comes from, asked on workers; empty: from the helper program.
    [[nodiscard]] virtual std::function<QImage(qint32 pid)> pictures() = 0;

    /// What will not work here and why, for the user; empty: nothing.
    [[nodiscard]] virtual QString missing() const = 0;
};

} // namespace ovalin
