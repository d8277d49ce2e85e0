// A procedural, articulated human figure of the size of a captured one: 30,000 vertices and 55,000 triangles exactly.
//
// Ten closed-looking tubes (torso, head, two arms, legs, hands and feet) are unwrapped into 52 rectangular charts of
// one texture atlas. Vertices on chart borders are repeated, once for each chart that they belong to, as every exporter
// of textured meshes does. Fifteen joints move the figure; a ripple of a few millimetres stands for cloth and for the
// noise of a capture, so that motion between frames is not purely affine. The same arguments give the same mesh.
//
// The demo's figure cannot stand in for it, however dense: it is six meshes of smooth parts that move rigidly, which
// suits some codings far better than a capture does.
#pragma once

#include "Authoring/Codec/Mesh.h"

namespace Bench {

constexpr std::size_t c_BodyVertices = 30000;
constexpr std::size_t c_BodyFaces = 55000;

/// The figure `seconds` into its walk. Topology, vertex order and texture coordinates do not depend on the time.
Nimb::Authoring::Mesh MakeBody(double seconds);

/// `count` consecutive frames at 30 frames a second.
std::vector<Nimb::Authoring::Mesh> MakeBodyClip(std::size_t count);

}  // namespace Bench
