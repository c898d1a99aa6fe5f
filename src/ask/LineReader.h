#pragma once

#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace ovalin {

/// Cuts a stream of bytes into lines, in place: the stream is read straight into this buffer, and a line is looked at
/// where it lies. Holds no more than the unfinished tail. Pure.
class LineReader {
public:
    using Line = std::function<void(std::string_view line)>;

    /// Behind each line lie at least so many readable bytes, for parsers that read in wide steps.
    static constexpr size_t PADDING = 64;

    /// A line longer than `limit` bytes is passed over whole.
    explicit LineReader(size_t limit = size_t{64} << 20);

    /// Where the next bytes may be put: never empty.
    [[nodiscard]] std::span<char> room();

    /// So many bytes were put there: hands over every line that is complete now, without its line feed.
    void added(size_t count, const Line& line);

private:
    std::vector<char> buffer; // jsonBuf: begin..end is the unfinished tail, searched..end not yet looked at
    size_t begin = 0, searched = 0, end = 0;
    const size_t limit;
    bool passingOver = false;
};

} // namespace ovalin
