// Delta frames: prediction and history, and the plain, Huffman- and Golomb-coded ways to store their bytes.
#include "Fuzz/CodecModel.h"
#include "NimbCore/Golomb.h"
#include "Tests/Support/TestSupport.h"
#include "Tests/Support/Wire.h"

#include <gtest/gtest.h>

#include <cmath>

using Nimb::CNimbMeshReader;
using Nimb::CNimbMeshReaderCtx;
using NimbTest::AssertionRecorder;
using NimbTest::DecodedFrame;
using NimbTest::FrameReader;
using NimbTest::Wire;

namespace {

/// Key frame of two vertices in the box (0,0,0)-(65535,65535,65535), where quantised steps are one unit, and no faces.
Wire KeyFrame() {
    return Wire()
        .Version(2, 1, 5, 1)
        .Floats({0, 0, 0, 65535, 65535, 65535})
        .U32(2)
        .U32(0)
        .U32(0)
        .Vertex(100 - 32768, 200 - 32768, 300 - 32768, -32768, 32767)
        .Vertex(1000 - 32768, 2000 - 32768, 3000 - 32768, 0, 1);
}

Wire DeltaHeader(unsigned vertexVersion, unsigned flags = 1) {
    return Wire().Version(vertexVersion, flags, 6, 2).Floats({0, 0, 0, 65535, 65535, 65535});
}

/// A plain delta frame whose byte b stands for b units on every axis.
Wire PlainDelta(std::initializer_list<unsigned> bytes) {
    return DeltaHeader(3).Floats({0, 0, 0, 255, 255, 255}).Bytes(bytes);
}

std::vector<float> Positions(const DecodedFrame& frame) {
    const std::vector<float> floats = frame.Floats();
    std::vector<float> positions;
    for (std::size_t i = 0; i < floats.size(); i += 5) {
        positions.insert(positions.end(), {floats[i], floats[i + 1], floats[i + 2]});
    }
    return positions;
}

std::string FailureOf(const Wire& wire, HRESULT expected = E_UNEXPECTED) {
    AssertionRecorder recorder;
    FrameReader reader(13);
    EXPECT_EQ(reader.Read(KeyFrame()), S_OK);
    EXPECT_EQ(reader.Read(wire), expected);
    const std::string text = AssertionRecorder::Text();
    EXPECT_EQ(reader.Read(KeyFrame()), S_OK) << "the next key frame must decode";
    return text;
}

constexpr UINT32 c_NoBits = 0;

/// A Huffman section with one-leaf tables: every byte of axis a is 0, whatever its symbol.
Wire HuffmanHead(UINT32 x, UINT32 y, UINT32 z) {
    return DeltaHeader(7).Floats({0, 0, 0, 255, 255, 255}).U32(x).U32(y).U32(z);
}

Wire Frequencies(std::initializer_list<std::pair<std::size_t, INT32>> entries) {
    std::vector<INT32> table(256);
    for (const auto& entry : entries) {
        table[entry.first] = entry.second;
    }
    Wire wire;
    for (const INT32 value : table) {
        wire.U32(static_cast<UINT32>(value));
    }
    return wire;
}

}  // namespace

TEST(DeltaVertices, ExtrapolatesFromTheSecondFrameOn) {
    FrameReader reader(13);
    ASSERT_EQ(reader.Read(KeyFrame()), S_OK);
    ASSERT_EQ(reader.Read(PlainDelta({1, 2, 3, 0, 0, 255})), S_OK);
    EXPECT_EQ(Positions(reader.frame), (std::vector<float>{101, 202, 303, 1000, 2000, 3255}));
    // Without corrections the motion of the last step goes on.
    ASSERT_EQ(reader.Read(PlainDelta({0, 0, 0, 0, 0, 0})), S_OK);
    EXPECT_EQ(Positions(reader.frame), (std::vector<float>{102, 204, 306, 1000, 2000, 3510}));
    ASSERT_EQ(reader.Read(PlainDelta({10, 0, 0, 0, 0, 0})), S_OK);
    EXPECT_EQ(Positions(reader.frame), (std::vector<float>{113, 206, 309, 1000, 2000, 3765}));
    // A key frame starts over: no motion is predicted after it.
    ASSERT_EQ(reader.Read(KeyFrame()), S_OK);
    ASSERT_EQ(reader.Read(PlainDelta({0, 0, 0, 0, 0, 0})), S_OK);
    EXPECT_EQ(Positions(reader.frame), (std::vector<float>{100, 200, 300, 1000, 2000, 3000}));
}

TEST(DeltaVertices, OutputIsClampedHistoryIsNot) {
    FrameReader reader(13);
    ASSERT_EQ(reader.Read(KeyFrame()), S_OK);
    const Wire outside = DeltaHeader(3).Floats({-200, 0, 0, 0, 0, 0}).Bytes({0, 0, 0, 0, 0, 0});
    ASSERT_EQ(reader.Read(outside), S_OK);
    EXPECT_EQ(Positions(reader.frame)[0], 0.0f);
    const Wire still = DeltaHeader(3).Floats({300, 0, 0, 300, 0, 0}).Bytes({0, 0, 0, 0, 0, 0});
    ASSERT_EQ(reader.Read(still), S_OK);
    EXPECT_EQ(Positions(reader.frame)[0], 0.0f);  // -100 - 200 + 300: the history went on from -100, not from 0
    EXPECT_EQ(Positions(reader.frame)[3], 900.0f);
}

TEST(DeltaVertices, VerticesThatMeetGoOnByTheirOwnMotion) {
    // The last two records are missing, so the three vertices start in one place. The last two meet again on the way.
    FrameReader reader(13);
    Wire key = Wire().Version(2, 1, 5, 1).Floats({0, 0, 0, 65535, 65535, 65535}).U32(3).U32(0).U32(0);
    ASSERT_EQ(reader.Read(key.Vertex(0, 0, 0, -32768, 32767)), S_OK);
    const float start = Positions(reader.frame)[0];
    ASSERT_EQ(reader.Read(PlainDelta({0, 0, 0, 10, 10, 10, 0, 0, 0})), S_OK);
    ASSERT_EQ(reader.Read(PlainDelta({0, 0, 0, 0, 0, 0, 20, 20, 20})), S_OK);
    ASSERT_EQ(reader.Read(PlainDelta({0, 0, 0, 0, 0, 0, 0, 0, 0})), S_OK);
    const std::vector<float> p = Positions(reader.frame);
    EXPECT_EQ(p[0], start);
    EXPECT_EQ(p[3], start + 30);
    EXPECT_EQ(p[6], start + 40);
    EXPECT_EQ(reader.frame.Floats()[3], 0.0f) << "nor do they lose their texture coordinates";
    EXPECT_EQ(reader.frame.Floats()[4], 1.0f);
    EXPECT_GT(reader.frame.Floats()[8], 0.4f);
}

TEST(DeltaVertices, PlainSectionRejections) {
    EXPECT_EQ(FailureOf(DeltaHeader(3)), "bytesRead == sizeof(minx)");
    EXPECT_EQ(FailureOf(DeltaHeader(3).Floats({0, 0, 0})), "bytesRead == sizeof(maxx)");
    EXPECT_EQ(FailureOf(DeltaHeader(3).Floats({0, 0, 0, 1, 1}).U16(0)),
              "(((HRESULT)(hr)) >= 0) && bytesRead == sizeof(maxz)");
    EXPECT_EQ(FailureOf(PlainDelta({1, 2, 3, 4, 5})), "numBytes == bytesRead");
    EXPECT_EQ(FailureOf(DeltaHeader(6).UnitBox()), "Unsupported vertex format");

    AssertionRecorder recorder;
    FrameReader reader(13);
    EXPECT_EQ(reader.Read(PlainDelta({})), E_UNEXPECTED);
    EXPECT_EQ(AssertionRecorder::Text(), "pCtx->m_pPrevMesh");
}

TEST(HuffmanTree, TiesGoAsTheFormatSays) {
    std::vector<int> frequencies{1, 1, 1, 1, -5, 0, 2};
    std::vector<HuffmanCode> codes;
    HuffmanEncoding encoding;
    encoding.BuildTable(frequencies, codes);
    ASSERT_EQ(codes.size(), 257u);
    // Worked by hand: the heap pairs 0 with 2, then 1 with 3, then (0, 2) with 6.
    const struct {
        std::size_t symbol;
        INT32 numbits;
        UINT32 code;
    } expected[] = {{0, 3, 0b100}, {1, 2, 0b00}, {2, 3, 0b101}, {3, 2, 0b01}, {6, 2, 0b11}, {4, 0, 0}, {5, 0, 0}};
    for (const auto& e : expected) {
        EXPECT_EQ(codes[e.symbol].numbits, e.numbits) << e.symbol;
        EXPECT_EQ(codes[e.symbol].code, e.code) << e.symbol;
    }
}

TEST(HuffmanVertices, DecodesAxisByAxis) {
    FrameReader reader(13);
    ASSERT_EQ(reader.Read(KeyFrame()), S_OK);
    // x: 5 is left (0) and 9 right (1); y: no bits, all 0; z: three symbols, the most frequent with one bit.
    Wire wire = HuffmanHead(2, c_NoBits, 3);
    wire += Frequencies({{5, 1}, {9, 2}});
    wire.U32(0x40000000);  // 5, 9
    wire += Frequencies({{77, 3}});
    wire += Frequencies({{1, 1}, {2, 1}, {200, 5}});
    wire.U32(0xA0000000);  // 1, then 01
    ASSERT_EQ(reader.Read(wire), S_OK);
    const std::vector<float> p = Positions(reader.frame);
    EXPECT_EQ(p[0], 105.0f);
    EXPECT_EQ(p[3], 1009.0f);
    EXPECT_EQ(p[1], 200.0f);
    EXPECT_EQ(p[2], 500.0f);
    EXPECT_EQ(p[5], 3002.0f);
}

TEST(HuffmanVertices, FewerSymbolsThanVerticesLeaveZeros) {
    FrameReader reader(13);
    ASSERT_EQ(reader.Read(KeyFrame()), S_OK);
    Wire wire = HuffmanHead(1, c_NoBits, c_NoBits);
    wire += Frequencies({{5, 1}, {9, 1}});
    wire.U32(0) += Frequencies({});
    wire += Frequencies({});
    ASSERT_EQ(reader.Read(wire), S_OK);
    EXPECT_EQ(Positions(reader.frame)[0], 105.0f);
    EXPECT_EQ(Positions(reader.frame)[3], 1000.0f);
}

TEST(HuffmanVertices, Rejections) {
    const Wire two = Frequencies({{5, 1}, {9, 1}});
    const Wire none = Frequencies({});
    EXPECT_EQ(FailureOf(DeltaHeader(7).Floats({0, 0, 0, 1, 1, 1}).U32(1).U16(0)), "bytesRead == sizeof(numBits[i])");
    // More symbols than vertices, a one-leaf and an empty tree with bits, and words that the stream does not hold.
    EXPECT_EQ(FailureOf((((HuffmanHead(3, 0, 0) += two).U32(0) += none) += none)), "");
    EXPECT_EQ(FailureOf((((HuffmanHead(1, 0, 0) += Frequencies({{5, 1}})).U32(0) += none) += none)), "");
    EXPECT_EQ(FailureOf((((HuffmanHead(1, 0, 0) += none).U32(0) += none) += none)), "");
    EXPECT_EQ(FailureOf((HuffmanHead(33, 0, 0) += two).U32(0)), "");
    EXPECT_EQ(FailureOf((HuffmanHead(0xFFFFFFFF, 0, 0) += two).U32(0)), "");
}

TEST(GolombCode, LongStreamsEqualTheBitByBitRule) {
    for (const BYTE m : {BYTE{0}, BYTE{1}, BYTE{2}, BYTE{3}, BYTE{5}, BYTE{8}, BYTE{37}, BYTE{255}}) {
        std::vector<UINT32> words;
        UINT32 state = 12345u + m;
        for (int i = 0; i < 400; ++i) {
            state = state * 1664525u + 1013904223u;
            words.push_back(i % 37 == 5 ? 0xFFFFFFFFu : state);  // some very long quotients
        }
        words.back() = 0;  // ends every code
        constexpr UINT32 numBits = 400 * 32 - 16;
        std::vector<BYTE> whole;
        ASSERT_EQ(CGolombDecompressor().Decompress(words.data(), numBits, m, 9, whole), S_OK);

        CodecModel::Bits bits;
        bits.words.resize(4 * words.size());
        std::memcpy(bits.words.data(), words.data(), bits.words.size());
        ASSERT_EQ(whole, CodecModel::GolombAxis(bits, numBits, m, 9)) << "m = " << int{m};
    }
}

TEST(GolombVertices, DecodesAndRejects) {
    const auto section = [](std::initializer_list<UINT32> numBits) {
        Wire wire = DeltaHeader(4).Floats({0, 0, 0, 255, 255, 255}).Bytes({10, 20, 30, 2, 2, 2});
        for (const UINT32 bits : numBits) {
            wire.U32(bits);
        }
        return wire;
    };
    FrameReader reader(13);
    ASSERT_EQ(reader.Read(KeyFrame()), S_OK);
    // m = 2; the codes are 00 (0), 01 (-1) and 100 (+1).
    ASSERT_EQ(reader.Read(section({4, 5, 4}).U32(0x10000000).U32(0x60000000).U32(0)), S_OK);
    EXPECT_EQ(Positions(reader.frame), (std::vector<float>{110, 219, 330, 1009, 2021, 3030}));

    // Surplus symbols are ignored as long as all axes have as many.
    ASSERT_EQ(reader.Read(KeyFrame()), S_OK);
    ASSERT_EQ(reader.Read(section({6, 6, 6}).U32(0).U32(0).U32(0)), S_OK);
    EXPECT_EQ(Positions(reader.frame)[5], 3030.0f);

    EXPECT_EQ(FailureOf(section({4, 6, 4}).U32(0).U32(0).U32(0)),
              "len == decompressedDataSingleAxis[1].size() && len == decompressedDataSingleAxis[2].size()");
    EXPECT_EQ(FailureOf(section({2, 2, 2}).U32(0).U32(0).U32(0)), "Mesh size doesn't match compressed size");
    EXPECT_EQ(FailureOf(section({32, 4, 4}).U32(0xFFFFFFFF).U32(0).U32(0)), "compressedDataIndex < compressedLen");
    EXPECT_EQ(FailureOf(section({4, 4}).U16(0)), "bytesRead == sizeof(numBits[i])");
    EXPECT_EQ(FailureOf(DeltaHeader(4).Floats({0, 0, 0, 1, 1, 1}).Bytes({1, 2})),
              "bytesRead == sizeof(deltaCenter[i])");
    EXPECT_EQ(FailureOf(DeltaHeader(4).Floats({0, 0, 0, 1, 1, 1}).Bytes({1, 2, 3, 4})),
              "bytesRead == sizeof(deltaMedian[i])");
    EXPECT_EQ(FailureOf(DeltaHeader(4).Floats({0, 0, 0, 1, 1}).U16(1)),
              "(((HRESULT)(hr)) >= 0) && bytesRead == sizeof(maxz)");
    // The count of words wraps, so the longest streams have none.
    EXPECT_EQ(FailureOf(section({0xFFFFFFFF, 4, 4}).U32(0)), "compressedDataIndex < compressedLen");
    EXPECT_EQ(FailureOf(section({0xFFFFFFE0, 4, 4}).U32(0)), "");
    std::vector<BYTE> out;
    const std::vector<UINT32> words{0};
    for (const UINT32 numBits : {0xFFFFFFE1u, 0xFFFFFFFFu}) {
        AssertionRecorder recorder;
        EXPECT_EQ(CGolombDecompressor().Decompress(words.data(), numBits, 2, 0, out), E_UNEXPECTED);
        EXPECT_EQ(AssertionRecorder::Text(), "compressedDataIndex < compressedLen");
    }
}

TEST(DeltaVertices, OfSeveralFaultsTheFirstCounts) {
    // The stream fails at read `failAt`, and buffers of a delta frame are refused with E_FAIL, or not.
    const auto outcome = [](const Wire& wire, std::size_t failAt, bool buffers = true) {
        NimbTest::PatternAllocator allocator(0, buffers ? 1000 : 0);
        FrameReader reader(13);
        EXPECT_EQ(reader.Read(KeyFrame()), S_OK);
        reader.reader.Initialize(&allocator, 13);
        NimbTest::MemoryStream stream(wire.Data().data(), wire.Size(), failAt);
        AssertionRecorder recorder;
        const HRESULT hr = reader.Decode(&stream).hr;
        return std::make_pair(hr, AssertionRecorder::Text());
    };
    using Outcome = std::pair<HRESULT, std::string>;
    constexpr std::size_t never = 1000, header = 3, box = 6, lengths = 3;
    const Wire golomb = DeltaHeader(4).Floats({0, 0, 0, 255, 255, 255}).Bytes({1, 2, 3, 2, 2, 2});
    const Wire tooShort = Wire(golomb).U32(2).U32(2).U32(2).U32(0).U32(0).U32(0);
    EXPECT_EQ(outcome(tooShort, never), Outcome(E_UNEXPECTED, "Mesh size doesn't match compressed size"));
    EXPECT_EQ(outcome(tooShort, never, false), Outcome(E_FAIL, "")) << "the buffer comes before the bytes";
    // Each axis is decoded before the next is read.
    const Wire overrun = Wire(golomb).U32(32).U32(64).U32(4).U32(0xFFFFFFFF).U32(0);
    EXPECT_EQ(outcome(overrun, never), Outcome(E_UNEXPECTED, "compressedDataIndex < compressedLen"));
    EXPECT_EQ(outcome(overrun, header + box + 6 + lengths), Outcome(E_FAIL, ""));
    EXPECT_EQ(outcome(overrun, header + box + 6 + lengths + 1),
              Outcome(E_UNEXPECTED, "compressedDataIndex < compressedLen"));
    const Wire surplus = (HuffmanHead(3, 0, 0) += Frequencies({{5, 1}, {9, 1}})).U32(0);
    EXPECT_EQ(outcome(surplus, header + box + lengths + 1), Outcome(E_FAIL, ""));
    EXPECT_EQ(outcome(surplus, header + box + lengths + 2), Outcome(E_UNEXPECTED, ""));
    // In plain sections a failing read is fatal.
    EXPECT_EQ(outcome(PlainDelta({1, 2, 3, 4, 5, 6}), header + box), Outcome(E_UNEXPECTED, "numBytes == bytesRead"));
}
