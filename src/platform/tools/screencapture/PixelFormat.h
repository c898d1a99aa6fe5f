#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ovalin {

/// How the server lays out and means the pixels of one drawable.
struct PixelFormat {
    enum class Kind {
        Components, ///< a pixel holds red, green and blue (TrueColor, DirectColor)
        Indexed,    ///< a pixel is an index into the colour map
    };
    struct Component {
        uint32_t mask = 0;
        std::vector<uint8_t> values; ///< 8-bit intensity for each value of the component
    };

    Kind kind = Kind::Components;
    int bitsPerPixel = 32;
    int scanlinePad = 32;
    bool mostSignificantByteFirst = false;
    std::array<Component, 3> components;        ///< red, green, blue
    std::vector<std::array<uint8_t, 3>> colors; ///< of an indexed format
    uint32_t alphaMask = 0;                     ///< 0: opaque; else the colours are premultiplied

    /// Bytes from one row to the next.
    [[nodiscard]] size_t stride(int width) const;

    /// One row as RGBA, 8 bits each, not premultiplied.
    void toRgba(const uint8_t* row, int width, uint8_t* rgba) const;

    /// Intensities of a component whose values are spread evenly; `mask` is one run of at most 16 bits.
    [[nodiscard]] static Component evenly(uint32_t mask);
};

} // namespace ovalin
