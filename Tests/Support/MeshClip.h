// Clips of given mesh frames, and where their mesh units are in the file, found without the tool's own reader.
#pragma once

#include "Authoring/Codec/XtraAttributes.h"
#include "Authoring/Frame/FrameEncoder.h"

#include <string>
#include <vector>

namespace ToolTest {

/// Frames of 64 x 64 with numbered pictures.
void WriteMeshClip(const std::string& path, const std::vector<Nimb::Authoring::EncodedFrame>& frames);

/// What the atom of a clip of these frames should say.
Nimb::Authoring::FileAttributes AttributesOf(const std::vector<Nimb::Authoring::EncodedFrame>& frames);

/// Offsets of the NAL headers of all mesh units in a file, ascending.
std::vector<std::size_t> MeshOffsets(const std::vector<unsigned char>& file);

/// Two sheets as one temporal frame: a key frame, or deltas to it.
Nimb::Authoring::EncodedFrame EncodeTemporal(Nimb::Authoring::FrameEncoder& encoder, int number, bool isDelta);

}  // namespace ToolTest
