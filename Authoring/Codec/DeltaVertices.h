// Delta frames as three correction bytes a vertex, and their plain storage (vertex version 3).
// NimbCore/DeltaVertices.cpp decodes them; GolombVertices.h and HuffmanVertices.h store the same bytes in fewer.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/Mesh.h"
#include "NimbCore/NimbMeshReader.h"

namespace Nimb::Authoring {

/// The decoder's position histories before the frame, unclamped, as its context holds them.
struct DeltaHistory {
    const std::vector<Nimb::__vector4>* previous = nullptr;
    const std::vector<Nimb::__vector4>* older = nullptr;  ///< null when the frame before was a key frame
};

DeltaHistory HistoryOf(const Nimb::CNimbMeshReaderCtx& ctx);

/// What all storages carry.
struct DeltaCorrections {
    float min[3] = {};
    float max[3] = {};
    Bytes bytes;          ///< three a vertex
    double maxError = 0;  ///< largest distance of a decoded position from its target, before clamping to a box
};

/// Quantises what the decoder's prediction misses, each byte rounded to the value that decodes nearest to the target.
/// `maxError` is the distance that is good enough: steps are made that wide and no finer, since coarse steps make small
/// numbers and short codes. Where corrections span more than 255 such steps, or with `maxError` 0, the bytes span
/// exactly the corrections, and the result's own `maxError` tells how far off that is. std::invalid_argument when the
/// counts of history and targets differ.
DeltaCorrections QuantiseCorrections(const DeltaHistory& history, const std::vector<Vec3>& targets, double maxError);

/// On how many axes corrections differ by more than a step, so that no one byte serves all vertices.
std::size_t CountVaryingAxes(const DeltaHistory& history, const std::vector<Vec3>& targets, double maxError);

/// The vertex section of one frame, without normals.
Bytes WritePlainDeltas(const DeltaCorrections& corrections);

/// The size of every section of so many vertices, wherever bytes differ.
std::size_t LeastPlainBytes(std::size_t numVertices, std::size_t numVaryingAxes);

}  // namespace Nimb::Authoring
