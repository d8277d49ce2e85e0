// Vertex records of version 2 in all output layouts, and what the context remembers of them.
#include "Tests/Support/Wire.h"

#include <gtest/gtest.h>

#include <cmath>

using Nimb::CNimbMeshReader;
using Nimb::CNimbMeshReaderCtx;
using NimbTest::AssertionRecorder;
using NimbTest::DecodedFrame;
using NimbTest::Wire;

namespace {

constexpr unsigned c_StoredNormals = 0x20;

struct Decoded : NimbTest::SectionReader {
    using SectionReader::SectionReader;
    std::vector<float> Floats() const { return Output<float>(); }
    std::vector<std::int16_t> Words() const { return Output<std::int16_t>(); }

    HRESULT hr = E_FAIL;
};

/// Decodes `records` as the vertex section of a key frame with box (0,0,0)-(2,4,6).
std::unique_ptr<Decoded> Decode(UINT32 vertexFormat, unsigned flags, UINT32 numVertices, const Wire& records) {
    auto decoded = std::make_unique<Decoded>(vertexFormat);
    CStreamingMeshHeader& header = decoded->header;
    header.m_Version.v.m_VertexVersion = 2;
    header.m_Version.v.m_FormatFlags = static_cast<BYTE>(flags);
    header.m_BBoxMax[0] = 2;
    header.m_BBoxMax[1] = 4;
    header.m_BBoxMax[2] = 6;
    header.m_numVertices = numVertices;
    decoded->hr = decoded->Run(&CNimbMeshReader::ReadVertices, records);
    return decoded;
}

Wire PlainRecords() {
    return Wire().Vertex(-32768, 32767, 0, -32768, 32767).Vertex(32767, 0, -32768, 0, 1);
}

Wire NormalRecords() {
    return Wire()
        .U16(-32768)
        .U16(32767)
        .U16(0)
        .U16(0x7777)
        .U16(0)
        .U16(65535)
        .U16(32768)
        .U16(0x7777)
        .U16(-32768)
        .U16(32767)
        .U16(32767)
        .U16(0)
        .U16(-32768)
        .U16(0x7777)
        .U16(1)
        .U16(2)
        .U16(3)
        .U16(0x7777)
        .U16(0)
        .U16(1);
}

const float c_HalfZ = 32768.0f / 65535.0f * 6.0f;
const float c_HalfY = 32768.0f / 65535.0f * 4.0f;

float TexCoord(int q) {
    const float t = static_cast<float>(q) + 32768.0f;
    return ((t + t) / 65535.0f + -1.0f + 1.0f) * 0.5f;
}

}  // namespace

TEST(VertexStream, FloatLayouts) {
    const auto plain = Decode(13, 0x01, 2, PlainRecords());
    ASSERT_EQ(plain->hr, S_OK);
    EXPECT_EQ(plain->Floats(), (std::vector<float>{0, 4, c_HalfZ, 0, 1, 2, c_HalfY, 0, TexCoord(0), TexCoord(1)}));

    const auto dropped = Decode(13, 0x01 | c_StoredNormals, 2, NormalRecords());
    ASSERT_EQ(dropped->hr, S_OK);
    EXPECT_EQ(dropped->Floats(), plain->Floats());

    const auto placeholder = Decode(15, 0x01, 2, PlainRecords());
    ASSERT_EQ(placeholder->hr, S_OK);
    EXPECT_EQ(placeholder->Floats(), (std::vector<float>{0, 4, c_HalfZ, -1, -1, -1, 0, 1,  //
                                                         2, c_HalfY, 0, -1, -1, -1, TexCoord(0), TexCoord(1)}));

    const auto normals = Decode(15, 0x01 | c_StoredNormals, 2, NormalRecords());
    ASSERT_EQ(normals->hr, S_OK);
    const auto n = [](float q) { return q / 65535.0f + q / 65535.0f - 1.0f; };
    EXPECT_EQ(normals->Floats(), (std::vector<float>{0, 4, c_HalfZ, -1, 1, n(32768), 0, 1,  //
                                                     2, c_HalfY, 0, n(1), n(2), n(3), TexCoord(0), TexCoord(1)}));
}

TEST(VertexStream, QuantisedLayouts) {
    using Words = std::vector<std::int16_t>;
    // Records of the output's own layout are copied as they stand, ignored bytes included.
    EXPECT_EQ(Decode(5, 0x01, 2, PlainRecords())->Words(),
              (Words{-32768, 32767, 0, 0x7777, -32768, 32767, 32767, 0, -32768, 0x7777, 0, 1}));
    EXPECT_EQ(Decode(7, 0x01 | c_StoredNormals, 2, NormalRecords())->Words(),
              (Words{-32768, 32767, 0,      0x7777, 0, -1, -32768, 0x7777, -32768, 32767,  //
                     32767,  0,     -32768, 0x7777, 1, 2,  3,      0x7777, 0,      1}));
    EXPECT_EQ(Decode(7, 0x01, 2, PlainRecords())->Words(),
              (Words{-32768, 32767, 0, 0, 0, 0, 0, 0, -32768, 32767, 32767, 0, -32768, 0, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(Decode(5, 0x01 | c_StoredNormals, 2, NormalRecords())->Words(),
              (Words{-32768, 32767, 0, 0, -32768, 32767, 32767, 0, -32768, 0, 0, 1}));
}

TEST(VertexStream, ContextOfFloatOutputUsesTheXAxisForAll) {
    const auto decoded = Decode(13, 0x01, 2, PlainRecords());
    ASSERT_EQ(decoded->ctx.m_pPrevMesh, &decoded->ctx.m_Positions);
    EXPECT_EQ(decoded->ctx.m_pPrevPrevMesh, nullptr);
    ASSERT_EQ(decoded->ctx.m_Positions.size(), 2u);
    ASSERT_EQ(decoded->ctx.m_HistoryPositions.size(), 2u);
    EXPECT_EQ(decoded->ctx.m_Positions[0].y, 4.0f);

    const Nimb::SQuantisedVertex& record = decoded->ctx.m_QuantisedVertices[0];
    EXPECT_EQ(record.x, -32768);
    // y = 4 in the X range 0..2: 2 x 65535 - 32768 = 98302, of which 16 bits remain.
    EXPECT_EQ(record.y, static_cast<std::int16_t>(98302 - 131072));
    EXPECT_EQ(record.u, -32768);
    EXPECT_EQ(record.v, 32767);
}

TEST(VertexStream, MissingRecordsAreZero) {
    Wire cut = PlainRecords();
    const std::vector<BYTE> bytes(cut.Data().begin(), cut.Data().begin() + 14);
    Wire wire;
    for (const BYTE byte : bytes) {
        wire.U8(byte);
    }
    const auto decoded = Decode(5, 0x01, 3, wire);
    ASSERT_EQ(decoded->hr, S_OK);
    EXPECT_EQ(decoded->Words(), (std::vector<std::int16_t>{-32768, 32767, 0, 0x7777, -32768, 32767, 32767, 0, 0, 0, 0,
                                                           0, 0, 0, 0, 0, 0, 0}));
    const auto empty = Decode(13, 0x01, 0, Wire());
    EXPECT_EQ(empty->hr, S_OK);
    EXPECT_TRUE(empty->Floats().empty());
    EXPECT_NE(empty->ctx.m_pPrevMesh, nullptr);
}

TEST(VertexStream, ManyRecordsDecodeInEveryLayoutAsEachAlone) {
    // More records than any block that a decoder may work in, told apart by their index.
    constexpr int count = 1000;
    for (const UINT32 format : {5u, 7u, 13u, 15u}) {
        for (const bool stored : {false, true}) {
            const unsigned flags = stored ? 0x21 : 0x01;
            Wire all;
            std::vector<BYTE> expected;
            for (int i = 0; i < count; ++i) {
                const Wire one =
                    stored
                        ? Wire().U16(i).U16(-i).U16(7).U16(0).U16(i + 1).U16(i + 2).U16(i + 3).U16(0).U16(i).U16(2 * i)
                        : Wire().Vertex(i, -i, 7, i, 2 * i);
                all += one;
                const auto bytes = NimbTest::Contents<BYTE>(Decode(format, flags, 1, one)->buffer);
                expected.insert(expected.end(), bytes.begin(), bytes.end());
            }
            EXPECT_EQ(NimbTest::Contents<BYTE>(Decode(format, flags, count, all)->buffer), expected) << format;
        }
    }
}

TEST(VertexStream, EveryQuantisedValueDecodesAsTheDivisionSays) {
    Wire records;
    for (int q = -32768; q < 32768; ++q) {
        records.U16(q).U16(q).U16(q).U16(0).U16(q).U16(q).U16(q).U16(0).U16(q).U16(q);
    }
    const auto decoded = Decode(15, 0x01 | c_StoredNormals, 65536, records);
    ASSERT_EQ(decoded->hr, S_OK);
    const std::vector<float> floats = decoded->Floats();
    for (int q = -32768; q < 32768; ++q) {
        const float* const record = &floats[8 * static_cast<std::size_t>(q + 32768)];
        const float n = static_cast<float>(static_cast<std::uint16_t>(q)) / 65535.0f;
        ASSERT_EQ(record[0], (static_cast<float>(q) + 32768.0f) / 65535.0f * 2.0f) << q;
        ASSERT_EQ(record[4], n + n - 1.0f) << q;
        ASSERT_EQ(record[6], TexCoord(q)) << q;
    }
}

TEST(VertexStream, FlatAndInvertedBoxesStayDefined) {
    const NIMBCORE::CComPtr<INimbBufferAllocator> allocator = new NimbCrossPlatform::BufferAllocator;
    const float infinity = std::numeric_limits<float>::infinity();
    const float boxes[][6] = {{1, 1, 1, 1, 1, 1},
                              {3, 3, 3, -3, -3, -3},
                              {-infinity, 0, 0, infinity, 1, 1},
                              {NAN, NAN, NAN, NAN, NAN, NAN},
                              {0, -3e38f, 0, 1e-30f, 3e38f, 3e38f}};
    for (const auto& box : boxes) {
        for (const UINT32 format : {5u, 7u, 13u, 15u}) {
            NimbTest::FrameReader reader(format);
            Wire wire = Wire().Version(2, 1, 5, 1);
            for (const float value : box) {
                wire.F32(value);
            }
            wire.U32(2).U32(0).U32(0) += PlainRecords();
            ASSERT_EQ(reader.Read(wire), S_OK);
            if ((format & 8) != 0) {
                for (const float value : reader.frame.Floats()) {
                    UINT32 bits;
                    std::memcpy(&bits, &value, 4);
                    EXPECT_TRUE(value == value || bits == 0x7FC00000u);  // one NaN on every processor
                }
            }
        }
    }
}

TEST(VertexStream, SizesBeyondTheCeilingAreRefused) {
    for (const UINT32 count : {0xFFFFFFFFu, 0x0CCCCCCDu, (256u << 20) / 20 + 1}) {
        EXPECT_EQ(Decode(13, 0x01, count, Wire())->hr, E_UNEXPECTED);
    }
}
