#include "Authoring/Codec/TextureTransform.h"

#include <cmath>

namespace Nimb::Authoring {

Nimb::STransform PlaceInAtlas(float scaleU, float scaleV, float offsetU, float offsetV) {
    return {{scaleU, 0.0f, 0.0f, scaleV, offsetU, (1.0f - scaleV) - offsetV}};
}

std::optional<std::array<float, 6>> SolveTransform(const Nimb::STransform& wanted) {
    const double t0 = wanted.t[0], t1 = wanted.t[1], t2 = wanted.t[2];
    const double t3 = wanted.t[3], t4 = wanted.t[4], t5 = wanted.t[5];
    const double wantedDet = t0 * t3 - t1 * t2;
    if (wantedDet == 0 || (t0 == 0) != (t3 == 0)) {
        return std::nullopt;
    }
    // t3 = t0 / det fixes the determinant of m. Where both are zero m0 is free, and m1 m2 = -det fixes it instead.
    const double det = t0 != 0 ? t0 / t3 : -1 / (t1 * t2);
    const double m1 = -t1 * det, m2 = -t2 * det, m3 = t0 * det;
    const double m0 = t0 != 0 ? (det + m2 * m1) / m3 : 0;
    // t4 and t5 are minus the linear part of t applied to (m4, m5).
    const double m4 = -(t3 * t4 - t2 * t5) / wantedDet;
    const double m5 = -(t0 * t5 - t1 * t4) / wantedDet;

    const std::array<double, 6> exact = {m0, m1, m2, m3, m4, m5};
    std::array<float, 6> m{};
    for (std::size_t i = 0; i < m.size(); ++i) {
        m[i] = static_cast<float>(exact[i]);
        if (!std::isfinite(m[i])) {
            return std::nullopt;
        }
    }
    return m;
}

}  // namespace Nimb::Authoring
