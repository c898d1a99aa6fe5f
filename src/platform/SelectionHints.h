#pragma once

#include <QtGlobal>

#include <functional>

namespace ovalin {

/// Tells when the selection in another application may have changed; what happens in our own windows is none of its
/// business. Called and calling back on the main thread.
class SelectionHints {
public:
    using Handle = quint64;

    virtual ~SelectionHints() = default;

    /// The application may not have taken the change in yet.
    [[nodiscard]] virtual Handle onMaybeChanged(std::function<void()> changed) = 0;
    virtual void removeHint(Handle handle) = 0;
};

} // namespace ovalin
