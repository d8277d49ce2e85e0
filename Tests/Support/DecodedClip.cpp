#include "Tests/Support/DecodedClip.h"

#include "NimbCore/NimbComPtr.h"
#include "Tests/Support/TestClip.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace ToolTest {
namespace {

std::vector<unsigned char> Ffmpeg(const std::string& arguments, const std::string& out) {
    const auto result = ClipTest::RunCommand("ffmpeg -v error -y " + arguments + " " + out);
    if (result.status != 0 || !result.output.empty()) {
        throw std::runtime_error("ffmpeg " + arguments + ": " + result.output);
    }
    return ClipTest::ReadFile(out);
}

}  // namespace

DecodedClip DecodeClip(const std::string& path, std::size_t width, std::size_t height, const std::string& folder) {
    DecodedClip clip;
    NimbTest::FrameReader reader(13);
    const auto stream = Ffmpeg("-i " + path + " -map 0:0 -c copy -bsf:v h264_mp4toannexb -f h264", folder + "/h264");
    const BYTE unit[] = {0, 0, 1, 0x18, 'T', 'A', 'R', 'N'};
    for (auto at = stream.begin();; ++at) {
        at = std::search(at, stream.end(), std::begin(unit), std::end(unit));
        if (at == stream.end()) {
            break;
        }
        const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> mesh(
            NimbCrossPlatform::FindCompressedMesh(&*at, static_cast<std::size_t>(stream.end() - at)));
        if (mesh == nullptr) {
            throw std::runtime_error("a mesh unit is damaged");
        }
        clip.meshes.push_back(reader.Decode(*mesh.p));
    }
    const auto pixels = Ffmpeg("-i " + path + " -f rawvideo -pix_fmt rgba", folder + "/rgba");
    for (std::size_t at = 0; at + width * height * 4 <= pixels.size(); at += width * height * 4) {
        clip.pictures.emplace_back(width, height);
        std::copy_n(pixels.begin() + static_cast<std::ptrdiff_t>(at), width * height * 4,
                    clip.pictures.back().rgba.begin());
    }
    return clip;
}

}  // namespace ToolTest
