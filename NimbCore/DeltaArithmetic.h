// How delta frames of three correction bytes a vertex predict and correct positions. Decoder and encoder compute with
// the same functions: the encoder predicts from what the decoder will have, bit by bit.
#pragma once

#include "NimbCore/Simd.h"

namespace Nimb {

/// The frame after a key frame repeats its positions.
inline Float4 PredictPosition(Float4 previous) noexcept {
    return Float4::All(0.0f) + previous;
}

/// Later ones go on as the two before them went.
inline Float4 PredictPosition(Float4 previous, Float4 older) noexcept {
    return (previous - older) + previous;
}

/// What a byte (0 to 255 in each lane) stands for in the range from `min` to `min + range`.
inline Float4 CorrectionOf(Float4 byte, Float4 min, Float4 range) noexcept {
    return range * (byte / Float4::All(255.0f)) + min;
}

}  // namespace Nimb
