#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include <png.h>

namespace ovalin {

/// A PNG file that is written row by row under a temporary name in the same folder and takes its own name when it is
/// whole. Readable by its owner alone. Everything throws Failure.
class PngFile {
public:
    enum class Alpha { No, Yes };

    /// A file or symbolic link that stands at `path` is replaced, not followed.
    PngFile(const std::string& path, int width, int height, Alpha alpha);
    ~PngFile();
    PngFile(const PngFile&) = delete;
    PngFile& operator=(const PngFile&) = delete;

    /// The next row from the top, RGBA, 8 bits each; A is left out of a file without alpha.
    void writeRow(const uint8_t* rgba);
    void finish();

    /// Removes the unfinished file. Async-signal-safe.
    static void removeUnfinished();

private:
    PngFile() = default; // delegated to, so that the destructor runs when the public constructor throws
    void begin(int width, int height, Alpha alpha);

    std::string target;
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::FILE* file = nullptr;
};

} // namespace ovalin
