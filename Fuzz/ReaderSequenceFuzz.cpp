// Any bytes as a sequence of frames through one reader: the first byte chooses the output layout, then each frame is
// its length (two bytes, little-endian) and its bytes. Outcomes may not depend on what memory held before, and a key
// frame behind them decodes as it should, even with one in between that claims all the memory that contexts may have.
#include "Fuzz/Require.h"
#include "Nimb/NimbAssert.h"
#include "Tests/Support/TestSupport.h"

namespace {

constexpr UINT32 c_LargestBuffer = 1u << 20;  // frames are filled and compared as a whole, and that takes time

/// A triangle of its own, with version, box, counts, three records and three raw indices.
NimbTest::ByteVector KeyFrame() {
    NimbTest::ByteVector frame(28 + 12 + 3 * 12 + 3 * 4);
    const BYTE version[4] = {2, 1, 5, 1};
    const float box[6] = {0, 0, 0, 1, 2, 4};
    const UINT32 counts[3] = {3, 1, 3};
    const UINT32 indices[3] = {0, 1, 2};
    std::memcpy(&frame[0], version, sizeof(version));
    std::memcpy(&frame[4], box, sizeof(box));
    std::memcpy(&frame[28], counts, sizeof(counts));
    for (std::size_t i = 0; i < 36; ++i) {
        frame[40 + i] = static_cast<BYTE>(37 * i);
    }
    std::memcpy(&frame[76], indices, sizeof(indices));
    return frame;
}

/// The header of a sub-mesh that is as large as it may be.
NimbTest::ByteVector LargestClaim() {
    NimbTest::ByteVector frame = KeyFrame();
    const UINT32 fields[4] = {0xFFFFFFF0, static_cast<UINT32>((Nimb::c_MaxContextBytes - 512) / 53), 0, 0};
    frame[1] |= NTarnStudioFormatFlags::c_HasSubMeshId;
    frame.resize(28 + sizeof(fields));
    std::memcpy(&frame[28], fields, sizeof(fields));
    return frame;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Nimb::SetAssertionSink([](const Nimb::AssertionInfo&) {});
    if (size == 0) {
        return 0;
    }
    const UINT32 formats[4] = {5, 7, 13, 15};
    const UINT32 format = formats[data[0] & 3];
    NimbTest::FrameReader reader(format, 0x00, c_LargestBuffer), again(format, 0xA7, c_LargestBuffer);
    std::size_t at = 1;
    while (size - at >= 2) {
        const std::size_t wanted = data[at] | static_cast<std::size_t>(data[at + 1]) << 8;
        at += 2;
        const std::size_t length = std::min(wanted, size - at);
        const NimbTest::ByteVector frame(data + at, data + at + length);
        at += length;
        Require(reader.Decode(frame) == again.Decode(frame));
    }
    Require(Failed(reader.Decode(LargestClaim()).hr));
    const NimbTest::ByteVector key = KeyFrame();
    const NimbTest::DecodedFrame last = reader.Decode(key);
    Require(last.hr == S_OK && last == NimbTest::FrameReader(format).Decode(key));
    return 0;
}
