// The texture transform of a sub-mesh inside a temporal frame.
//
// A frame stores the coefficients m of a forward map; the reader applies t (NimbCore/TextureTransform.h), the inverse
// of m except that its fourth coefficient is t0 / det where an inverse has m0 / det. An encoder therefore solves for
// the m whose t is the wanted one, instead of inverting.
#pragma once

#include "NimbCore/NimbMeshReader.h"

#include <array>
#include <optional>

namespace Nimb::Authoring {

/// The t that maps a sub-mesh's texture coordinates into the atlas by u' = offsetU + scaleU u, v' = offsetV + scaleV v.
/// (The reader applies t to 1 - v and turns the result back.)
Nimb::STransform PlaceInAtlas(float scaleU, float scaleV, float offsetU, float offsetV);

/// Coefficients whose t is the wanted one up to rounding. None exist when t is singular, nor when exactly one of t0 and
/// t3 is zero.
std::optional<std::array<float, 6>> SolveTransform(const Nimb::STransform& wanted);

}  // namespace Nimb::Authoring
