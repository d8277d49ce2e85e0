// A finished clip, taken apart by others than the encoder: the core's reader, and FFmpeg.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Tests/Support/TestSupport.h"

#include <string>
#include <vector>

namespace ToolTest {

constexpr std::size_t c_RecordBytes = 20;  ///< of decoded vertices: x, y, z, u, v

struct DecodedClip {
    std::vector<NimbTest::DecodedFrame> meshes;
    std::vector<Nimb::Authoring::Image> pictures;
};

/// Offsets of the NAL headers of all mesh units in a file, ascending; found without the tool's own reader.
std::vector<std::size_t> MeshOffsets(const std::vector<unsigned char>& file);

/// The meshes in a byte stream of samples, one after another, as the player's locator finds them.
std::vector<NimbTest::ByteVector> MeshesOf(const std::vector<unsigned char>& byteStream);

/// `folder`: for intermediate files.
DecodedClip DecodeClip(const std::string& path, std::size_t width, std::size_t height, const std::string& folder);

}  // namespace ToolTest
