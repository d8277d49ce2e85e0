// Decoded pictures as RGBA, with the colours that their values mean.
#pragma once

#include "Media/Av.h"

#include <cstddef>
#include <cstdint>

namespace Nimb::Media {

/// One thread at a time. Players and readers of clips convert alike, except for rounding.
class RgbaConverter {
public:
    /// `isAccurate`: rounds exactly, for readers; otherwise fast, for players.
    explicit RgbaConverter(bool isAccurate) : m_IsAccurate(isAccurate) {}

    /// Bytes from row to row that Convert needs: it writes whole vectors, past a row's end. The memory for `height`
    /// rows is c_Margin bytes longer than height x stride.
    static std::size_t StrideOf(int width);
    static constexpr std::size_t c_Margin = 64;

    /// Writes the picture in its own size, the top row first, alpha 255. False when its pixel format cannot be
    /// converted.
    bool Convert(const AVFrame& frame, std::uint8_t* rgba, std::size_t stride);

private:
    const bool m_IsAccurate;
    AvPtr<SwsContext> m_Context;
};

}  // namespace Nimb::Media
