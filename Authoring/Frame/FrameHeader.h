// The headers of frames, and whether what is to be said in them can be said.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Frame/EncodedFrame.h"
#include "Authoring/Frame/FrameOptions.h"
#include "Authoring/Frame/Topology.h"
#include "NimbCore/NimbMeshReader.h"

namespace Nimb::Authoring {

/// std::invalid_argument for normals that the mesh does not have, and for a box that is not one.
void CheckOptions(const Mesh& mesh, const FrameOptions& options);

CStreamingMeshHeader MakeKeyHeader(const KeyFrameOptions& options, const Topology& topology, std::size_t numVertices,
                                   std::size_t numFaces, const Box& box);

/// `topology`: that of the key frame before it.
CStreamingMeshHeader MakeDeltaHeader(const FrameOptions& options, BYTE vertexVersion, const Topology& topology,
                                     const Box& box);

/// `frame`: what the sub-frames amount to together.
CStreamingMeshHeader MakeTemporalHeader(const FrameOptions& options, const EncodedFrame& frame,
                                        std::size_t numSubFrames);

}  // namespace Nimb::Authoring
