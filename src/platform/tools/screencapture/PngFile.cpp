#include "PngFile.h"

#include "Failure.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csetjmp>
#include <cstring>

#include <unistd.h>

namespace ovalin {

namespace {

// For the signal handler: the name of the one file under way, empty when there is none.
std::array<char, PATH_MAX> unfinished{};

[[noreturn]] void fail(const std::string& what) { throw Failure(what + ": " + std::strerror(errno)); }

} // namespace

void PngFile::removeUnfinished() {
    if (unfinished[0])
        ::unlink(unfinished.data());
}

PngFile::PngFile(const std::string& path, int width, int height, Alpha alpha)
    : PngFile() {
    target = path;
    const std::string pattern = path + ".XXXXXX";
    if (pattern.size() >= unfinished.size())
        throw Failure("the path is too long");
    std::array<char, PATH_MAX> name{};
    std::memcpy(name.data(), pattern.data(), pattern.size());
    const int fd = ::mkstemp(name.data());
    if (fd < 0)
        fail("cannot create a file beside " + path);
    unfinished = name;
    file = ::fdopen(fd, "wb");
    png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    info = png ? png_create_info_struct(png) : nullptr;
    if (!file || !info)
        throw Failure("out of memory");
    begin(width, height, alpha);
}

void PngFile::begin(int width, int height, Alpha alpha) {
    if (setjmp(png_jmpbuf(png)))
        throw Failure("cannot write " + target);
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
                 alpha == Alpha::Yes ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // The file is read once and thrown away: speed before size.
    png_set_compression_level(png, 1);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    png_write_info(png, info);
    if (alpha == Alpha::No)
        png_set_filler(png, 0, PNG_FILLER_AFTER);
}

PngFile::~PngFile() {
    if (png)
        png_destroy_write_struct(&png, &info);
    if (file)
        std::fclose(file);
    removeUnfinished();
    unfinished[0] = '\0';
}

void PngFile::writeRow(const uint8_t* rgba) {
    if (setjmp(png_jmpbuf(png)))
        throw Failure("cannot write " + target);
    png_write_row(png, rgba);
}

void PngFile::finish() {
    if (setjmp(png_jmpbuf(png)))
        throw Failure("cannot write " + target);
    png_write_end(png, info);
    const int closed = std::fclose(file);
    file = nullptr;
    if (closed != 0 || ::rename(unfinished.data(), target.c_str()) != 0)
        fail("cannot write " + target);
    unfinished[0] = '\0';
}

} // namespace ovalin
