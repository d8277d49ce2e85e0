// What a capture's delivery makes of a clip: tracked over short runs, quantised, and numbered anew in every frame.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Bench/Peers.h"

#include <cstddef>
#include <vector>

namespace Bench {

constexpr std::size_t c_RunFrames = 25;

/// A clip of constant topology as a capture that was tracked over runs of `runFrames` frames and published in Draco
/// files, 11 bits for positions and 10 for texture coordinates: charts are cut anew with each run, some edges are so
/// short that quantisation collapses them in some frames and not in others, and vertices and faces come in another
/// order in every frame. The same arguments give the same meshes.
std::vector<Nimb::Authoring::Mesh> SimulateCapture(const std::vector<Nimb::Authoring::Mesh>& clip, unsigned seed,
                                                   std::size_t runFrames = c_RunFrames);

/// Vertices equal in all attributes are one; triangles that lost a corner are gone. std::runtime_error when it cannot
/// be decoded.
Nimb::Authoring::Mesh DecodeWithDraco(const draco::EncoderBuffer& encoded);

/// One frame through Draco's encoder and decoder.
Nimb::Authoring::Mesh ThroughDraco(const Nimb::Authoring::Mesh& mesh);

/// A run of at most c_RunFrames frames as the encoder sees it: in one topology, vertices in the order in which
/// EdgeBreaker indices have them decoded. std::runtime_error when a frame does not join the run.
std::vector<Nimb::Authoring::Mesh> TrackCapture(const std::vector<Nimb::Authoring::Mesh>& capture, double maxError);

}  // namespace Bench
