#include "NimbClip/SampleMesh.h"

#include "Nimb/NimbAssert.h"
#include "NimbClip/AvcSamples.h"
#include "NimbCore/MeshUnit.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <utility>

namespace Nimb {
namespace Clip {
namespace {

// Offsets from the NAL header; NimbCore/MeshPayload.cpp has the whole unit.
constexpr std::size_t c_SizeOffset = 9;
constexpr std::size_t c_PayloadOffset = 23;

bool IsSlice(BYTE nalHeader) {
    return (nalHeader & 0x1F) >= 1 && (nalHeader & 0x1F) <= 5;
}

void DescribeUnit(const BYTE* unit, std::size_t size, SampleMesh& mesh) {
    if (size >= c_PayloadOffset) {
        const BYTE* const p = unit + c_SizeOffset;  // p[2] is not part of the size
        mesh.payloadBytes =
            std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[3]} << 16 | std::uint32_t{p[4]} << 24;
        mesh.isPayloadInUnit = mesh.payloadBytes <= size - c_PayloadOffset;
    }
}

void ReadFrame(SampleMesh& mesh) {
    const AssertionCapture assertions;
    const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> stream(
        NimbCrossPlatform::FindCompressedMesh(mesh.byteStream.data(), mesh.byteStream.size()));
    mesh.isFound = stream != nullptr;
    if (mesh.isFound) {
        mesh.frame.resize(mesh.byteStream.size());
        UINT32 size = 0;
        stream->Read(mesh.frame.data(), static_cast<UINT32>(mesh.frame.size()), &size);
        mesh.frame.resize(size);
    }
}

}  // namespace

void FindMesh(const Bytes& sample, std::size_t lengthSize, SampleMesh& mesh) {
    SampleMesh fresh;
    fresh.frame.swap(mesh.frame);
    fresh.byteStream.swap(mesh.byteStream);
    mesh = std::move(fresh);
    mesh.frame.clear();
    mesh.byteStream.clear();
    mesh.byteStream.reserve(sample.size() + 64);
    bool isBehindSlice = false;
    std::size_t endOfPrevious = 0;
    ForEachUnit(sample, lengthSize, [&](const BYTE* unit, std::size_t size) {
        AppendUnit(unit, size, mesh.byteStream);
        const std::size_t offset = static_cast<std::size_t>(unit - sample.data());
        if (NimbCrossPlatform::IsMeshNalUnit(unit, size)) {
            if (mesh.unitCount++ == 0) {
                mesh.offset = offset;
                mesh.storedBytes = offset + size - endOfPrevious;
                mesh.isBehindSlice = isBehindSlice;
                DescribeUnit(unit, size, mesh);
            }
        } else if (size != 0 && IsSlice(unit[0])) {
            isBehindSlice = true;
        }
        endOfPrevious = offset + size;
    });
    ReadFrame(mesh);
}

}  // namespace Clip
}  // namespace Nimb
