// The mesh payload of a video sample: the reader's rules, hostile samples, and the writer against the reader.
#include "Authoring/Codec/MeshPayload.h"
#include "Tests/Support/MeshPayloadModel.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <stdexcept>
#include <string>

namespace {

using Nimb::Authoring::NalFraming;
using Nimb::Authoring::WriteMeshNalUnit;
using NimbCrossPlatform::FindCompressedMesh;
using NimbTest::Bytes;
using NimbTest::ModelMeshFrame;
using NimbTest::ReadMeshFrame;

constexpr std::size_t c_HeaderSize = 26;
const Bytes c_Lead(8, 0xEE);

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// A unit whose size field says `size`, whatever the payload.
Bytes RawUnit(UINT32 size, const Bytes& payload, BYTE nalHeader = 0x18, BYTE byte14 = 0x03) {
    const auto b = [&](int shift) { return static_cast<BYTE>(size >> shift); };
    const Bytes header = {0, 0, 1, nalHeader, 'T', 'A', 'R', 'N', 9, 9, 9, 9, b(0), b(8), byte14, b(16), b(24)};
    return header + Bytes(9, 9) + payload;
}

Bytes RawUnit(const Bytes& payload) {
    return RawUnit(static_cast<UINT32>(payload.size()), payload);
}

std::optional<Bytes> ReadEscaped(const Bytes& escaped) {
    return ReadMeshFrame(RawUnit(c_Lead + escaped));
}

TEST(MeshPayload, UnescapesByItsOwnRule) {
    EXPECT_EQ(ReadEscaped({}), Bytes{});
    EXPECT_EQ(ReadEscaped({0, 0, 3, 1}), (Bytes{0, 0, 1}));
    EXPECT_EQ(ReadEscaped({0, 0, 3, 3, 7}), (Bytes{0, 0, 3, 7}));
    EXPECT_EQ(ReadEscaped({0, 0, 3, 4}), (Bytes{0, 0, 3, 4}));
    EXPECT_EQ(ReadEscaped({7, 0, 0, 0, 3, 2}), (Bytes{7, 0, 0, 0, 2}));
    // The byte behind a removed 03 starts no further pattern.
    EXPECT_EQ(ReadEscaped({0, 0, 3, 0, 0, 3, 1}), (Bytes{0, 0, 0, 0, 3, 1}));
    // A pattern needs a byte behind it inside the payload, even if the sample goes on.
    EXPECT_EQ(ReadEscaped({5, 0, 0, 3}), (Bytes{5, 0, 0, 3}));
    EXPECT_EQ(ReadMeshFrame(RawUnit(11, c_Lead + Bytes{0, 0, 3, 1})), (Bytes{0, 0, 3}));
}

TEST(MeshPayload, SizeFieldIsLittleEndianAroundByte14) {
    const Bytes payload(0x0203, 0xAB);
    for (const int byte14 : {0x00, 0x03, 0xFF}) {
        EXPECT_EQ(ReadMeshFrame(RawUnit(0x0203, payload, 0x18, static_cast<BYTE>(byte14))), Bytes(0x0203 - 8, 0xAB));
    }
    const Bytes large(0x010204, 0xAB);
    EXPECT_EQ(ReadMeshFrame(RawUnit(0x010203, large)), Bytes(0x010203 - 8, 0xAB));
}

TEST(MeshPayload, SizesThatTheSampleDoesNotBackAreRefused) {
    const Bytes payload(64, 0xAB);
    EXPECT_EQ(ReadMeshFrame(RawUnit(64, payload))->size(), 56u);
    EXPECT_EQ(ReadMeshFrame(RawUnit(8, payload))->size(), 0u);
    for (const UINT32 size :
         {0u, 1u, 7u, 65u, 0x01000040u, 0x7FFFFFFFu, 0x80000000u, 0x80000040u, 0xFFFFFFC0u, 0xFFFFFFFFu}) {
        EXPECT_FALSE(ReadMeshFrame(RawUnit(size, payload))) << size;
    }
    // Long enough as stored, too short once unescaped.
    EXPECT_FALSE(ReadMeshFrame(RawUnit({0, 0, 3, 0, 0, 0, 3, 0})));
    EXPECT_EQ(ReadMeshFrame(RawUnit({0, 0, 3, 0, 0, 0, 3, 0, 7, 7})), Bytes{});
}

TEST(MeshPayload, SkipsOtherUnitsAndTakesTheFirstMesh) {
    const Bytes unit = RawUnit(c_Lead + Bytes{1, 2, 3});
    const Bytes sei = {0, 0, 0, 1, 0x06, 5, 1, 0xAA, 0x80};
    const Bytes slice = {0, 0, 1, 0x65, 'T', 'A', 'R', 'N', 0x88, 0, 0, 3, 1};
    EXPECT_EQ(ReadMeshFrame(sei + slice + Bytes{0} + unit + slice), (Bytes{1, 2, 3}));
    EXPECT_EQ(ReadMeshFrame(RawUnit(8, c_Lead, 0x15)), Bytes{});
    for (const BYTE other : {BYTE{0x38}, BYTE{0x35}, BYTE{0x98}, BYTE{0x14}, BYTE{0x19}}) {
        EXPECT_FALSE(ReadMeshFrame(RawUnit(8, c_Lead, other))) << int{other};
    }
    EXPECT_EQ(ReadMeshFrame(RawUnit(c_Lead + Bytes{4}) + unit), (Bytes{4}));
    EXPECT_FALSE(ReadMeshFrame(RawUnit(0x10000, c_Lead) + unit)) << "a broken first unit hides the second";
}

TEST(MeshPayload, RejectedCandidateSkipsItsFirstMagicByte) {
    const Bytes unit = RawUnit(c_Lead + Bytes{1, 2, 3});
    EXPECT_FALSE(ReadMeshFrame(Bytes{0, 0, 1, 0x18} + unit)) << "the jump lands inside the unit's start code";
    EXPECT_EQ(ReadMeshFrame(Bytes{0, 0, 1, 0x18, 'T'} + unit), (Bytes{1, 2, 3}));
    EXPECT_EQ(ReadMeshFrame(Bytes{0, 0, 1, 0x18} + unit + unit), (Bytes{1, 2, 3}));
}

TEST(MeshPayload, EverySequenceOfPiecesAgreesWithTheStepRule) {
    const Bytes unit = RawUnit(c_Lead + Bytes{0, 0, 3, 1});
    const std::vector<Bytes> pieces = {
        {0}, {1}, {0x18}, {0, 0, 1}, {0, 0, 1, 0x18}, {0, 0, 1, 0x15, 'T'}, {'T', 'A', 'R', 'N'}, {0, 0, 1, 0x65, 0xFF},
        unit};
    constexpr std::size_t c_Length = 5;
    std::size_t found = 0;
    std::size_t index[c_Length] = {};
    for (std::size_t i = 0; i < c_Length;) {
        Bytes sample;
        for (const std::size_t piece : index) {
            sample = std::move(sample) + pieces[piece];
        }
        const std::optional<Bytes> frame = ReadMeshFrame(sample);
        ASSERT_EQ(frame, ModelMeshFrame(sample)) << testing::PrintToString(sample);
        found += frame ? 1 : 0;
        for (i = 0; i < c_Length && ++index[i] == pieces.size(); ++i) {
            index[i] = 0;
        }
    }
    EXPECT_GT(found, 1000u);
}

TEST(MeshPayload, TruncatedSamplesHaveNoMesh) {
    EXPECT_EQ(FindCompressedMesh(nullptr, 0), nullptr);
    const Bytes frame = {0, 0, 3, 1, 0, 0, 0, 1, 5};
    const Bytes before = {0, 0, 0, 1, 0x09, 0x10, 0};
    const Bytes complete = before + WriteMeshNalUnit(frame.data(), frame.size(), NalFraming::AnnexB);
    for (std::size_t size = 0; size < complete.size(); ++size) {
        ASSERT_FALSE(ReadMeshFrame(Bytes(complete.begin(), complete.begin() + static_cast<std::ptrdiff_t>(size))))
            << size;
    }
    EXPECT_EQ(ReadMeshFrame(complete), frame);
}

/// Everything a unit promises, for one frame. Returns a description of what is broken, or an empty string.
std::string CheckUnit(const Bytes& frame) {
    const Bytes annexB = WriteMeshNalUnit(frame.data(), frame.size(), NalFraming::AnnexB);
    if (NimbTest::ContainsStartCode(annexB.data() + 1, annexB.data() + annexB.size())) {
        return "start code inside the unit";
    }
    if (annexB.back() == 0) {
        return "unit ends in a zero byte";
    }
    if (ReadMeshFrame(annexB) != frame) {
        return "frame comes back changed";
    }
    if (ReadMeshFrame(Bytes{0, 0, 0, 1, 0x09, 0x10, 0} + annexB + Bytes{0, 0, 0, 1, 0x65, 0x88}) != frame) {
        return "frame comes back changed from between other units";
    }
    return {};
}

void CheckAllFrames(const Bytes& alphabet, std::size_t maxLength) {
    for (std::size_t length = 0; length <= maxLength; ++length) {
        std::vector<std::size_t> digits(length);
        for (bool more = true; more;) {
            Bytes frame;
            for (const std::size_t digit : digits) {
                frame.push_back(alphabet[digit]);
            }
            ASSERT_EQ(CheckUnit(frame), "") << testing::PrintToString(frame);
            more = false;
            for (std::size_t& digit : digits) {
                if (++digit != alphabet.size()) {
                    more = true;
                    break;
                }
                digit = 0;
            }
        }
    }
}

TEST(MeshNalUnit, EveryShortFrameSurvives) {
    CheckAllFrames({0, 1, 2, 3, 4, 0xFF}, 6);
    CheckAllFrames({0, 1, 3, 4}, 9);
}

TEST(MeshNalUnit, LongRunsOfZerosSurvive) {
    for (std::size_t zeros = 0; zeros < 70; ++zeros) {
        for (const BYTE next : {BYTE{0}, BYTE{1}, BYTE{2}, BYTE{3}, BYTE{4}}) {
            ASSERT_EQ(CheckUnit(Bytes(zeros, 0) + Bytes{next} + Bytes(zeros, 0)), "") << zeros << ' ' << int{next};
        }
    }
    ASSERT_EQ(CheckUnit(Bytes(1 << 20, 0)), "");
}

TEST(MeshNalUnit, SizeFieldFullOfZerosAndOnesMakesNoStartCode) {
    for (const std::size_t payload : {0x100u, 0x101u, 0x10000u, 0x10001u, 0x10100u, 0x1000000u, 0x1010000u}) {
        ASSERT_EQ(CheckUnit(Bytes(payload - 8, 0x77)), "") << payload;
    }
}

TEST(MeshNalUnit, LayoutAndFramings) {
    const Bytes frame = {7, 0, 0, 1, 0, 0};
    const Bytes annexB = WriteMeshNalUnit(frame.data(), frame.size(), NalFraming::AnnexB);
    const Bytes bare = WriteMeshNalUnit(frame.data(), frame.size(), NalFraming::Bare);
    EXPECT_EQ(Bytes(annexB.begin(), annexB.begin() + 8), (Bytes{0, 0, 1, 0x18, 'T', 'A', 'R', 'N'}));
    // 8 lead bytes, one escape, and a last byte that the size field leaves out.
    EXPECT_EQ(Bytes(annexB.begin() + 12, annexB.begin() + 17), (Bytes{15, 0, 3, 0, 0}));
    EXPECT_EQ(Bytes(annexB.begin() + c_HeaderSize + 8, annexB.end()), (Bytes{7, 0, 0, 3, 1, 0, 0, 3}));
    EXPECT_EQ(bare, Bytes(annexB.begin() + 3, annexB.end()));
}

TEST(MeshNalUnit, FramesBeyondTheSizeFieldAreRefused) {
    const BYTE frame[1] = {};  // refused by its length alone, before it is read
    for (const std::size_t size : {std::size_t{0x7FFFFFFF} + 1, std::size_t{1} << 40, ~std::size_t{0}}) {
        EXPECT_THROW(WriteMeshNalUnit(frame, size, NalFraming::Bare), std::length_error) << size;
    }
}

}  // namespace
