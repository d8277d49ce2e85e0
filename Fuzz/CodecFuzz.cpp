// Any bytes as a section of one kind. Built once for each: NIMB_FUZZ_SECTION says which (see Section).
//
// The first three bytes set the stage: output layout and options, number of vertices or faces, number of indices. What
// comes out may not depend on what memory held before, and where there is a model of the section it is the model's
// result, or a refusal exactly where the model has none.
#include "Fuzz/CodecModel.h"
#include "Fuzz/Require.h"
#include "Fuzz/TransformModel.h"
#include "Nimb/NimbAssert.h"
#include "NimbCore/Codings.h"
#include "Tests/Support/TestSupport.h"

namespace {

/// Vertex sections are numbered by their versions.
enum Section {
    Golomb = NTarnStudioVertexVersion::c_GolombDeltas,
    Transform = NTarnStudioVertexVersion::c_TransformDeltas,
    Huffman = NTarnStudioVertexVersion::c_HuffmanDeltas,
    Normals = 256,
    List1,
    List2,
    EdgeBreaker,
    Strips1,
    Strips2,
};
constexpr int c_Section = NIMB_FUZZ_SECTION;
constexpr bool c_IsIndexSection = c_Section >= List1;
static_assert(c_Section >= Normals || Nimb::FindVertexCoding(c_Section) != nullptr, "no vertex coding has this number");

using Nimb::CNimbMeshReader;
using Stage = Nimb::VertexDecoder;  // that of indices has the same signature

struct Setup {
    UINT32 vertexFormat;
    bool storedNormals;
    bool olderFrame;
    UINT32 count;  // vertices or faces
    UINT32 numIndices;
};

struct Outcome {
    HRESULT hr = E_FAIL;
    NimbTest::ByteVector bytes;
    std::vector<float> history;  // of vertices that were decoded: the newest positions

    friend bool operator==(const Outcome& a, const Outcome& b) {
        return Failed(a.hr) == Failed(b.hr) && a.bytes == b.bytes &&
               (a.history.empty() || std::memcmp(a.history.data(), b.history.data(), a.history.size() * 4) == 0);
    }
};

CStreamingMeshHeader MakeHeader(const Setup& setup) {
    CStreamingMeshHeader header;
    auto& version = header.m_Version.v;
    version.m_VertexVersion = 2;
    version.m_FormatFlags =
        setup.storedNormals ? NTarnStudioFormatFlags::c_HasNormals : NTarnStudioFormatFlags::c_TriList;
    if (c_Section == Strips1 || c_Section == Strips2) {
        version.m_FormatFlags = NTarnStudioFormatFlags::c_TriStrips;
    }
    version.m_IndexVersion = c_Section == EdgeBreaker ? 4 : c_Section == List1 || c_Section == Strips1 ? 1 : 2;
    const float corners[2][3] = {{-1, -2, 0}, {1, 3, 0.5f}};
    std::memcpy(header.m_BBoxMin, corners[0], sizeof(header.m_BBoxMin));
    std::memcpy(header.m_BBoxMax, corners[1], sizeof(header.m_BBoxMax));
    header.m_numVertices = setup.count;
    header.m_numFaces = setup.count;
    header.m_numIndices = setup.numIndices;
    return header;
}

/// A context as two earlier frames leave it.
void PrepareContext(const Setup& setup, Nimb::CNimbMeshReaderCtx& ctx) {
    NimbTest::Random random(setup.count);
    ctx.m_numVertices = setup.count;
    for (UINT32 i = 0; i < setup.count; ++i) {
        ctx.m_Positions.push_back({random.Signed(), random.Signed(), random.Signed(), 0});
        ctx.m_HistoryPositions.push_back({random.Signed(), random.Signed(), random.Signed(), 0});
        ctx.m_QuantisedVertices.push_back({1, 2, 3, 0, static_cast<std::int16_t>(i), 7});
        ctx.m_TransformIndices.push_back(static_cast<BYTE>(i / 3 % 3));
    }
    ctx.m_pPrevMesh = &ctx.m_Positions;
    ctx.m_pPrevPrevMesh = setup.olderFrame ? &ctx.m_HistoryPositions : nullptr;
}

Outcome Run(Stage stage, const Setup& setup, const BYTE* data, std::size_t size, BYTE pattern) {
    NimbTest::SectionReader sections(setup.vertexFormat, pattern, 1u << 20);
    PrepareContext(setup, sections.ctx);
    sections.header = MakeHeader(setup);
    Outcome outcome;
    outcome.hr = sections.Run(stage, data, size);
    if (Succeeded(outcome.hr)) {
        outcome.bytes = sections.Output<BYTE>();
        for (std::size_t i = 0; !c_IsIndexSection && i < setup.count; ++i) {
            const Nimb::__vector4& p = (*sections.ctx.m_pPrevMesh)[i];
            outcome.history.insert(outcome.history.end(), {p.x, p.y, p.z});
        }
    }
    return outcome;
}

/// ReadNormals works on a buffer that a vertex decoder made.
Outcome RunNormals(const Setup& setup, const BYTE* data, std::size_t size, BYTE pattern) {
    NimbTest::PatternAllocator allocator(pattern, 1u << 20);
    CNimbMeshReader reader;
    reader.Initialize(&allocator, setup.vertexFormat);
    CStreamingMeshHeader header = MakeHeader(setup);
    NimbTest::MemoryStream stream(data, size);
    NIMBCORE::CComPtr<INimbBuffer> buffer(
        new NimbCrossPlatform::Buffer(setup.count * CNimbMeshReader::VertexStride(setup.vertexFormat)));
    NimbLockedMemory memory{};
    buffer->LockBuffer(&memory);
    std::memset(memory.pData, 0x11, memory.cbMaxLength);
    Outcome outcome;
    outcome.hr = reader.ReadNormals(&stream, &header, buffer);
    outcome.bytes = NimbTest::Contents<BYTE>(buffer);
    return outcome;
}

Outcome RunSection(const Setup& setup, const BYTE* data, std::size_t size, BYTE pattern) {
    if (c_Section == Normals) {
        return RunNormals(setup, data, size, pattern);
    }
    const Stage stage =
        c_IsIndexSection ? &CNimbMeshReader::ReadIndices : Nimb::FindVertexCoding(static_cast<BYTE>(c_Section))->decode;
    return Run(stage, setup, data, size, pattern);
}

Outcome OfIndices(const std::optional<std::vector<UINT32>>& indices) {
    Outcome outcome;
    if (indices) {
        outcome.hr = S_OK;
        outcome.bytes.resize(4 * indices->size());
        std::copy_n(reinterpret_cast<const BYTE*>(indices->data()), outcome.bytes.size(), outcome.bytes.begin());
    }
    return outcome;
}

Outcome OfPlainSection(const Setup& setup, const std::optional<CodecModel::Bytes>& section) {
    return section ? Run(&CNimbMeshReader::ReadCompressedVertices, setup, section->data(), section->size(), 0)
                   : Outcome();
}

/// What should come out; nothing for sections without a model.
std::optional<Outcome> RunModel(const Setup& setup, const BYTE* data, std::size_t size) {
    const CodecModel::Cursor in(data, size);
    switch (c_Section) {
        case Golomb:
            return OfPlainSection(setup, CodecModel::PlainFromGolomb(in, setup.count));
        case Transform: {
            const auto section = CodecModel::TransformsAnew(in, setup.count);
            return section
                       ? Run(&CNimbMeshReader::ReadTransformDeltaVertices, setup, section->data(), section->size(), 0)
                       : Outcome();
        }
        case Huffman:
            return OfPlainSection(setup, CodecModel::PlainFromHuffman(in, setup.count));
        case List2:
            return OfIndices(CodecModel::ByteDeltaList(in, setup.count, setup.numIndices));
        case Strips2:
            return OfIndices(CodecModel::ByteDeltaStrip(in, setup.numIndices));
        default:
            return std::nullopt;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Nimb::SetAssertionSink([](const Nimb::AssertionInfo&) {});
    if (size < 3) {
        return 0;
    }
    Setup setup{};
    setup.vertexFormat = ((data[0] & 1) != 0 ? NTarnOutputFormat::c_Normals : 0u) |
                         ((data[0] & 2) != 0 ? NTarnOutputFormat::c_Float : 0u);
    setup.storedNormals = !c_IsIndexSection && ((data[0] & 4) != 0 || c_Section == Normals);
    setup.olderFrame = (data[0] & 8) != 0;
    setup.count = data[1];
    setup.numIndices = c_IsIndexSection && (data[0] & 16) != 0 ? 16u * data[2] : data[2];
    data += 3;
    size -= 3;

    const Outcome outcome = RunSection(setup, data, size, 0x00);
    Require(outcome == RunSection(setup, data, size, 0xA7));
    const std::optional<Outcome> wanted = RunModel(setup, data, size);
    Require(!wanted || *wanted == outcome);
    return 0;
}
