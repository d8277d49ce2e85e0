// Writes seeds for each fuzz target: seed_corpus OUTDIR makes OUTDIR/<target>/<file> where the folder is there. Seeds
// are valid inputs, so that a fuzzer starts behind the first checks; short ones, so that it stays fast.
#include "Authoring/Codec/IndexStreams.h"
#include "Authoring/Codec/MeshPayload.h"
#include "Authoring/Codec/TextureTransform.h"
#include "Authoring/Codec/TransformSection.h"
#include "Authoring/Codec/VertexStreams.h"
#include "Authoring/Codec/XtraAttributes.h"
#include "Authoring/Frame/DeltaSection.h"
#include "Authoring/Frame/FrameEncoder.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/TestSupport.h"
#include "Tests/Support/TinyMp4.h"

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

using namespace Nimb::Authoring;

class CorpusWriter {
public:
    explicit CorpusWriter(std::filesystem::path folder) : m_Folder(std::move(folder)) {}

    void Write(const std::string& target, const std::string& name, const Bytes& bytes) {
        const std::filesystem::path folder = m_Folder / target;
        if (!std::filesystem::is_directory(folder)) {
            throw std::runtime_error("no fuzz target has the name " + target);
        }
        std::ofstream file(folder / name, std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        if (!file.flush()) {
            throw std::runtime_error("cannot write " + (folder / name).string());
        }
    }

private:
    std::filesystem::path m_Folder;
};

Bytes Prefixed(std::initializer_list<UINT32> prefix, const Bytes& bytes) {
    ByteWriter out;
    for (const UINT32 byte : prefix) {
        out.U8(byte);
    }
    out.Append(bytes);
    return out.Take();
}

Bytes Sequence(UINT32 layout, const std::vector<Bytes>& frames) {
    ByteWriter out;
    out.U8(layout);
    for (const Bytes& frame : frames) {
        out.U16(static_cast<UINT32>(frame.size()));
        out.Append(frame);
    }
    return out.Take();
}

std::vector<Bytes> MakeClip(IndexCoding indices, DeltaCoding coding, bool normals) {
    KeyFrameOptions key;
    key.indices = indices;
    key.normals = normals;
    DeltaFrameOptions delta;
    delta.coding = coding;
    delta.maxError = 0.002;
    delta.normals = normals;
    return NimbTest::EncodeClip(NimbTest::MakeSheet(4, 3), key, {delta, delta});
}

std::vector<Bytes> MakeTemporalClip() {
    const NimbTest::TwoSubMeshes how{
        {0, 1}, {}, {DeltaCoding::Golomb, DeltaCoding::Golomb}, SolveTransform(PlaceInAtlas(0.5f, 0.5f, 0.25f, 0.25f))};
    const Mesh mesh = NimbTest::MakeSheet(3, 3), moved = NimbTest::Moved(mesh, 1);
    FrameEncoder encoder;
    std::vector<Bytes> clip{how.Encode(encoder, mesh, mesh, false).bytes};
    clip.push_back(how.Encode(encoder, moved, moved, true).bytes);
    return clip;
}

void WriteSequences(CorpusWriter& corpus) {
    const std::string target = "ReaderSequenceFuzz";
    const std::pair<IndexCoding, DeltaCoding> codings[] = {{IndexCoding::List1, DeltaCoding::Quantised},
                                                           {IndexCoding::List2, DeltaCoding::Plain},
                                                           {IndexCoding::EdgeBreaker, DeltaCoding::Golomb},
                                                           {IndexCoding::Strips1, DeltaCoding::Transform},
                                                           {IndexCoding::Strips2, DeltaCoding::Huffman}};
    for (UINT32 layout = 0; layout < 4; ++layout) {
        for (const auto& [indices, deltas] : codings) {
            const bool normals = layout % 2 != 0 && indices != IndexCoding::Strips1 && indices != IndexCoding::Strips2;
            corpus.Write(target, "clip" + std::to_string(layout) + std::to_string(static_cast<int>(indices)),
                         Sequence(layout, MakeClip(indices, deltas, normals)));
        }
        corpus.Write(target, "temporal" + std::to_string(layout), Sequence(layout, MakeTemporalClip()));
    }
}

/// Sections of the setup that CodecFuzz makes of `prefix`: 12 vertices, without a second history.
void WriteVertexSections(CorpusWriter& corpus) {
    const Mesh mesh = NimbTest::MakeSheet(4, 3), moved = NimbTest::Moved(mesh, 3);
    Nimb::CNimbMeshReaderCtx ctx;
    for (const Vec3& p : mesh.positions) {
        ctx.m_Positions.push_back({p.x, p.y, p.z, 0});
    }
    ctx.m_pPrevMesh = &ctx.m_Positions;
    const auto write = [&](const std::string& name, const Bytes& section) {
        for (UINT32 options = 0; options < 16; ++options) {
            corpus.Write("CodecFuzz" + name, "options" + std::to_string(options), Prefixed({options, 12, 0}, section));
        }
    };
    for (const DeltaCoder& coder : DeltaCoders()) {
        DeltaFrameOptions options;
        options.coding = coder.coding;
        options.maxError = coder.fitsMotions ? TransformDeltaOptions().maxError : 0;
        options.normals = true;  // of records
        TransformDeltaEncoder transforms;
        std::string name = coder.name;
        name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
        write(name, ChooseDeltaSection(ctx, transforms, moved, BoundingBox(mesh.positions), options).bytes);
    }
    ByteWriter normals;
    WriteNormalBlock(mesh.normals, normals);
    write("Normals", normals.Take());
}

/// Corrections from few to many and from small to large, so that all kinds of symbols and tables occur.
void WriteTransformSections(CorpusWriter& corpus) {
    using namespace Nimb::TransformDeltas;
    for (UINT32 seed = 0; seed < 12; ++seed) {
        NimbTest::Random random(seed);
        TransformSection section{0.125f, seed % 4 == 3, seed, {}, PartMap(64), std::vector<Correction>(64)};
        for (UINT32 kind = 0; kind <= seed % 4; ++kind) {
            section.transforms.push_back({static_cast<Kind>(kind), 1, 10, {3, -40, 500}, {-1, 20, 0}});
        }
        for (std::size_t i = 0; i < section.parts.size(); ++i) {
            section.parts[i] = static_cast<BYTE>(i / 7 % section.transforms.size());
            for (std::size_t axis = 0; axis < 3 && random.Below(12) <= seed; ++axis) {
                const auto reach = static_cast<INT32>(1u << (seed + axis));
                section.corrections[i].axis[axis] =
                    static_cast<std::int16_t>(random.Signed() * static_cast<float>(reach));
            }
        }
        corpus.Write("CodecFuzzTransform", "corrections" + std::to_string(seed),
                     Prefixed({seed, 64, 0}, WriteTransformSection(section).bytes));
    }
}

void WriteIndexSections(CorpusWriter& corpus) {
    const std::vector<TarnMeshFace> faces = NimbTest::MakeSheet(4, 3).faces;
    const std::vector<TarnMeshFace> wide = {{{1000000, 70000, 5}}, {{0xFFFFFFFF, 70001, 200}}};
    const auto count = static_cast<UINT32>(faces.size());
    const std::vector<UINT32> strip = MakeStrip(faces);
    const auto length = static_cast<UINT32>(strip.size());
    corpus.Write("CodecFuzzList1", "sheet", Prefixed({0, count, 3 * count}, WriteRawIndices(FlattenFaces(faces))));
    corpus.Write("CodecFuzzList2", "sheet", Prefixed({0, count, 3 * count}, WriteListDeltas(faces)));
    corpus.Write("CodecFuzzList2", "wide", Prefixed({0, 2, 6}, WriteListDeltas(wide)));
    corpus.Write("CodecFuzzEdgeBreaker", "sheet", Prefixed({0, count, 3 * count}, WriteEdgeBreaker(faces).section));
    corpus.Write("CodecFuzzStrips1", "sheet", Prefixed({0, count, length}, WriteRawIndices(strip)));
    corpus.Write("CodecFuzzStrips2", "sheet", Prefixed({0, count, length}, WriteStripDeltas(strip)));
    corpus.Write("CodecFuzzStrips2", "wide", Prefixed({0, 2, 6}, WriteStripDeltas(FlattenFaces(wide))));

    Bytes stream = WriteEdgeBreaker(faces).section;
    stream.erase(stream.begin(), stream.begin() + 4);  // the size in front of it
    corpus.Write("EdgeBreakerDecodeFuzz", "sheet", stream);
    Bytes corners{11};
    for (const UINT32 index : FlattenFaces(faces)) {
        corners.push_back(static_cast<BYTE>(index));
    }
    corpus.Write("EdgeBreakerRoundTripFuzz", "sheet", corners);
}

void WriteContainers(CorpusWriter& corpus) {
    const Bytes frame = MakeClip(IndexCoding::EdgeBreaker, DeltaCoding::Golomb, false)[0];
    corpus.Write("MeshNalRoundTripFuzz", "frame", frame);
    Bytes sample{0, 0, 1, 0x65, 0x88, 0x84};  // a picture in front
    const Bytes unit = WriteMeshNalUnit(frame.data(), frame.size(), NalFraming::AnnexB);
    sample.insert(sample.end(), unit.begin(), unit.end());
    corpus.Write("MeshPayloadFuzz", "sample", sample);
    FileAttributes attributes;
    attributes.frameCount = 30;
    attributes.maxVertexCount = 12;
    attributes.maxIndexCount = 36;
    attributes.bboxMax = {1, 2, 3};
    attributes.hasVertexNormals = 1;
    corpus.Write("AttributeAtomFuzz", "plain", WriteAttributeAtom(attributes, AtomForm::Plain));
    corpus.Write("AttributeAtomFuzz", "wrapped", WriteAttributeAtom(attributes, AtomForm::Wrapped));
}

/// Any bytes will do: one seed for each index coding, with some motion.
void WriteRoundTrips(CorpusWriter& corpus) {
    for (UINT32 coding = 0; coding < 5; ++coding) {
        NimbTest::Random random(coding);
        Bytes bytes{static_cast<BYTE>(coding), static_cast<BYTE>(3 * coding), 20, 30};
        for (std::size_t i = 0; i < 500; ++i) {
            bytes.push_back(static_cast<BYTE>(random.Below(256)));
        }
        corpus.Write("FrameRoundTripFuzz", "random" + std::to_string(coding), bytes);
    }
}

void WriteClips(CorpusWriter& corpus) {
    const std::vector<Bytes> frames = MakeClip(IndexCoding::EdgeBreaker, DeltaCoding::Transform, true);
    NimbTest::TinyMp4 plain, large;
    large.isIndexFirst = large.has64BitOffsets = true;
    large.emptyEdit = 50;
    corpus.Write("ClipFuzz", "plain", plain.Make(frames));
    corpus.Write("ClipFuzz", "temporal", plain.Make(MakeTemporalClip()));
    corpus.Write("ClipFuzz", "index_first", large.Make(frames));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: seed_corpus OUTDIR\n");
        return 2;
    }
    try {
        CorpusWriter corpus(argv[1]);
        WriteSequences(corpus);
        WriteVertexSections(corpus);
        WriteTransformSections(corpus);
        WriteIndexSections(corpus);
        WriteContainers(corpus);
        WriteRoundTrips(corpus);
        WriteClips(corpus);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "seed_corpus: %s\n", error.what());
        return 1;
    }
    return 0;
}
