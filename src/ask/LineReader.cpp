#include "LineReader.h"

#include <cstring>

namespace ovalin {

namespace {

constexpr size_t STEP = size_t{1} << 16;

} // namespace

LineReader::LineReader(size_t theLimit)
    : buffer(STEP + PADDING)
    , limit(theLimit) {}

std::span<char> LineReader::room() {
    if (begin > 0) { // the tail is short: moving it costs less than a second buffer
        std::memmove(buffer.data(), buffer.data() + begin, end - begin);
        searched -= begin;
        end -= begin;
        begin = 0;
    }
    if (end == 0 && buffer.size() > 16 * STEP)
        std::vector<char>(STEP + PADDING).swap(buffer); // a giant line has passed
    if (buffer.size() - end < STEP + PADDING)
        buffer.resize(2 * buffer.size() + STEP);
    return std::span(buffer).subspan(end, buffer.size() - end - PADDING);
}

void LineReader::added(size_t count, const Line& line) {
    end += count;
    while (const void* feed = std::memchr(buffer.data() + searched, '\n', end - searched)) {
        const auto at = static_cast<size_t>(static_cast<const char*>(feed) - buffer.data());
        if (!passingOver && at - begin <= limit) // also one that came in one piece
            line({buffer.data() + begin, at - begin});
        passingOver = false;
        begin = searched = at + 1;
    }
    searched = end;
    if (end - begin > limit)
        passingOver = true;
    if (passingOver || begin == end)
        begin = searched = end = 0;
}

} // namespace ovalin
