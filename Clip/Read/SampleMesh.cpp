#include "Clip/Read/SampleMesh.h"

#include "Nimb/NimbAssert.h"
#include "NimbCore/MeshUnit.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <cstring>

namespace Nimb::Authoring {
namespace {

// Offsets from the NAL header; Authoring/Codec/MeshPayload.cpp writes it.
constexpr std::size_t c_SizeOffset = 9;
constexpr std::size_t c_PayloadOffset = 23;

bool IsSlice(BYTE nalHeader) {
    return (nalHeader & 0x1F) >= 1 && (nalHeader & 0x1F) <= 5;
}

void DescribeUnit(const BYTE* unit, std::size_t size, SampleMesh& mesh) {
    if (size >= c_PayloadOffset) {
        const BYTE* const p = unit + c_SizeOffset;  // p[2] is not part of the size
        mesh.payloadBytes = UINT32{p[0]} | UINT32{p[1]} << 8 | UINT32{p[3]} << 16 | UINT32{p[4]} << 24;
        mesh.isPayloadInUnit = mesh.payloadBytes <= size - c_PayloadOffset;
    }
}

std::optional<Bytes> ReadFrame(const Bytes& byteStream) {
    const Nimb::AssertionCapture assertions;
    const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> stream(
        NimbCrossPlatform::FindCompressedMesh(byteStream.data(), byteStream.size()));
    if (stream == nullptr) {
        return std::nullopt;
    }
    Bytes frame(byteStream.size());
    UINT32 size = 0;
    stream->Read(frame.data(), static_cast<UINT32>(frame.size()), &size);
    frame.resize(size);
    return frame;
}

}  // namespace

SampleMesh FindMesh(const ClipSample& sample) {
    SampleMesh mesh;
    mesh.offset = sample.offset;
    bool isBehindSlice = false;
    std::size_t endOfPrevious = 0;
    for (const SampleUnit& unit : sample.units) {
        const BYTE* const bytes = sample.bytes.data() + unit.offset;
        if (NimbCrossPlatform::IsMeshNalUnit(bytes, unit.size)) {
            if (mesh.unitCount++ == 0) {
                mesh.offset = sample.offset + unit.offset;
                mesh.storedBytes = unit.offset + unit.size - endOfPrevious;
                mesh.isBehindSlice = isBehindSlice;
                DescribeUnit(bytes, unit.size, mesh);
            }
        } else if (unit.size != 0 && IsSlice(bytes[0])) {
            isBehindSlice = true;
        }
        endOfPrevious = unit.offset + unit.size;
    }
    mesh.frame = ReadFrame(sample.byteStream);
    return mesh;
}

}  // namespace Nimb::Authoring
