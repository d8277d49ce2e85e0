// Each encoder against the decoder of its section: what was written is what is read, and it is written well.
#include "Authoring/Codec/GolombVertices.h"
#include "Authoring/Codec/HuffmanVertices.h"
#include "Authoring/Codec/IndexStreams.h"
#include "Authoring/Codec/MeshHeader.h"
#include "Authoring/Codec/TextureTransform.h"
#include "Authoring/Codec/VertexStreams.h"
#include "NimbCore/TextureTransform.h"
#include "Tests/Support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

using namespace Nimb::Authoring;
using NimbTest::FaceSet;
using NimbTest::MakeSheet;
using NimbTest::Random;

namespace {

CStreamingMeshHeader HeaderOf(BYTE vertexVersion, BYTE flags, BYTE indexVersion, const Box& box,
                              std::size_t numVertices) {
    CStreamingMeshHeader header;
    header.m_Version.v.m_VertexVersion = vertexVersion;
    header.m_Version.v.m_FormatFlags = flags;
    header.m_Version.v.m_MeshHeaderVersion = 5;
    header.m_Version.v.m_IndexVersion = indexVersion;
    SetBox(header, box);
    header.m_numVertices = static_cast<UINT32>(numVertices);
    return header;
}

/// Runs single stages of a reader.
class Stages : public NimbTest::SectionReader {
public:
    explicit Stages(UINT32 vertexFormat = 8) : SectionReader(vertexFormat) {}

    template <class T>
    std::vector<T> Run(Stage stage, const Bytes& section, const CStreamingMeshHeader& wanted) {
        header = wanted;
        EXPECT_EQ(S_OK, SectionReader::Run(stage, section));
        EXPECT_EQ(0u, left) << "the section is longer than what is read of it";
        return Output<T>();
    }

    std::vector<UINT32> Indices(const Bytes& section, BYTE flags, BYTE version, std::size_t faces,
                                std::size_t indices) {
        CStreamingMeshHeader wanted = HeaderOf(2, flags, version, {}, 0);
        wanted.m_numFaces = static_cast<UINT32>(faces);
        wanted.m_numIndices = static_cast<UINT32>(indices);
        return Run<UINT32>(&Nimb::CNimbMeshReader::ReadIndices, section, wanted);
    }
};

std::vector<TarnMeshFace> RandomFaces(Random& random, std::size_t count) {
    constexpr UINT32 bounds[] = {100, 30000, 8000000, 0xFFFFFFFF};
    std::vector<TarnMeshFace> faces(count);
    for (TarnMeshFace& face : faces) {
        for (UINT32& v : face.v) {
            const UINT32 bits = random.Next() << 8 | random.Below(256);
            v = bits % bounds[random.Below(4)];
        }
    }
    return faces;
}

/// Gives a context the history of two decoded frames.
void SetHistory(Nimb::CNimbMeshReaderCtx& ctx, const std::vector<Vec3>& previous, const std::vector<Vec3>* older) {
    ctx.m_QuantisedVertices.resize(previous.size());
    const auto copy = [](const std::vector<Vec3>& from, std::vector<Nimb::__vector4>& to) {
        to.clear();
        for (const Vec3& p : from) {
            to.push_back({p.x, p.y, p.z, 0});
        }
    };
    copy(previous, ctx.m_Positions);
    copy(older != nullptr ? *older : previous, ctx.m_HistoryPositions);
    ctx.m_pPrevMesh = &ctx.m_Positions;
    ctx.m_pPrevPrevMesh = older != nullptr ? &ctx.m_HistoryPositions : nullptr;
}

std::vector<Vec3> RandomPositions(Random& random, std::size_t count, float scale) {
    std::vector<Vec3> positions;
    for (std::size_t i = 0; i < count; ++i) {
        positions.push_back({scale * random.Signed(), scale * random.Signed(), scale * random.Signed()});
    }
    return positions;
}

}  // namespace

TEST(VertexRecords, EveryComponentTakesTheNearestCode) {
    Random random(3);
    Mesh mesh;
    mesh.positions = RandomPositions(random, 300, 7.0f);
    mesh.normals = RandomPositions(random, 300, 1.0f);
    for (std::size_t i = 0; i < 300; ++i) {
        mesh.texCoords.push_back({std::fabs(random.Signed()), std::fabs(random.Signed())});
    }
    const Box box{{-8, -7, -700}, {8, 7.5f, 900}};
    ByteWriter out;
    WriteVertexRecords(mesh, box, true, out);
    Stages stages(10);
    const auto decoded =
        stages.Run<float>(&Nimb::CNimbMeshReader::ReadVertices, out.Take(), HeaderOf(2, 0x21, 1, box, 300));
    // Half a step, and a rounding of single precision.
    const double step[3] = {16.0 / 65535, 14.5 / 65535, 1600.0 / 65535};
    ASSERT_EQ(8 * 300u, decoded.size());
    for (std::size_t i = 0; i < 300; ++i) {
        const float* d = &decoded[8 * i];
        EXPECT_NEAR(mesh.positions[i].x, d[0], step[0] / 2 + 1e-6);
        EXPECT_NEAR(mesh.positions[i].y, d[1], step[1] / 2 + 1e-6);
        EXPECT_NEAR(mesh.positions[i].z, d[2], step[2] / 2 + 1e-4);
        EXPECT_NEAR(mesh.normals[i].x, d[3], 1.0 / 65535 + 1e-7);
        EXPECT_NEAR(mesh.normals[i].y, d[4], 1.0 / 65535 + 1e-7);
        EXPECT_NEAR(mesh.normals[i].z, d[5], 1.0 / 65535 + 1e-7);
        EXPECT_NEAR(mesh.texCoords[i].u, d[6], 0.5 / 65535 + 1e-7);
        EXPECT_NEAR(mesh.texCoords[i].v, d[7], 0.5 / 65535 + 1e-7);
    }
}

TEST(VertexRecords, CornersClampsAndFlatAxesAreExact) {
    Mesh mesh;
    mesh.positions = {{-1, 5, 2}, {3, 5, 4}, {-9, 5, 99}, {1, 6, 3}};
    mesh.texCoords = {{0, 1}, {1, 0}, {-2, 7}, {0.5f, 0.25f}};
    const Box box{{-1, 5, 2}, {3, 5, 4}};
    ByteWriter out;
    WriteVertexRecords(mesh, box, false, out);
    const Bytes records = out.Take();
    std::vector<std::int16_t> codes(records.size() / 2);
    std::memcpy(codes.data(), records.data(), records.size());
    codes.resize(18);  // the fourth vertex is not a corner
    EXPECT_EQ(codes, (std::vector<std::int16_t>{-32768, 0, -32768, 0, -32768, 32767,  //
                                                32767, 0, 32767, 0, 32767, -32768,    //
                                                -32768, 0, 32767, 0, -32768, 32767}));

    const auto decoded = Stages().Run<float>(&Nimb::CNimbMeshReader::ReadVertices, records, HeaderOf(2, 1, 1, box, 4));
    EXPECT_EQ(-1.0f, decoded[0]);
    EXPECT_EQ(5.0f, decoded[1]);
    EXPECT_EQ(3.0f, decoded[5]);
    EXPECT_EQ(4.0f, decoded[7]);
}

TEST(VertexRecords, MeshesThatCannotBeEncodedAreRefused) {
    const Mesh good = MakeSheet(3, 3);
    EXPECT_NO_THROW(CheckMesh(good));
    const auto refused = [&](auto spoil) {
        Mesh mesh = good;
        spoil(mesh);
        EXPECT_THROW(CheckMesh(mesh), std::invalid_argument);
    };
    refused([](Mesh& m) { m.positions[4].y = std::numeric_limits<float>::quiet_NaN(); });
    refused([](Mesh& m) { m.positions[0].x = -std::numeric_limits<float>::infinity(); });
    refused([](Mesh& m) { m.texCoords[8].v = 1e19f; });
    refused([](Mesh& m) { m.normals[8].z = std::numeric_limits<float>::quiet_NaN(); });
    refused([](Mesh& m) { m.texCoords.pop_back(); });
    refused([](Mesh& m) { m.normals.pop_back(); });
    refused([](Mesh& m) { m.faces[3].v[2] = 9; });
}

// ---- Deltas

namespace {

struct DeltaCase {
    const char* name;
    std::vector<Vec3> previous, older, targets;
    bool hasOlder;
    double maxError;
};

std::vector<DeltaCase> DeltaCases() {
    Random random(9);
    std::vector<DeltaCase> cases;
    const auto previous = RandomPositions(random, 200, 2);
    const auto older = RandomPositions(random, 200, 2);
    auto near = previous;
    for (Vec3& p : near) {
        p = {p.x + random.Signed() / 100, p.y + random.Signed() / 50, p.z};
    }
    auto shifted = previous;
    for (Vec3& p : shifted) {
        p = {p.x + 0.5f, p.y, p.z - 0.25f};
    }
    cases.push_back({"small motion, fine", previous, {}, near, false, 0});
    cases.push_back({"small motion, coarse", previous, {}, near, false, 0.002});
    cases.push_back({"two frames of history", previous, older, near, true, 0});
    cases.push_back({"uniform motion", previous, {}, shifted, false, 0});
    cases.push_back({"uniform motion, coarse", previous, {}, shifted, false, 0.01});
    cases.push_back({"more than 255 steps", previous, {}, near, false, 0.00001});
    cases.push_back({"no motion", previous, {}, previous, false, 0.001});
    cases.push_back({"one vertex", {{1, 2, 3}}, {}, {{2, 2, 2}}, false, 0.001});
    cases.push_back({"nothing", {}, {}, {}, false, 0});
    return cases;
}

}  // namespace

TEST(DeltaSections, AllStoragesDecodeToTheSamePositionsAsNearAsPromised) {
    for (const DeltaCase& c : DeltaCases()) {
        SCOPED_TRACE(c.name);
        Stages plain, golomb, huffman;
        for (Stages* stages : {&plain, &golomb, &huffman}) {
            SetHistory(stages->ctx, c.previous, c.hasOlder ? &c.older : nullptr);
        }
        const DeltaCorrections corrections = QuantiseCorrections(HistoryOf(plain.ctx), c.targets, c.maxError);
        const CStreamingMeshHeader header = HeaderOf(3, 1, 1, {{-9, -9, -9}, {9, 9, 9}}, c.targets.size());
        using Reader = Nimb::CNimbMeshReader;
        const auto a = plain.Run<float>(&Reader::ReadCompressedVertices, WritePlainDeltas(corrections), header);
        const auto b = golomb.Run<float>(&Reader::ReadGolombCodedVertices, WriteGolombDeltas(corrections), header);
        const auto d = huffman.Run<float>(&Reader::ReadHuffmanCodedVertices, WriteHuffmanDeltas(corrections), header);
        EXPECT_EQ(a, b);
        EXPECT_EQ(a, d);

        double error = 0;
        for (std::size_t i = 0; i < c.targets.size(); ++i) {
            const Nimb::__vector4& p = (*plain.ctx.m_pPrevMesh)[i];
            error = std::max(error, NimbTest::Distance(c.targets[i], {p.x, p.y, p.z}));
        }
        EXPECT_NEAR(corrections.maxError, error, 1e-12);
        if (c.maxError > 0.0001) {
            EXPECT_LE(error, c.maxError);
        }
    }
}

TEST(DeltaSections, CoarseStepsMakeSmallSections) {
    Random random(21);
    const auto previous = RandomPositions(random, 2000, 1);
    auto targets = previous;
    for (Vec3& p : targets) {
        p = {p.x + random.Signed() / 1000, p.y + random.Signed() / 1000, p.z + random.Signed() / 1000};
    }
    Stages stages;
    SetHistory(stages.ctx, previous, nullptr);
    const auto fine = QuantiseCorrections(HistoryOf(stages.ctx), targets, 0);
    const auto coarse = QuantiseCorrections(HistoryOf(stages.ctx), targets, 0.0005);
    EXPECT_LT(WriteGolombDeltas(coarse).size(), WriteGolombDeltas(fine).size() / 2);
    EXPECT_LT(WriteHuffmanDeltas(coarse).size() - 3072, (WriteHuffmanDeltas(fine).size() - 3072) / 2);
}

TEST(DeltaSections, NoGolombParameterMakesShorterCodes) {
    // x is lopsided around 200 and wraps past 255, y is narrow, z is uniform.
    Random random(5);
    DeltaCorrections corrections;
    for (std::size_t i = 0; i < 500; ++i) {
        UINT32 value = 200;
        while (random.Below(8) != 0) {
            value += 3;
        }
        const UINT32 narrow = 30 + random.Below(4) * random.Below(4);
        corrections.bytes.insert(corrections.bytes.end(), {static_cast<BYTE>(value), static_cast<BYTE>(narrow), 7});
    }
    const auto bitsWith = [&](std::size_t axis, UINT32 center, UINT32 m) {
        UINT32 b = 0, bits = 0;
        while ((1u << b) < m) {
            ++b;
        }
        for (std::size_t i = axis; i < corrections.bytes.size(); i += 3) {
            const int difference = static_cast<std::int8_t>(corrections.bytes[i] - center);
            const UINT32 value = static_cast<UINT32>(difference >= 0 ? 2 * difference : -2 * difference - 1);
            const UINT32 remainder = value % m;
            bits += value / m + 1 + (b > 0 ? b - 1 : 0) + (remainder >= (1u << b) - m ? 1 : 0);
        }
        return bits;
    };
    const Bytes section = WriteGolombDeltas(corrections);
    UINT32 numBits[3];
    std::memcpy(numBits, section.data() + 30, sizeof(numBits));
    for (const std::size_t axis : {std::size_t{0}, std::size_t{1}}) {
        UINT32 fewest = 0xFFFFFFFF;
        for (UINT32 center = 0; center < 256; ++center) {
            for (UINT32 m = 1; m < 256; ++m) {
                fewest = std::min(fewest, bitsWith(axis, center, m));
            }
        }
        EXPECT_EQ(fewest, numBits[axis]);
    }
    EXPECT_EQ(1000u, numBits[2]) << "the shortest code there is takes two bits";
}

// ---- Indices

TEST(IndexSections, ListsOfAnyIndicesRoundTrip) {
    Random random(11);
    for (const std::size_t count : std::vector<std::size_t>{0, 1, 2, 700, 5000}) {
        const auto faces = RandomFaces(random, count);
        const auto indices = FlattenFaces(faces);
        EXPECT_EQ(indices, Stages().Indices(WriteRawIndices(indices), 1, 1, count, 3 * count));
        EXPECT_EQ(indices, Stages().Indices(WriteListDeltas(faces), 1, 2, count, 3 * count));
    }
}

TEST(IndexSections, RotationKeepsWindingAndSavesBytes) {
    const Mesh sheet = MakeSheet(200, 6);  // rows apart is more than a byte apart
    std::vector<TarnMeshFace> faces = sheet.faces;
    Random random(2);
    for (TarnMeshFace& face : faces) {
        std::rotate(face.v, face.v + random.Below(3), face.v + 3);
    }
    const auto rotated = RotateForListDeltas(faces);
    ASSERT_EQ(faces.size(), rotated.size());
    for (std::size_t i = 0; i < faces.size(); ++i) {
        ASSERT_EQ(FaceSet(FlattenFaces({faces[i]})), FaceSet(FlattenFaces({rotated[i]}))) << i;
    }
    EXPECT_LT(WriteListDeltas(rotated).size(), WriteListDeltas(faces).size());
    EXPECT_LE(WriteListDeltas(rotated).size(), WriteListDeltas(sheet.faces).size());
}

TEST(IndexSections, StripsHoldTheSameTriangles) {
    std::vector<TarnMeshFace> faces = MakeSheet(17, 9).faces;
    Random random(4);
    std::vector<TarnMeshFace> soup = faces;
    for (std::size_t i = soup.size(); i-- > 1;) {
        std::swap(soup[i], soup[random.Below(static_cast<UINT32>(i))]);
    }
    soup.push_back({{0, 1, 17}});  // a repeated face, one turned round, and one without neighbours
    soup.push_back({{17, 1, 0}});
    soup.push_back({{900, 901, 902}});
    for (const auto& list : {faces, soup, std::vector<TarnMeshFace>{}}) {
        const auto strip = MakeStrip(list);
        EXPECT_EQ(FaceSet(FlattenFaces(list)), FaceSet(FlattenFaces(FacesOfStrip(strip))));
        EXPECT_LE(strip.size(), 6 * list.size());
        EXPECT_EQ(strip, Stages().Indices(WriteStripDeltas(strip), 2, 2, list.size(), strip.size()));
        EXPECT_EQ(strip, Stages().Indices(WriteRawIndices(strip), 2, 1, list.size(), strip.size()));
    }
    EXPECT_LT(MakeStrip(faces).size(), 2 * faces.size()) << "neighbours are not joined";

    const auto wide = FlattenFaces(RandomFaces(random, 3000));
    EXPECT_EQ(wide, Stages().Indices(WriteStripDeltas(wide), 2, 2, 0, wide.size()));
}

// ---- Texture transforms

TEST(TextureTransform, SolvedCoefficientsMakeTheWantedTransform) {
    const Nimb::STransform wanted[] = {
        {{1, 0, 0, 1, 0, 0}},
        PlaceInAtlas(0.5f, 0.25f, 0.125f, 0.5f),
        PlaceInAtlas(0.01f, 0.9f, 0.99f, 0.05f),
        PlaceInAtlas(-1, 1, 1, 0),                // mirrored
        {{0, -0.5f, 0.5f, 0, 0.25f, 0.75f}},      // a quarter turn
        {{0.4f, 0.3f, -0.3f, 0.4f, 0.1f, 0.2f}},  // turned and scaled
        {{0.7f, 0, 0.5f, 0.2f, 0, 0.3f}},         // sheared
    };
    for (const Nimb::STransform& w : wanted) {
        const auto m = SolveTransform(w);
        ASSERT_TRUE(m.has_value());
        const Nimb::STransform t = Nimb::InvertTransform(m->data());
        for (std::size_t i = 0; i < 6; ++i) {
            EXPECT_NEAR(w.t[i], t.t[i], 1e-6) << "coefficient " << i << " of the map with t0 = " << w.t[0];
        }
    }
    EXPECT_FALSE(SolveTransform({{0, 0, 0, 0, 0, 0}}).has_value());
    EXPECT_FALSE(SolveTransform({{1, 1, 1, 1, 0, 0}}).has_value()) << "singular";
    EXPECT_FALSE(SolveTransform({{1, 1, 1, 0, 0, 0}}).has_value()) << "t0 without t3";
    EXPECT_FALSE(SolveTransform({{0, 1, 1, 1, 0, 0}}).has_value()) << "t3 without t0";
}
