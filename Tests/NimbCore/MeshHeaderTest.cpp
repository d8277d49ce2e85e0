// The frame header: wire order, conversion of old version words, rejections.
#include "Tests/Support/Wire.h"

#include <gtest/gtest.h>

using NimbTest::AssertionRecorder;
using NimbTest::Wire;

namespace {

struct HeaderRead {
    HRESULT hr;
    CStreamingMeshHeader header;
    std::size_t consumed;
};

/// Reads a header from `wire` followed by 64 marker bytes and tells how much was consumed.
HeaderRead ReadHeader(Wire wire) {
    constexpr std::size_t extra = 64;
    const std::size_t size = wire.Size() + extra;
    wire.Zeros(extra);
    const NIMBCORE::CComPtr<IStream> stream = wire.Stream();
    HeaderRead result{};
    result.hr = result.header.Read(stream);
    std::vector<BYTE> rest(size);
    UINT32 left = 0;
    stream->Read(rest.data(), static_cast<UINT32>(size), &left);
    result.consumed = size - left;
    return result;
}

constexpr char c_OldFormat[] =
    "m_Version.v.m_MeshHeaderVersion >= NTarnStudioMeshHeaderVersion::c_MeshHeaderVersion_KeyFrame";

}  // namespace

TEST(MeshHeader, ReadsFieldsInWireOrder) {
    const HeaderRead temporal = ReadHeader(Wire()
                                               .Version(2, 0x19, 7, 4)
                                               .Floats({1, 2, 3, 4, 5, 6})
                                               .U32(70)    // sub-mesh id
                                               .U32(71)    // frame id
                                               .U32(72)    // transforms
                                               .U32(73)    // vertices
                                               .U32(74)    // faces
                                               .U32(75));  // indices
    ASSERT_EQ(temporal.hr, S_OK);
    EXPECT_EQ(temporal.consumed, 52u);
    EXPECT_EQ(temporal.header.m_Version.word, 0x04071902u);
    EXPECT_EQ(temporal.header.m_BBoxMin[2], 3.0f);
    EXPECT_EQ(temporal.header.m_BBoxMax[0], 4.0f);
    EXPECT_EQ(temporal.header.m_SubMeshId, 70u);
    EXPECT_EQ(temporal.header.m_FrameId, 71u);
    EXPECT_EQ(temporal.header.m_numTransforms, 72u);
    EXPECT_EQ(temporal.header.m_numVertices, 73u);
    EXPECT_EQ(temporal.header.m_numFaces, 74u);
    EXPECT_EQ(temporal.header.m_numIndices, 75u);

    EXPECT_EQ(ReadHeader(Wire().Version(3, 0x18, 6, 2).UnitBox().U32(1).U32(2)).consumed, 36u);
    EXPECT_EQ(ReadHeader(Wire().Version(3, 0x00, 6, 2).UnitBox()).consumed, 28u);
    // Versions from 8 up are accepted and carry no counts.
    EXPECT_EQ(ReadHeader(Wire().Version(2, 0x10, 8, 2).UnitBox().U32(9)).consumed, 32u);
}

TEST(MeshHeader, ConvertsOldVersionWords) {
    const struct {
        unsigned vertex, headerVersion;
        UINT32 word;
        std::size_t size;
    } cases[] = {
        {19, 0, 0x01050102, 36},
        {19, 1, 0x02050102, 36},
        {23, 2, 0x02060103, 28},
        {23, 3, 0x02060104, 28},
    };
    for (const auto& c : cases) {
        const HeaderRead read = ReadHeader(Wire().Version(c.vertex, 0, c.headerVersion, 0).UnitBox().U32(100).U32(50));
        ASSERT_EQ(read.hr, S_OK);
        EXPECT_EQ(read.header.m_Version.word, c.word);
        EXPECT_EQ(read.consumed, c.size);
        if (c.size == 36) {
            EXPECT_EQ(read.header.m_numVertices, 100u);
            EXPECT_EQ(read.header.m_numFaces, 50u);
            EXPECT_EQ(read.header.m_numIndices, 150u);
        }
    }
}

TEST(MeshHeader, RejectsUnsupportedVersionsWithTheirTexts) {
    const std::string noFlags = "m_Version.v.m_FormatFlags == 0";
    const std::string oldVertices =
        "m_Version.v.m_VertexVersion == NTarnStudioVertexVersion::c_Deprecated_UnwrappedVertexVersion";
    const struct {
        unsigned bytes[4];
        std::string text;
    } cases[] = {
        {{22, 0xFF, 0xFF, 0xFF}, "Unsupported format! We no longer support the hi-res mesh"},
        {{22, 0, 0, 0}, "Unsupported format! We no longer support the hi-res mesh"},
        {{23, 1, 2, 0}, noFlags},
        {{23, 1, 3, 0}, noFlags},
        {{19, 1, 1, 0}, noFlags},
        {{23, 0, 1, 0}, oldVertices},
        {{2, 0, 0, 0}, oldVertices},
        {{2, 0, 2, 0}, std::string(c_OldFormat) + ": Unknown old format encountered"},
        {{2, 0, 4, 0}, std::string(c_OldFormat) + ": Unknown old format encountered"},
    };
    for (const auto& c : cases) {
        AssertionRecorder recorder;
        EXPECT_EQ(ReadHeader(Wire().Version(c.bytes[0], c.bytes[1], c.bytes[2], c.bytes[3]).UnitBox()).hr,
                  E_UNEXPECTED);
        EXPECT_EQ(AssertionRecorder::Text(), c.text);
    }
}

TEST(MeshHeader, EarlyEndLeavesMissingFieldsAlone) {
    CStreamingMeshHeader header;
    header.m_numVertices = 77;
    header.m_BBoxMax[2] = 7.0f;
    const NIMBCORE::CComPtr<IStream> stream = Wire().Version(2, 1, 5, 1).Floats({1, 2, 3, 4, 5}).Stream();
    EXPECT_EQ(header.Read(stream), S_OK);
    EXPECT_EQ(header.m_BBoxMax[1], 5.0f);
    EXPECT_EQ(header.m_BBoxMax[2], 7.0f);
    EXPECT_EQ(header.m_numVertices, 77u);
}
