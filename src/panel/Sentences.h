#pragma once

#include <QString>

namespace ovalin {

/// Cuts a text that comes in pieces into whole sentences, for a voice: words alone would be stammered. Pure.
class Sentences {
public:
    void add(const QString& piece) { rest += piece; }

    /// The sentences that are complete, a line end completes one; empty when there are none.
    [[nodiscard]] QString takeComplete();

    /// All that is left.
    [[nodiscard]] QString takeRest();

    void clear() { rest.clear(); }

private:
    QString rest;
};

} // namespace ovalin
