// Index sections, read as part of key frames without vertices.
#include "Tests/Support/Wire.h"

#include <gtest/gtest.h>

using NimbTest::AssertionRecorder;
using NimbTest::DecodedFrame;
using NimbTest::FrameReader;
using NimbTest::Wire;

namespace {

constexpr unsigned c_List = 0x01;
constexpr unsigned c_Strip = 0x02;

Wire KeyFrame(unsigned flags, unsigned indexVersion, UINT32 faces, UINT32 indices) {
    return Wire().Version(2, flags, 5, indexVersion).UnitBox().U32(0).U32(faces).U32(indices);
}

struct Outcome : DecodedFrame {
    std::string text;
};

Outcome Decode(const Wire& wire) {
    AssertionRecorder recorder;
    Outcome outcome{FrameReader(13).Decode(wire), {}};
    outcome.text = AssertionRecorder::Text();
    return outcome;
}

Wire ListSection(std::initializer_list<unsigned> bytes) {
    return Wire().I64(static_cast<LONGLONG>(bytes.size())).Bytes(bytes);
}

Wire StripSection(std::initializer_list<unsigned> bytes) {
    return Wire().I64(static_cast<LONGLONG>(bytes.size())).U32(0xCDCDCDCD).Bytes(bytes);
}

using Indices = std::vector<UINT32>;

}  // namespace

TEST(IndexStream, RawIndicesAndWhatTheStreamOwes) {
    EXPECT_EQ(Decode(KeyFrame(c_List, 1, 1, 3).U32(7).U32(8).U32(9)).indices, (Indices{7, 8, 9}));
    EXPECT_EQ(Decode(KeyFrame(c_Strip, 1, 1, 4).U32(7).U32(8).U32(9).U32(1)).indices, (Indices{7, 8, 9, 1}));
    EXPECT_EQ(Decode(KeyFrame(c_List, 1, 1, 3).U32(7)).indices, (Indices{7, 0, 0}));
}

TEST(IndexStream, ListDeltasOfEveryWidth) {
    // Widths 1, 2, 3 (control 0b100100), the two upper control bits set; then widths 4, 1, 1.
    const Outcome outcome = Decode(KeyFrame(c_List, 2, 3, 10) += ListSection({
                                       0xE4, 0x80, 0xFF, 0x7F, 0xFF, 0xFF, 0x7F,  //
                                       0x03, 0x01, 0x00, 0x00, 0x80, 0xFA, 0x00,  //
                                       0x20, 0x00, 0x00, 0x00, 0x00, 0x80,        //
                                   }));
    ASSERT_EQ(outcome.hr, S_OK);
    const UINT32 a = 0u - 128u, b = 32767u, c = 8388607u;
    EXPECT_EQ(outcome.indices, (Indices{a, b, c,                                     //
                                        a + 0x80000001u, b - 6, c,                   //
                                        a + 0x80000001u, b - 6, c - 8388608u, 0}));  // the tenth index is not covered
}

TEST(IndexStream, StripDeltasAreBigEndian) {
    const Outcome outcome = Decode(KeyFrame(c_Strip, 2, 3, 5) += StripSection(
                                       {2, 0xFF, 0xFE, 1, 0x80, 4, 0x80, 0, 0, 0, 3, 0x01, 0x02, 0x03, 1, 0x05}));
    ASSERT_EQ(outcome.hr, S_OK);
    EXPECT_EQ(outcome.indices, (Indices{0xFFFFFFFE, 0xFFFFFF7E, 0x7FFFFF7E, 0x80010181u, 0x80010186u}));
}

TEST(IndexStream, TopologyAttributeFollowsTheFlags) {
    // The finished frame publishes bit 0 of the flags, whatever decoded it.
    const Wire indices = Wire().U32(1).U32(2).U32(3);
    for (const unsigned flags : {0x00u, c_List, c_Strip, 0x03u}) {
        const Outcome outcome = Decode(KeyFrame(flags, 1, 1, 3) += indices);
        ASSERT_EQ(outcome.hr, S_OK);
        EXPECT_EQ(DecodedFrame::Attribute(outcome.indexBuffer, NimbAttrib_UseTriList), flags & 1);
    }
    // Before that, the index decoder itself says whether it decoded a list.
    const NIMBCORE::CComPtr<INimbBufferAllocator> allocator = new NimbCrossPlatform::BufferAllocator;
    for (const unsigned flags : {0x00u, c_Strip}) {
        Nimb::CNimbMeshReader reader;
        reader.Initialize(allocator, 13);
        Nimb::CNimbMeshReaderCtx ctx;
        CStreamingMeshHeader header;
        const NIMBCORE::CComPtr<IStream> stream = (KeyFrame(flags, 1, 1, 3) += indices).Stream();
        ASSERT_EQ(header.Read(stream), S_OK);
        NIMBCORE::CComPtr<INimbBuffer> buffer;
        ASSERT_EQ(reader.ReadIndices(&ctx, stream, &header, &buffer), S_OK);
        EXPECT_EQ(DecodedFrame::Attribute(buffer, NimbAttrib_UseTriList), flags == c_Strip ? 0u : 1u);
        EXPECT_EQ(ctx.m_pIndexBuffer.p, buffer.p);
    }
}

TEST(IndexStream, VersionThreeAlwaysRejects) {
    EXPECT_EQ(Decode(KeyFrame(c_List, 3, 0, 2).I64(0)).indices, (Indices{0, 0}));
    EXPECT_EQ(Decode(KeyFrame(c_List, 3, 1, 3).I64(0)).text, "Out of input");
    EXPECT_EQ(Decode(KeyFrame(c_List, 3, 1, 3).I64(4).U32(0)).text,
              "Overwrote end of buffer. This should never happen!");
}

TEST(IndexStream, EdgeBreakerPayload) {
    // One triangle: E, terminator, terminator: 111 1001 1001 and padding.
    const Outcome one = Decode(KeyFrame(c_List, 4, 1, 4).U32(2).Bytes({0xF3, 0x20}));
    ASSERT_EQ(one.hr, S_OK);
    ASSERT_EQ(one.indices.size(), 4u);
    EXPECT_EQ(one.indices[3], 0u);
    EXPECT_EQ(one.indices[0] + one.indices[1] + one.indices[2], 3u);

    EXPECT_EQ(Decode(KeyFrame(c_List, 4, 1, 2).U32(2).Bytes({0xF3, 0x20})).text,
              "3 * meshFaces.size() * sizeof(UINT) <= ibLen");
    EXPECT_EQ(Decode(KeyFrame(c_List, 4, 1, 3)).text, "p <= &compressedIndices[compressedIndices.size() - 1]");
    // A payload that the stream does not hold in full ends where the stream does.
    EXPECT_EQ(Decode(KeyFrame(c_List, 4, 1, 3).U32(1000).Bytes({0xF3, 0x20})).indices.size(), 3u);
    EXPECT_EQ(Decode(KeyFrame(c_List, 4, 1, 3).U32(0xFFFFFFFF).Bytes({0xF3})).hr, E_UNEXPECTED);
}

TEST(IndexStream, MalformedSections) {
    const std::string shortDelta = "bufe - bufi >= numBytes";
    EXPECT_EQ(Decode(KeyFrame(c_List, 2, 1, 3) += ListSection({0x00, 1, 2})).text, shortDelta);
    EXPECT_EQ(Decode(KeyFrame(c_List, 2, 1, 3) += ListSection({})).text, shortDelta);
    EXPECT_EQ(Decode(KeyFrame(c_List, 2, 1, 3).I64(-1).Bytes({0, 1, 2, 3})).text, shortDelta);
    EXPECT_EQ(Decode(KeyFrame(c_Strip, 2, 1, 1) += StripSection({2, 1})).text, shortDelta);
    EXPECT_EQ(Decode(KeyFrame(c_Strip, 2, 1, 1) += StripSection({})).text, shortDelta);
    EXPECT_EQ(Decode(KeyFrame(c_Strip, 2, 1, 1) += StripSection({0, 1})).text, "Incorrect number of bytes");
    EXPECT_EQ(Decode(KeyFrame(c_Strip, 2, 1, 1) += StripSection({5, 1, 2, 3, 4, 5})).text, "Incorrect number of bytes");
    EXPECT_EQ(Decode(KeyFrame(c_List, 0, 1, 3)).text, "Unexpected file version");
    EXPECT_EQ(Decode(KeyFrame(c_List, 5, 1, 3)).text, "Unexpected file version");
    EXPECT_NE(Decode(KeyFrame(c_Strip, 4, 1, 3)).text.find("pHeader->m_Version.v.m_IndexVersion =="),
              std::string::npos);
}

TEST(IndexStream, HostileCountsStayInsideTheBuffer) {
    // 3 x 0x55555556 wraps to 2 in 32 bits, also where old lists compute their index count.
    EXPECT_EQ(Decode(KeyFrame(c_List, 2, 0x55555556, 2) += ListSection({0, 1, 2, 3})).hr, E_UNEXPECTED);
    EXPECT_EQ(Decode(Wire().Version(19, 0, 1, 0).UnitBox().U32(0).U32(0x55555556) += ListSection({0, 1, 2, 3})).hr,
              E_UNEXPECTED);
    EXPECT_EQ(Decode(KeyFrame(c_List, 2, 2, 5) += ListSection({0, 1, 2, 3, 0, 1, 2, 3})).hr, E_UNEXPECTED);
    EXPECT_EQ(Decode(KeyFrame(c_List, 1, 0, 0x30000000)).hr, E_UNEXPECTED) << "3 GiB";

    // The buffer's size wraps: 4 x 0x40000001 is room for one index, 4 x 0x40000003 for three.
    constexpr UINT32 one = 0x40000001, three = 0x40000003;
    EXPECT_EQ(Decode(KeyFrame(c_List, 1, 1, one).U32(7).U32(8)).indices, (Indices{7}));
    EXPECT_EQ(Decode(KeyFrame(c_Strip, 1, 1, three).U32(7).U32(8).U32(9).U32(1)).indices, (Indices{7, 8, 9}));
    EXPECT_EQ(Decode(KeyFrame(c_List, 2, 1, one) += ListSection({0, 1, 2, 3})).hr, E_UNEXPECTED);
    EXPECT_EQ(Decode(KeyFrame(c_List, 2, 1, three) += ListSection({0, 1, 2, 3})).indices, (Indices{1, 2, 3}));
    EXPECT_EQ(Decode(KeyFrame(c_List, 4, 1, one).U32(2).Bytes({0xF3, 0x20})).text,
              "3 * meshFaces.size() * sizeof(UINT) <= ibLen");
    EXPECT_EQ(Decode(KeyFrame(c_List, 4, 1, three).U32(2).Bytes({0xF3, 0x20})).indices.size(), 3u);
    EXPECT_EQ(Decode(KeyFrame(c_Strip, 2, 0, one) += StripSection({1, 1, 1, 1})).text,
              "DecompressTriangleStrips: Buffer overflow!! Unexpected.");
}

TEST(IndexStream, AFailingLockComesAfterTheAttribute) {
    struct LockedOut final : INimbBuffer, INimbBufferAllocator {
        HRESULT QueryInterface(const _GUID& riid, void** ppv) override { return inner->QueryInterface(riid, ppv); }
        ULONG AddRef() override { return 1; }
        ULONG Release() override { return 1; }
        HRESULT LockBuffer(NimbLockedMemory*) override { return E_FAIL; }
        HRESULT UnlockBuffer() override { return S_OK; }
        HRESULT GetSize(UINT32* pSize) override { return inner->GetSize(pSize); }
        HRESULT AllocateBuffer(UINT32, UINT32, UINT32, INimbBuffer** ppBuffer) override {
            *ppBuffer = this;
            return S_OK;
        }
        HRESULT ReleaseBuffer(INimbBuffer*) override { return S_OK; }
        NIMBCORE::CComPtr<NimbCrossPlatform::Buffer> inner{new NimbCrossPlatform::Buffer(12)};
    } lockedOut;
    Nimb::CNimbMeshReader reader;
    reader.Initialize(&lockedOut, 13);
    Nimb::CNimbMeshReaderCtx ctx;
    CStreamingMeshHeader header;
    const NIMBCORE::CComPtr<IStream> stream = KeyFrame(c_List, 1, 1, 3).Stream();
    ASSERT_EQ(header.Read(stream), S_OK);
    NIMBCORE::CComPtr<INimbBuffer> buffer;
    EXPECT_EQ(reader.ReadIndices(&ctx, stream, &header, &buffer), E_FAIL);
    EXPECT_EQ(DecodedFrame::Attribute(lockedOut.inner, NimbAttrib_UseTriList), 1u);
    EXPECT_EQ(ctx.m_pIndexBuffer.p, nullptr);
}
