#include "FreeArea.h"

#include <algorithm>

namespace ovalin {

QRect freeOf(const QRect& monitor, const std::vector<ReservedStrip>& strips) {
    QRect rest = monitor;
    for (const ReservedStrip& strip : strips) {
        const QRect taken = strip.area & monitor;
        const bool upright = strip.edge == Qt::LeftEdge || strip.edge == Qt::RightEdge;
        if (taken.isEmpty() || (upright ? taken.width() == monitor.width() : taken.height() == monitor.height()))
            continue;
        switch (strip.edge) {
        case Qt::LeftEdge:
            rest.setLeft(std::max(rest.left(), taken.right() + 1));
            break;
        case Qt::RightEdge:
            rest.setRight(std::min(rest.right(), taken.left() - 1));
            break;
        case Qt::TopEdge:
            rest.setTop(std::max(rest.top(), taken.bottom() + 1));
            break;
        case Qt::BottomEdge:
            rest.setBottom(std::min(rest.bottom(), taken.top() - 1));
            break;
        }
    }
    return rest.isEmpty() ? monitor : rest;
}

void addStrips(std::vector<ReservedStrip>& strips, QSize root, const std::vector<quint32>& values) {
    if (values.size() != 4 && values.size() != 12)
        return;
    constexpr Qt::Edge EDGES[] = {Qt::LeftEdge, Qt::RightEdge, Qt::TopEdge, Qt::BottomEdge};
    for (size_t i = 0; i < 4; ++i) {
        const bool upright = i < 2;
        const int extent = upright ? root.width() : root.height(), length = upright ? root.height() : root.width();
        const int depth = static_cast<int>(std::min<quint32>(values[i], static_cast<quint32>(extent)));
        int from = 0, to = length;
        if (values.size() == 12) {
            from = static_cast<int>(std::min<quint32>(values[4 + 2 * i], static_cast<quint32>(length)));
            to = static_cast<int>(std::min<quint32>(values[5 + 2 * i], static_cast<quint32>(length) - 1)) + 1;
        }
        if (depth == 0 || to <= from)
            continue;
        const int start = i % 2 == 0 ? 0 : extent - depth;
        strips.push_back(
            {EDGES[i], upright ? QRect(start, from, depth, to - from) : QRect(from, start, to - from, depth)});
    }
}

} // namespace ovalin
