#include "PixelFormat.h"

#include <algorithm>
#include <bit>

namespace ovalin {

namespace {

/// The usual layout; the compiler makes one load of it.
struct FourBytes {
    static constexpr int bytes = 4;
    uint32_t operator()(const uint8_t* p) const {
        return p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
               static_cast<uint32_t>(p[3]) << 24;
    }
};

struct AnyBytes {
    int bytes;
    bool mostSignificantFirst;
    uint32_t operator()(const uint8_t* p) const {
        uint32_t pixel = 0;
        for (int i = 0; i < bytes; ++i)
            pixel |= static_cast<uint32_t>(p[mostSignificantFirst ? bytes - 1 - i : i]) << (8 * i);
        return pixel;
    }
};

int shiftOf(uint32_t mask) { return mask ? std::countr_zero(mask) : 0; }

struct Channel {
    explicit Channel(const PixelFormat::Component& component)
        : mask(component.mask)
        , shift(shiftOf(component.mask))
        , values(component.values.data()) {}
    uint8_t operator()(uint32_t pixel) const { return values[(pixel & mask) >> shift]; }

    uint32_t mask;
    int shift;
    const uint8_t* values;
};

template <class Load>
void fromComponents(const PixelFormat& format, Load load, const uint8_t* row, int width, uint8_t* rgba) {
    const Channel red(format.components[0]);
    const Channel green(format.components[1]);
    const Channel blue(format.components[2]);
    for (int x = 0; x < width; ++x, row += load.bytes, rgba += 4) {
        const uint32_t pixel = load(row);
        rgba[0] = red(pixel);
        rgba[1] = green(pixel);
        rgba[2] = blue(pixel);
        rgba[3] = 255;
    }
}

uint8_t unmultiplied(uint8_t value, uint32_t alpha) {
    return alpha == 0 ? uint8_t{0} : static_cast<uint8_t>(std::min(255U, (value * 255U + alpha / 2) / alpha));
}

template <class Load>
void addAlpha(uint32_t mask, Load load, const uint8_t* row, int width, uint8_t* rgba) {
    const int shift = shiftOf(mask);
    for (int x = 0; x < width; ++x, row += load.bytes, rgba += 4) {
        const uint32_t alpha = (load(row) & mask) >> shift;
        if (alpha == 255)
            continue;
        rgba[3] = static_cast<uint8_t>(alpha);
        for (size_t i = 0; i < 3; ++i)
            rgba[i] = unmultiplied(rgba[i], alpha);
    }
}

template <class Load>
void fromIndices(const PixelFormat& format, Load load, const uint8_t* row, int width, uint8_t* rgba) {
    for (int x = 0; x < width; ++x, row += load.bytes, rgba += 4) {
        const uint32_t index = load(row);
        const auto color = index < format.colors.size() ? format.colors[index] : std::array<uint8_t, 3>{};
        std::copy(color.begin(), color.end(), rgba);
        rgba[3] = 255;
    }
}

template <class Load>
void convert(const PixelFormat& format, Load load, const uint8_t* row, int width, uint8_t* rgba) {
    if (format.kind == PixelFormat::Kind::Indexed) {
        fromIndices(format, load, row, width, rgba);
        return;
    }
    fromComponents(format, load, row, width, rgba);
    if (format.alphaMask)
        addAlpha(format.alphaMask, load, row, width, rgba);
}

} // namespace

size_t PixelFormat::stride(int width) const {
    const auto bits = static_cast<size_t>(width) * static_cast<size_t>(bitsPerPixel);
    const auto pad = static_cast<size_t>(scanlinePad);
    return (bits + pad - 1) / pad * pad / 8;
}

PixelFormat::Component PixelFormat::evenly(uint32_t mask) {
    Component component{mask, {}};
    const uint32_t greatest = mask >> shiftOf(mask);
    for (uint32_t value = 0; value <= greatest; ++value)
        component.values.push_back(static_cast<uint8_t>(greatest ? (value * 255 + greatest / 2) / greatest : 0));
    return component;
}

void PixelFormat::toRgba(const uint8_t* row, int width, uint8_t* rgba) const {
    if (bitsPerPixel == 32 && !mostSignificantByteFirst)
        convert(*this, FourBytes{}, row, width, rgba);
    else
        convert(*this, AnyBytes{bitsPerPixel / 8, mostSignificantByteFirst}, row, width, rgba);
}

} // namespace ovalin
