// Any bytes as a mesh frame: the unit around it holds no start code, does not end in a zero byte, and gives the frame
// back from among other units, in both framings. The first byte of the input says how many bytes go before the unit and
// how many behind.
#include "Authoring/Codec/MeshPayload.h"
#include "Fuzz/Require.h"
#include "Tests/Support/MeshPayloadModel.h"

namespace {

using NimbTest::Bytes;

Bytes Join(const Bytes& a, const Bytes& b, const Bytes& c) {
    Bytes all(a);
    all.insert(all.end(), b.begin(), b.end());
    all.insert(all.end(), c.begin(), c.end());
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::size_t beforeSize = std::min<std::size_t>(data[0] & 15, size - 1);
    const std::size_t behindSize = std::min<std::size_t>(data[0] >> 4, size - 1 - beforeSize);
    const std::uint8_t* const end = data + size;
    const Bytes before(data + 1, data + 1 + beforeSize);
    const Bytes frame(data + 1 + beforeSize, end - behindSize);
    const Bytes behind(end - behindSize, end);

    const Bytes unit =
        Nimb::Authoring::WriteMeshNalUnit(frame.data(), frame.size(), Nimb::Authoring::NalFraming::AnnexB);
    Require(!NimbTest::ContainsStartCode(unit.data() + 1, unit.data() + unit.size()));
    Require(unit.back() != 0);
    Require(NimbTest::ReadMeshFrame(Join({}, unit, behind)) == frame);

    const Bytes bare = Nimb::Authoring::WriteMeshNalUnit(frame.data(), frame.size(), Nimb::Authoring::NalFraming::Bare);
    Require(Join({0, 0, 1}, bare, {}) == unit);
    // A start code before the unit could only be that of a rejected candidate, whose jump may hide the unit.
    if (!NimbTest::ContainsStartCode(before.data(), before.data() + before.size())) {
        Require(NimbTest::ReadMeshFrame(Join(before, Join({0, 0, 0, 1}, bare, behind), {})) == frame);
    }

    // Without its last payload byte there is no mesh: the writer adds at most one byte that the payload does not count.
    Require(!NimbTest::ReadMeshFrame(Bytes(unit.begin(), unit.end() - 2)));
    return 0;
}
