#include "Tests/Support/MeshClip.h"

#include "Clip/Write/Mp4Writer.h"
#include "Tests/Support/CounterFrame.h"

#include <algorithm>
#include <iterator>

namespace ToolTest {

using Nimb::Authoring::EncodedFrame;

Nimb::Authoring::FileAttributes AttributesOf(const std::vector<EncodedFrame>& frames) {
    Nimb::Authoring::FileAttributes attributes;
    Nimb::Authoring::Box box = frames.front().box;
    for (const EncodedFrame& frame : frames) {
        box = Nimb::Authoring::Union(box, frame.box);
        attributes.maxVertexCount = std::max(attributes.maxVertexCount, frame.numVertices);
        attributes.maxIndexCount = std::max(attributes.maxIndexCount, frame.numIndices);
    }
    attributes.frameCount = static_cast<UINT32>(frames.size());
    attributes.bboxMin = {box.min.x, box.min.y, box.min.z};
    attributes.bboxMax = {box.max.x, box.max.y, box.max.z};
    return attributes;
}

void WriteMeshClip(const std::string& path, const std::vector<EncodedFrame>& frames) {
    constexpr int size = 64;
    Nimb::Authoring::VideoTrackOptions video;
    video.width = size;
    video.height = size;
    video.preset = "veryfast";
    Nimb::Authoring::Mp4Writer writer(path, video);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto pixels = ClipTest::PaintNumber(static_cast<int>(i), size, size);
        writer.AddFrame(pixels.data(), size * 4, frames[i].bytes);
    }
    writer.Finish(AttributesOf(frames));
}

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

EncodedFrame EncodeTemporal(Nimb::Authoring::FrameEncoder& encoder, int number, bool isDelta) {
    const Nimb::Authoring::Mesh meshes[] = {ClipTest::MakeNumberedMesh(number),
                                            ClipTest::MakeNumberedMesh(number, 5, 4)};
    std::vector<Nimb::Authoring::SubFrame> parts(2);
    for (UINT32 i = 0; i < 2; ++i) {
        parts[i].mesh = &meshes[i];
        parts[i].key.subMeshId = i + 1;
        if (isDelta) {
            parts[i].delta.emplace();
            parts[i].delta->subMeshId = i + 1;
            parts[i].delta->coding = Nimb::Authoring::DeltaCoding::Plain;
        }
    }
    return encoder.TemporalFrame(parts);
}

}  // namespace ToolTest
