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
    QString takeRest();

    void clear() { takeRest(); }

private:
    QString rest;
    qsizetype looked = 0; ///< no sentence ends before there, but for what its last letters may have waited for
};

} // namespace ovalin
