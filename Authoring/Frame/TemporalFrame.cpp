#include "Authoring/Frame/TemporalFrame.h"

#include "Authoring/Codec/MeshHeader.h"
#include "Authoring/Frame/FrameHeader.h"

#include <algorithm>

namespace Nimb::Authoring {
namespace {

void WriteTransform(const std::optional<std::array<float, 6>>& transform, ByteWriter& out) {
    out.U8(transform ? 1 : 0);
    if (transform) {
        for (const float coefficient : *transform) {
            out.F32(coefficient);
        }
    }
}

/// Adds a sub-frame to what the outer frame says of all of them.
void Accumulate(const EncodedFrame& sub, bool first, EncodedFrame& outer) {
    outer.maxError = std::max(outer.maxError, sub.maxError);
    const bool onlyKeysSoFar = first || outer.isKeyFrame;
    outer.oneDeltaVersion =
        outer.oneDeltaVersion && (onlyKeysSoFar || sub.isKeyFrame || sub.vertexVersion == outer.vertexVersion);
    outer.isKeyFrame = onlyKeysSoFar && sub.isKeyFrame;
    if (first || outer.vertexVersion == NTarnStudioVertexVersion::c_UnwrappedXYZUV) {
        outer.vertexVersion = sub.vertexVersion;
    }
    outer.box = first ? sub.box : Union(outer.box, sub.box);
    outer.numVertices += sub.numVertices;
    outer.numIndices += sub.numIndices;
}

}  // namespace

EncodedFrame AssembleTemporalFrame(const std::vector<PlacedFrame>& subFrames, const FrameOptions& options) {
    EncodedFrame frame;
    ByteWriter body;
    for (const PlacedFrame& sub : subFrames) {
        WriteTransform(sub.textureTransform, body);
    }
    for (std::size_t i = 0; i < subFrames.size(); ++i) {
        Accumulate(subFrames[i].frame, i == 0, frame);
        body.Append(subFrames[i].frame.bytes);
    }
    frame.box = options.box.value_or(frame.box);
    ByteWriter out;
    WriteFrameHeader(MakeTemporalHeader(options, frame, subFrames.size()), out);
    out.Append(body.Take());
    frame.bytes = out.Take();
    return frame;
}

}  // namespace Nimb::Authoring
