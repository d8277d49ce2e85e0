// Frame assembly: attributes, contexts, temporal frames and their transforms, the quad of empty frames, and what a
// reader does after a bad frame.
#include "Tests/Support/TestSupport.h"
#include "Tests/Support/Wire.h"

#include <gtest/gtest.h>

#include <cmath>

using Nimb::CNimbMeshReader;
using NimbTest::AssertionRecorder;
using NimbTest::DecodedFrame;
using NimbTest::FrameReader;
using NimbTest::Wire;

namespace {

constexpr unsigned c_IdFlag = 0x08;

/// One triangle with sub-mesh id `id` and texture coordinates at three corners.
Wire KeyTriangle(UINT32 id) {
    return Wire()
        .Version(2, 1 | c_IdFlag, 5, 1)
        .UnitBox()
        .U32(id)
        .U32(3)
        .U32(1)
        .U32(3)
        .Vertex(-32768, -32768, 0, -32768, -32768)
        .Vertex(32767, -32768, 0, 32767, -32768)
        .Vertex(-32768, 32767, 0, -32768, 32767)
        .U32(0)
        .U32(1)
        .U32(2);
}

Wire StillDelta(UINT32 id) {
    return Wire().Version(3, 1 | c_IdFlag, 6, 1).UnitBox().U32(id).Floats({0, 0, 0, 0, 0, 0}).Zeros(9);
}

Wire TemporalHead(UINT32 transforms, UINT32 vertices, UINT32 faces, UINT32 indices) {
    return Wire().Version(2, 1, 7, 1).UnitBox().U32(transforms).U32(vertices).U32(faces).U32(indices);
}

double DoubleAttribute(INimbBuffer* buffer, const _GUID& key) {
    NIMBCORE::CComPtr<INimbAttributesCore> attributes;
    double value = NAN;
    buffer->QueryInterface(IID_INimbAttributesCore, reinterpret_cast<void**>(&attributes));
    attributes->GetDouble(key, &value);
    return value;
}

struct Transformed {
    float t[6];
};

/// The inverse that temporal frames apply, in double precision.
Transformed Inverse(const float (&m)[6]) {
    const double det = double{m[0]} * m[3] - double{m[2]} * m[1];
    const double t0 = m[3] / det, t1 = -m[1] / det, t2 = -m[2] / det, t3 = t0 / det;
    return {{static_cast<float>(t0), static_cast<float>(t1), static_cast<float>(t2), static_cast<float>(t3),
             static_cast<float>(-(t0 * m[4] + t2 * m[5])), static_cast<float>(-(t1 * m[4] + t3 * m[5]))}};
}

}  // namespace

TEST(MeshReader, PublishesTheFrameOnBothBuffers) {
    FrameReader reader(15);
    Wire wire = Wire().Version(2, 0x51, 5, 1).Floats({-1, -2, -3, 4, 5, 6}).U32(1234).U32(3).U32(1).U32(3);
    (wire.Zeros(36)).U32(0).U32(1).U32(2);
    ASSERT_EQ(reader.Read(wire, 55), S_OK);
    for (INimbBuffer* const buffer : {reader.frame.vertexBuffer.p, reader.frame.indexBuffer.p}) {
        EXPECT_EQ(DoubleAttribute(buffer, NimbAttrib_BBoxMinX), -1.0);
        EXPECT_EQ(DoubleAttribute(buffer, NimbAttrib_BBoxMinY), -2.0);
        EXPECT_EQ(DoubleAttribute(buffer, NimbAttrib_BBoxMinZ), -3.0);
        EXPECT_EQ(DoubleAttribute(buffer, NimbAttrib_BBoxMaxX), 4.0);
        EXPECT_EQ(DoubleAttribute(buffer, NimbAttrib_BBoxMaxY), 5.0);
        EXPECT_EQ(DoubleAttribute(buffer, NimbAttrib_BBoxMaxZ), 6.0);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_UseTriList), 1u);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_NumFaces), 1u);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_NumIndices), 3u);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_NumVertices), 3u);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_VertHasNormals), 1u);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_UseUnsignedUVs), 1u);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_FrameId), 1234u);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_FrameTimestamp), 55u);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_VertexFormatFlags), 0x01055102u);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_IsKeyFrame), 1u);
    }
}

TEST(MeshReader, FrameIdFromTime) {
    const struct {
        LONGLONG time;
        UINT32 id;
    } cases[] = {{0, 1}, {10000000, 31}, {333332, 1}, {333333, 2}, {-10000000, static_cast<UINT32>(-28)}};
    for (const auto& c : cases) {
        FrameReader reader(13);
        ASSERT_EQ(reader.Read(KeyTriangle(0), c.time), S_OK);
        EXPECT_EQ(reader.frame.Attribute(NimbAttrib_FrameId), c.id) << c.time;
    }
    FrameReader reader(13);
    EXPECT_EQ(reader.Read(KeyTriangle(0), std::numeric_limits<LONGLONG>::max()), S_OK);
    EXPECT_EQ(reader.Read(KeyTriangle(0), std::numeric_limits<LONGLONG>::min()), S_OK);
}

TEST(MeshReader, MissingPayloadIsAQuad) {
    for (const UINT32 format : {5u, 15u}) {
        FrameReader reader(format);
        const DecodedFrame frame = reader.Decode(nullptr, 777);
        ASSERT_EQ(frame.hr, S_OK);
        EXPECT_EQ(frame.Words(), (std::vector<std::int16_t>{-32768, -32768, 0, 0, -32768, -32768,  //
                                                            -32768, 32767,  0, 0, -32768, 32767,   //
                                                            32767,  32767,  0, 0, 32767,  32767,   //
                                                            32767,  -32768, 0, 0, 32767,  -32768}));
        EXPECT_EQ(frame.indices, (std::vector<UINT32>{0, 1, 3, 3, 1, 2, 0, 3, 1, 3, 2, 1}));
        EXPECT_EQ(frame.Attribute(NimbAttrib_FrameId), 1u);
        EXPECT_EQ(frame.Attribute(NimbAttrib_FrameTimestamp), 777u);
        EXPECT_EQ(frame.Attribute(NimbAttrib_UseTriList), 0u);
        EXPECT_EQ(frame.Attribute(NimbAttrib_IsKeyFrame), 0u);
        EXPECT_EQ(frame.Attribute(NimbAttrib_VertHasNormals), 0u);
        EXPECT_EQ(frame.Attribute(NimbAttrib_NumFaces), 4u);
        EXPECT_EQ(DoubleAttribute(frame.vertexBuffer, NimbAttrib_BBoxMinX), -1.0);
    }
}

TEST(MeshReader, DeltaFramesBelongToTheirSubMesh) {
    FrameReader reader(13);
    const DecodedFrame three = reader.Decode(KeyTriangle(3));
    ASSERT_EQ(reader.Read(KeyTriangle(4)), S_OK);
    ASSERT_EQ(reader.Read(StillDelta(3)), S_OK);
    EXPECT_EQ(reader.frame.indexBuffer.p, three.indexBuffer.p);
    EXPECT_EQ(reader.frame.Attribute(NimbAttrib_IsKeyFrame), 0u);
    EXPECT_EQ(reader.frame.Floats(), three.Floats());
    // Initialize changes the format and keeps the contexts.
    const NIMBCORE::CComPtr<INimbBufferAllocator> allocator = new NimbCrossPlatform::BufferAllocator;
    reader.reader.Initialize(allocator, 5);
    ASSERT_EQ(reader.Read(StillDelta(4)), S_OK);
    EXPECT_EQ(reader.frame.Words().size(), 18u);

    AssertionRecorder recorder;
    EXPECT_EQ(reader.Read(StillDelta(5)), E_UNEXPECTED);
}

TEST(MeshReader, TemporalFrameMergesSubMeshes) {
    const float m[6] = {2, 0, 0, 4, 0.25f, 0.5f};
    const Transformed t = Inverse(m);
    Wire wire = TemporalHead(2, 6, 2, 6).U8(0).U8(1);
    for (const float value : m) {
        wire.F32(value);
    }
    (wire += KeyTriangle(1)) += KeyTriangle(2);

    FrameReader reader(15);
    ASSERT_EQ(reader.Read(wire), S_OK);
    EXPECT_EQ(reader.frame.indices, (std::vector<UINT32>{0, 1, 2, 3, 4, 5}));
    const std::vector<float> f = reader.frame.Floats();
    ASSERT_EQ(f.size(), 48u);
    EXPECT_EQ(f[8 + 6], 1.0f);  // kind 0: u = 1 and v = 0 stay
    EXPECT_EQ(f[8 + 7], 0.0f);
    for (std::size_t i = 3; i < 6; ++i) {
        const float u = i == 4 ? 1.0f : 0.0f;
        const float s = i == 5 ? 0.0f : 1.0f;
        EXPECT_NEAR(f[8 * i + 6], t.t[4] + u * t.t[0] + s * t.t[2], 1e-6);
        EXPECT_NEAR(f[8 * i + 7], 1 - (t.t[5] + u * t.t[1] + s * t.t[3]), 1e-6);
        EXPECT_EQ(f[8 * i + 3], -1.0f);  // the normal is copied, placeholder or not
    }
    EXPECT_EQ(t.t[3], 4.0f / 8.0f / 8.0f) << "the inverse of the format, m3 / det^2";
}

TEST(MeshReader, TemporalFrameRequantisesIntoTheOuterBox) {
    // The outer box is twice as wide and starts elsewhere; the sub-mesh's right end sticks out of it and is clamped.
    Wire wire = Wire().Version(2, 1, 7, 1).Floats({-1, 0, 0, 0.5f, 1, 1}).U32(1).U32(3).U32(1).U32(3).U8(0);
    wire += KeyTriangle(1);
    for (const UINT32 format : {5u, 7u}) {
        FrameReader reader(format);
        ASSERT_EQ(reader.Read(wire), S_OK);
        const std::vector<std::int16_t> w = reader.frame.Words();
        const std::size_t stride = format == 5 ? 6 : 10;
        EXPECT_EQ(w[0], static_cast<int>(1.0f / 1.5f * 65535.0f - 32768.0f));
        EXPECT_EQ(w[stride], 32767);
        EXPECT_EQ(w[3], 0) << "padding of merged records is zero";
        EXPECT_EQ(w[stride + stride - 2], 32767);
        EXPECT_EQ(w[stride + stride - 1], -32768);
    }
}

TEST(MeshReader, TemporalFrameSweepsAbsentSubMeshes) {
    const auto temporal = [](std::initializer_list<UINT32> ids, bool delta) {
        const UINT32 n = static_cast<UINT32>(ids.size());
        Wire wire = TemporalHead(n, 3 * n, n, 3 * n).Zeros(n);
        for (const UINT32 id : ids) {
            wire += delta ? StillDelta(id) : KeyTriangle(id);
        }
        return wire;
    };
    FrameReader reader(13);
    ASSERT_EQ(reader.Read(temporal({1, 2, 5}, false)), S_OK);
    ASSERT_EQ(reader.Read(temporal({1, 2}, true)), S_OK);
    ASSERT_EQ(reader.Read(temporal({2}, true)), S_OK);
    AssertionRecorder recorder;
    EXPECT_EQ(reader.Read(temporal({2, 5}, true)), E_UNEXPECTED);
    EXPECT_EQ(AssertionRecorder::Text(), "pCtx->m_pPrevMesh");
    // Single-mesh frames sweep nothing.
    ASSERT_EQ(reader.Read(KeyTriangle(9)), S_OK);
    EXPECT_EQ(reader.Read(StillDelta(2)), S_OK);
}

TEST(MeshReader, TemporalFrameKeepsToItsCounts) {
    const auto failure = [](Wire wire) {
        AssertionRecorder recorder;
        FrameReader reader(13);
        EXPECT_EQ(reader.Read(wire += KeyTriangle(1)), E_UNEXPECTED);
        return AssertionRecorder::Text();
    };
    EXPECT_EQ(failure(TemporalHead(1, 3, 1, 2).U8(0)), "false");
    EXPECT_EQ(failure(TemporalHead(1, 2, 1, 3).U8(0)), "numVertices <= header.m_numVertices");
    EXPECT_EQ(failure(TemporalHead(0x20000000, 3, 1, 3).U8(0)), "");  // no stream backs as many transforms
    EXPECT_EQ(failure(TemporalHead(0x00400000, 3, 1, 3).U8(0)), "");

    // Counts that no sub-mesh fills are zero records.
    FrameReader reader(13);
    ASSERT_EQ(reader.Read(TemporalHead(1, 4, 1, 5).U8(0) += KeyTriangle(1)), S_OK);
    EXPECT_EQ(reader.frame.indices, (std::vector<UINT32>{0, 1, 2, 0, 0}));
    EXPECT_EQ(reader.frame.Floats()[15], 0.0f);
}

TEST(MeshReader, RejectsKeyFramesOfOtherVertexVersions) {
    AssertionRecorder recorder;
    FrameReader reader(13);
    EXPECT_EQ(reader.Read(Wire().Version(3, 1, 5, 1).UnitBox().U32(0).U32(0).U32(0)), E_UNEXPECTED);
    EXPECT_EQ(AssertionRecorder::Text(),
              "header.m_Version.v.m_VertexVersion == NTarnStudioVertexVersion::c_UnwrappedXYZUV");
    EXPECT_EQ(reader.frame.vertexBuffer.p, nullptr);
    EXPECT_EQ(reader.Read(KeyTriangle(0)), S_OK);

    NIMBCORE::CComPtr<INimbBuffer> buffer;
    EXPECT_EQ(reader.reader.ReadMesh(nullptr, 0, nullptr, &buffer), E_UNEXPECTED);
    EXPECT_EQ(AssertionRecorder::Text(), "ppVertexBuffer");
    EXPECT_EQ(reader.reader.ReadMesh(nullptr, 0, &buffer, nullptr), E_UNEXPECTED);
    EXPECT_EQ(AssertionRecorder::Text(), "ppIndexBuffer");
    EXPECT_EQ(reader.reader.Initialize(nullptr, 13), E_UNEXPECTED);
    EXPECT_EQ(AssertionRecorder::Text(), "pBufferAllocator");
    Nimb::CNimbMeshReaderCtx ctx;
    CStreamingMeshHeader header;
    header.m_Version.v.m_VertexVersion = 2;
    for (const auto stage : {&CNimbMeshReader::ReadVertices, &CNimbMeshReader::ReadCompressedVertices,
                             &CNimbMeshReader::ReadGolombCodedVertices, &CNimbMeshReader::ReadTransformDeltaVertices,
                             &CNimbMeshReader::ReadHuffmanCodedVertices, &CNimbMeshReader::ReadIndices}) {
        EXPECT_EQ((reader.reader.*stage)(&ctx, Wire().Stream(), &header, nullptr), E_UNEXPECTED);
        EXPECT_EQ(AssertionRecorder::Text(), "ppBuffer");
    }
    CNimbMeshReader uninitialised;
    NIMBCORE::CComPtr<INimbBuffer> indices;
    EXPECT_EQ(uninitialised.ReadMesh(nullptr, 0, &buffer, &indices), E_UNEXPECTED);
    EXPECT_EQ(AssertionRecorder::Text(), "p != __null");
}

TEST(MeshReader, DeltaAfterAHalfReadKeyFrameGetsTheIndicesBefore) {
    // The second key frame has other counts and fails in its index section.
    FrameReader reader(13);
    const DecodedFrame key = reader.Decode(KeyTriangle(0));
    AssertionRecorder recorder;
    const Wire bad = Wire().Version(2, 1 | c_IdFlag, 5, 2).UnitBox().U32(0).U32(3).U32(2).U32(6).Zeros(36);
    ASSERT_EQ(reader.Read(bad), E_UNEXPECTED);
    ASSERT_EQ(reader.Read(StillDelta(0)), S_OK);
    EXPECT_EQ(reader.frame.indexBuffer.p, key.indexBuffer.p);
    EXPECT_EQ(reader.frame.Attribute(NimbAttrib_NumIndices), 6u);
    ASSERT_EQ(reader.Read(TemporalHead(1, 3, 1, 4).U8(0) += StillDelta(0)), S_OK);
    EXPECT_EQ(reader.frame.indices, (std::vector<UINT32>{0, 1, 2, 0}));
    EXPECT_EQ(reader.Read(KeyTriangle(0)), S_OK);
    EXPECT_EQ(reader.Read(StillDelta(0)), S_OK);
}

TEST(MeshReader, OnlyWhatFramesLeaveBehindCountsForTheCeiling) {
    // E_UNEXPECTED: beyond the ceiling. E_FAIL: below it, but too large for this allocator.
    FrameReader reader(5);
    AssertionRecorder recorder;
    const auto claim = [&](UINT32 id, UINT64 vertices, unsigned indexVersion = 1) {
        const UINT32 count = static_cast<UINT32>(vertices);
        return reader.Decode(
            Wire().Version(2, 1 | c_IdFlag, 5, indexVersion).UnitBox().U32(id).U32(count).U32(0).U32(0));
    };
    constexpr UINT64 fixed = 512, perVertex = 53, most = (Nimb::c_MaxContextBytes - fixed) / perVertex;
    EXPECT_EQ(claim(0, most + 1).hr, E_UNEXPECTED);
    for (UINT32 id = 0; id < 20; ++id) {
        EXPECT_EQ(claim(id, most).hr, E_FAIL) << "a refused frame costs the others nothing";
    }
    // One triangle, and no room for it any more beside the largest claim.
    ASSERT_EQ(reader.Decode(KeyTriangle(7)).hr, S_OK);
    constexpr UINT64 rest = (Nimb::c_MaxContextBytes - 2 * fixed - 3 * perVertex - 12) / perVertex;
    const auto expectRest = [&](const char* after) {
        EXPECT_EQ(claim(8, rest + 1).hr, E_UNEXPECTED) << after;
        EXPECT_EQ(claim(8, rest).hr, E_FAIL) << after;
    };
    expectRest("a key frame");
    EXPECT_EQ(claim(7, most).hr, E_FAIL) << "it would replace the triangle";
    expectRest("a refused frame of the same sub-mesh");
    // A million vertices without a byte behind them: they decode, to zeros, and leave no more than one.
    EXPECT_EQ(claim(7, 1000000, 5).hr, E_UNEXPECTED) << "refused in its index section";
    EXPECT_EQ(claim(8, rest).hr, E_FAIL);
    EXPECT_EQ(claim(7, 1000000).vertices.size(), 12000000u);
    EXPECT_EQ(claim(8, rest).hr, E_FAIL);
    const Wire records = Wire().Version(2, 1 | c_IdFlag, 6, 1).UnitBox().U32(7);
    EXPECT_EQ(reader.Decode(records).vertices.size(), 12000000u) << "but the next frame has them all";
    EXPECT_EQ(claim(8, rest).hr, E_FAIL);
    // A million that are there stay until a small key frame, which gives the storage back.
    ASSERT_EQ(reader.Decode(Wire(records).Zeros(12000000)).hr, S_OK);
    EXPECT_EQ(claim(8, rest).hr, E_UNEXPECTED);
    ASSERT_EQ(reader.Decode(KeyTriangle(7)).hr, S_OK);
    expectRest("a small key frame");
}
