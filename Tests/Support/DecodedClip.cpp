#include "Tests/Support/DecodedClip.h"

#include "NimbCore/NimbComPtr.h"
#include "Tests/Support/TestClip.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace ToolTest {

using NimbTest::ByteVector;

namespace {

std::vector<unsigned char> Ffmpeg(const std::string& arguments, const std::string& out) {
    const auto result = ClipTest::RunCommand("ffmpeg -v error -y " + arguments + " " + out);
    if (result.status != 0 || !result.output.empty()) {
        throw std::runtime_error("ffmpeg " + arguments + ": " + result.output);
    }
    return ClipTest::ReadFile(out);
}

}  // namespace

std::vector<ByteVector> MeshesOf(const std::vector<unsigned char>& byteStream) {
    const BYTE unit[] = {0, 0, 1, 0x18, 'T', 'A', 'R', 'N'};
    std::vector<ByteVector> meshes;
    for (auto at = byteStream.begin();; ++at) {
        at = std::search(at, byteStream.end(), std::begin(unit), std::end(unit));
        if (at == byteStream.end()) {
            return meshes;
        }
        const auto size = static_cast<std::size_t>(byteStream.end() - at);
        const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> stream(NimbCrossPlatform::FindCompressedMesh(&*at, size));
        if (stream == nullptr) {
            throw std::runtime_error("a mesh unit is damaged");
        }
        UINT32 count = 0;
        meshes.emplace_back(size);
        stream->Read(meshes.back().data(), static_cast<UINT32>(size), &count);
        meshes.back().resize(count);
    }
}

DecodedClip DecodeClip(const std::string& path, std::size_t width, std::size_t height, const std::string& folder) {
    DecodedClip clip;
    NimbTest::FrameReader reader(13);
    const auto stream = Ffmpeg("-i " + path + " -map 0:0 -c copy -bsf:v h264_mp4toannexb -f h264", folder + "/h264");
    for (const ByteVector& mesh : MeshesOf(stream)) {
        clip.meshes.push_back(reader.Decode(mesh));
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
