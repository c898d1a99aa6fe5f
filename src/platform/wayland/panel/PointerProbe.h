#pragma once

#include "OutputConnection.h"

#include <QPoint>
#include <QRect>

#include <optional>

namespace ovalin {

/// Where the pointer is, and what the docks of its output leave free; both in the output's own logical pixels.
struct PointerPlace {
    QString output;
    QPoint at;
    QRect free;
};

/// Nobody tells where the pointer is; but who has a surface below it is told that it came in. So a transparent one is
/// put over each output for a moment. Absent: there is no pointer, a button is held on it, or the compositor did not
/// answer in time. The connection is to be refreshed before. Main thread.
[[nodiscard]] std::optional<PointerPlace> findPointer(OutputConnection& connection, Deadline deadline);

/// What docks leave free: `all` and `rest` are the sizes of the output with and without them, `pointer` is the place in
/// the former, `inRest` that in the latter; absent: the pointer is over a dock. Pure.
[[nodiscard]] QRect freeArea(QSize all, QSize rest, QPoint pointer, std::optional<QPoint> inRest);

} // namespace ovalin
