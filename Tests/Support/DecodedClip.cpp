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

std::vector<std::size_t> MeshOffsets(const std::vector<unsigned char>& file) {
    const unsigned char begin[] = {0x18, 'T', 'A', 'R', 'N'};
    std::vector<std::size_t> offsets;
    for (auto at = file.begin();; ++at) {
        at = std::search(at, file.end(), std::begin(begin), std::end(begin));
        if (at == file.end()) {
            return offsets;
        }
        offsets.push_back(static_cast<std::size_t>(at - file.begin()));
    }
}

std::vector<ByteVector> MeshesOf(const std::vector<unsigned char>& byteStream) {
    std::vector<ByteVector> meshes;
    for (const std::size_t header : MeshOffsets(byteStream)) {
        const std::size_t startCode = header - 3, size = byteStream.size() - startCode;
        const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> stream(
            NimbCrossPlatform::FindCompressedMesh(byteStream.data() + startCode, size));
        if (stream == nullptr) {
            throw std::runtime_error("a mesh unit is damaged");
        }
        UINT32 count = 0;
        meshes.emplace_back(size);
        stream->Read(meshes.back().data(), static_cast<UINT32>(size), &count);
        meshes.back().resize(count);
    }
    return meshes;
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
