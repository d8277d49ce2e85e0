// How a temporal frame's texture transforms come out of the coefficients that it stores.
#pragma once

#include "NimbCore/NimbMeshReader.h"

namespace Nimb {

/// The inverse of the forward map u' = m0 u + m2 v + m4, v' = m1 u + m3 v + m5 as the format has it, step by step in
/// single precision. The fourth coefficient is deliberately t0 / det, that is m3 / det^2, not m0 / det: files are made
/// for it.
inline STransform InvertTransform(const float* m) noexcept {
    STransform transform{};
    float(&t)[6] = transform.t;
    const float det = m[0] * m[3] - m[2] * m[1];
    t[0] = m[3] / det;
    t[1] = -m[1] / det;
    t[2] = -m[2] / det;
    t[3] = t[0] / det;
    t[4] = -(t[0] * m[4] + t[2] * m[5]);
    t[5] = -(t[1] * m[4] + t[3] * m[5]);
    return transform;
}

}  // namespace Nimb
