// Whole clips through FrameEncoder and the mesh reader: topology, closed loop, choices and temporal frames.
#include "Authoring/Codec/IndexStreams.h"
#include "Authoring/Codec/TextureTransform.h"
#include "Authoring/Frame/FrameEncoder.h"
#include "Authoring/Frame/SegmentEncoder.h"
#include "Tests/Support/Places.h"
#include "Tests/Support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <stdexcept>

using namespace Nimb::Authoring;
using NimbTest::DecodedFrame;
using NimbTest::Distance;
using NimbTest::ErrorOf;
using NimbTest::FaceSet;
using NimbTest::FrameReader;
using NimbTest::MakeSheet;
using NimbTest::Moved;
using NimbTest::PositionOf;

namespace {

constexpr UINT32 c_Float = 13;
constexpr UINT32 c_FloatNormals = 15;
constexpr DeltaCoding c_Corrections[] = {DeltaCoding::Plain, DeltaCoding::Golomb, DeltaCoding::Transform,
                                         DeltaCoding::Huffman, DeltaCoding::Smallest};

/// Two sheets side by side and a vertex that nothing uses: several components, borders, and a gap in the vertices.
Mesh TwoSheets() {
    Mesh mesh = MakeSheet(9, 6, 1);
    mesh.positions.push_back({0, 0, 0});
    mesh.texCoords.push_back({0, 0});
    mesh.normals.push_back({0, 0, 1});
    const Mesh other = MakeSheet(4, 11, 2);
    const UINT32 base = static_cast<UINT32>(mesh.positions.size());
    for (const Vec3& p : other.positions) {
        mesh.positions.push_back({p.x + 3, p.y, p.z});
    }
    mesh.texCoords.insert(mesh.texCoords.end(), other.texCoords.begin(), other.texCoords.end());
    mesh.normals.insert(mesh.normals.end(), other.normals.begin(), other.normals.end());
    for (const TarnMeshFace& face : other.faces) {
        mesh.faces.push_back({{face.v[0] + base, face.v[1] + base, face.v[2] + base}});
    }
    return mesh;
}

/// An arm of three joints, unwrapped into a chart for every two columns: vertices between charts are there twice.
Mesh Arm(UINT32 frame) {
    constexpr UINT32 columns = 61, rows = 17;
    Mesh sheet = Moved(MakeSheet(columns, rows), frame);
    for (UINT32 v = 0; v < columns * rows; ++v) {
        Vec3& p = sheet.positions[v];
        double x = 0, z = 0, angle = 0;
        for (UINT32 i = 0; i < v % columns; ++i) {
            angle += i % 15 < 3 ? 0.15 * std::sin(0.3 * frame + i / 15) : 0;
            x += std::cos(angle) / 8;
            z += std::sin(angle) / 8;
        }
        p = {static_cast<float>(x - p.z * std::sin(angle)), p.y, static_cast<float>(z + p.z * std::cos(angle))};
    }
    Mesh mesh;
    for (UINT32 column = 0; column + 1 < columns; column += 2) {
        const UINT32 base = static_cast<UINT32>(mesh.positions.size()), width = std::min(3u, columns - column);
        for (UINT32 i = 0; i < width * rows; ++i) {
            mesh.positions.push_back(sheet.positions[i / width * columns + column + i % width]);
            mesh.texCoords.push_back({static_cast<float>(base + i) / 4096, 0.5f});
        }
        for (const TarnMeshFace& face : NimbTest::SheetFaces(width, rows)) {
            mesh.faces.push_back({{face.v[0] + base, face.v[1] + base, face.v[2] + base}});
        }
    }
    return mesh;
}

}  // namespace

TEST(FrameEncoder, KeyFramesKeepTheMeshInEveryLayout) {
    const Mesh mesh = TwoSheets();
    const auto wanted = FaceSet(FlattenFaces(mesh.faces));
    for (const IndexCoding coding : {IndexCoding::List1, IndexCoding::List2, IndexCoding::EdgeBreaker}) {
        for (const bool indicesFirst : {false, true}) {
            for (const bool normals : {false, true}) {
                KeyFrameOptions options;
                options.indices = coding;
                options.indicesFirst = indicesFirst;
                options.normals = normals;
                options.subMeshId = 5;
                options.frameId = 1234;
                FrameEncoder encoder;
                const EncodedFrame frame = encoder.KeyFrame(mesh, options);
                const DecodedFrame decoded = FrameReader(c_FloatNormals).Decode(frame.bytes);
                ASSERT_EQ(S_OK, decoded.hr);
                const auto& order = encoder.VertexOrder(5);
                EXPECT_EQ(wanted, FaceSet(decoded.indices, order));
                EXPECT_EQ(order.size(), frame.numVertices);
                EXPECT_EQ(decoded.indices.size(), frame.numIndices);
                EXPECT_DOUBLE_EQ(frame.maxError, ErrorOf(decoded, 32, mesh, order));
                EXPECT_LT(frame.maxError, 1e-4);
                for (std::size_t i = 0; i < order.size(); ++i) {
                    const Vec3& n = mesh.normals[order[i]];
                    EXPECT_NEAR(normals ? n.x : -1.0f, decoded.Field<float>(32 * i + 12), 2e-5);
                    EXPECT_NEAR(normals ? n.z : -1.0f, decoded.Field<float>(32 * i + 20), 2e-5);
                    EXPECT_NEAR(mesh.texCoords[order[i]].u, decoded.Field<float>(32 * i + 24), 1e-5);
                    EXPECT_NEAR(mesh.texCoords[order[i]].v, decoded.Field<float>(32 * i + 28), 1e-5);
                }
            }
        }
    }
}

TEST(FrameEncoder, StripFramesKeepTheirTrianglesAlsoUnderDeltas) {
    const Mesh mesh = TwoSheets();
    for (const IndexCoding coding : {IndexCoding::Strips1, IndexCoding::Strips2}) {
        KeyFrameOptions options;
        options.indices = coding;
        FrameEncoder encoder;
        FrameReader reader(c_Float);
        const DecodedFrame key = reader.Decode(encoder.KeyFrame(mesh, options).bytes);
        ASSERT_EQ(S_OK, key.hr);
        EXPECT_EQ(FaceSet(FlattenFaces(mesh.faces), encoder.VertexOrder()),
                  FaceSet(FlattenFaces(FacesOfStrip(key.indices)), encoder.VertexOrder()));
        const EncodedFrame delta = encoder.DeltaFrame(Moved(mesh, 1));
        EXPECT_EQ(0, delta.bytes[1] & 0x01) << "a delta frame of strips is not a triangle list";
        EXPECT_EQ(key.indices, reader.Decode(delta.bytes).indices);
    }
}

TEST(FrameEncoder, ErrorsDoNotAddUpOverALongClip) {
    const Mesh mesh = TwoSheets();
    constexpr double limit = 0.001;
    for (const DeltaCoding coding : c_Corrections) {
        SCOPED_TRACE(static_cast<int>(coding));
        FrameEncoder encoder;
        FrameReader reader(c_Float);
        ASSERT_EQ(S_OK, reader.Decode(encoder.KeyFrame(mesh).bytes).hr);
        for (UINT32 i = 1; i <= 60; ++i) {
            const Mesh target = Moved(mesh, i);
            DeltaFrameOptions options;
            options.coding = coding;
            options.maxError = limit;
            const EncodedFrame frame = encoder.DeltaFrame(target, options);
            const DecodedFrame decoded = reader.Decode(frame.bytes);
            ASSERT_EQ(S_OK, decoded.hr);
            ASSERT_DOUBLE_EQ(frame.maxError, ErrorOf(decoded, 20, target, encoder.VertexOrder())) << "frame " << i;
            ASSERT_LE(frame.maxError, limit) << "frame " << i;
        }
    }
}

TEST(FrameEncoder, SurfacesDoNotCrackBetweenCharts) {
    for (const DeltaCoding coding : {DeltaCoding::Quantised, DeltaCoding::Plain, DeltaCoding::Golomb,
                                     DeltaCoding::Transform, DeltaCoding::Huffman, DeltaCoding::Smallest}) {
        SCOPED_TRACE(static_cast<int>(coding));
        FrameEncoder encoder;
        FrameReader reader(c_Float);
        NimbTest::PlaceWatch watch;
        KeyFrameOptions key;
        key.indices = IndexCoding::EdgeBreaker;
        DeltaFrameOptions delta;
        delta.coding = coding;
        delta.maxError = 0.0002;
        for (UINT32 frame = 0; frame < 24; ++frame) {
            Mesh mesh = Arm(frame);
            if (frame >= 20) {
                mesh.positions.front().z += 0.001f;  // what the source tears apart may come apart
            }
            const EncodedFrame encoded = frame == 0 ? encoder.KeyFrame(mesh, key) : encoder.DeltaFrame(mesh, delta);
            const DecodedFrame decoded = reader.Decode(encoded.bytes);
            ASSERT_EQ(S_OK, decoded.hr);
            EXPECT_EQ(0u, watch.Apart(mesh.positions, encoder.VertexOrder(), decoded)) << "frame " << frame;
            EXPECT_GT(watch.Shared(), 490u);
            for (UINT32 later = 0; frame == 0 && later < 20; ++later) {
                encoder.LookAhead(Arm(later));
            }
        }
    }
}

TEST(FrameEncoder, DeltaFramesCarryNormalsAndRecordsCarryTextureCoordinates) {
    const Mesh mesh = TwoSheets();
    for (const DeltaCoding coding : {DeltaCoding::Quantised, DeltaCoding::Plain, DeltaCoding::Golomb,
                                     DeltaCoding::Transform, DeltaCoding::Huffman}) {
        SCOPED_TRACE(static_cast<int>(coding));
        KeyFrameOptions key;
        key.normals = true;
        FrameEncoder encoder;
        FrameReader reader(c_FloatNormals);
        ASSERT_EQ(S_OK, reader.Decode(encoder.KeyFrame(mesh, key).bytes).hr);

        Mesh target = Moved(mesh, 3);
        for (Vec3& n : target.normals) {
            n = {n.z, n.x, n.y};
        }
        for (Vec2& t : target.texCoords) {
            t.u = 1 - t.u;
        }
        DeltaFrameOptions options;
        options.coding = coding;
        options.normals = true;
        options.maxError = 0.001;
        const DecodedFrame decoded = reader.Decode(encoder.DeltaFrame(target, options).bytes);
        ASSERT_EQ(S_OK, decoded.hr);
        const std::vector<UINT32> order = encoder.VertexOrder();
        const Mesh& texture = coding == DeltaCoding::Quantised ? target : mesh;
        for (std::size_t i = 0; i < order.size(); ++i) {
            EXPECT_NEAR(target.normals[order[i]].y, decoded.Field<float>(32 * i + 16), 2e-5);
            EXPECT_NEAR(texture.texCoords[order[i]].u, decoded.Field<float>(32 * i + 24), 3e-5);
        }
        // A key frame with as many vertices as the one before brings its own texture coordinates.
        reader.Decode(encoder.KeyFrame(target, key).bytes);
        const DecodedFrame later = reader.Decode(encoder.DeltaFrame(target, options).bytes);
        for (std::size_t i = 0; i < order.size(); ++i) {
            EXPECT_NEAR(target.texCoords[order[i]].u, later.Field<float>(32 * i + 24), 3e-5);
        }
    }
}

TEST(SegmentEncoder, IsNoLargerThanAnyFixedChoiceAndKeepsTheLimit) {
    constexpr double limit = 0.0008;
    // A sheet that waves, and one whose vertices also tremble, which no transform explains.
    for (const float tremble : {0.0f, 0.02f}) {
        SCOPED_TRACE(tremble);
        std::vector<Mesh> meshes;
        NimbTest::Random random(3);
        for (UINT32 i = 0; i < 6; ++i) {
            meshes.push_back(Moved(TwoSheets(), i));
            for (Vec3& p : meshes.back().positions) {
                p.y += tremble * random.Signed();
            }
        }
        const auto total = [&](const CodingOptions& options, bool temporal) {
            std::vector<Moment> moments;
            for (const Mesh& mesh : meshes) {
                moments.push_back({{&mesh, 0, std::nullopt, &mesh == &meshes[3]}});
                if (temporal) {
                    moments.back().push_back({&meshes.front(), 7, std::nullopt, false});
                }
            }
            FrameReader reader(c_Float);
            std::vector<UINT32> inOrder(meshes[0].positions.size());
            std::iota(inOrder.begin(), inOrder.end(), 0u);
            std::size_t bytes = 0;
            const std::vector<EncodedFrame> frames = EncodeSegment(moments, options);
            for (std::size_t i = 0; i < meshes.size(); ++i) {
                const DecodedFrame decoded = reader.Decode(frames.at(i).bytes);
                EXPECT_EQ(S_OK, decoded.hr);
                EXPECT_LE(frames[i].maxError, limit);
                EXPECT_EQ(i == 0 || (i == 3 && !temporal), frames[i].isKeyFrame) << "a new topology is asked for";
                if (options.keepVertexOrder && !temporal) {
                    EXPECT_EQ(frames[i].maxError, ErrorOf(decoded, 20, meshes[i], inOrder));
                }
                bytes += frames[i].bytes.size();
            }
            return bytes;
        };
        for (const bool temporal : {false, true}) {
            CodingOptions options;
            options.maxError = limit;
            const std::size_t automatic = total(options, temporal);
            for (const IndexCoding indices : {IndexCoding::List1, IndexCoding::List2, IndexCoding::EdgeBreaker,
                                              IndexCoding::Strips1, IndexCoding::Strips2}) {
                if (temporal && indices >= IndexCoding::Strips1) {
                    continue;
                }
                for (const DeltaCoding coding : {DeltaCoding::Quantised, DeltaCoding::Plain, DeltaCoding::Golomb,
                                                 DeltaCoding::Transform, DeltaCoding::Huffman}) {
                    options.indices = indices;
                    options.delta = coding;
                    EXPECT_GE(total(options, temporal), automatic)
                        << static_cast<int>(indices) << " " << static_cast<int>(coding);
                }
            }
            CodingOptions inOrder;
            inOrder.maxError = limit;
            inOrder.keepVertexOrder = true;
            EXPECT_GE(total(inOrder, temporal), automatic);
        }
    }
}

TEST(FrameEncoder, NextTemporalFrameChoosesForEachSubMesh) {
    const Mesh meshes[2] = {MakeSheet(8, 7, 1), MakeSheet(5, 9, 2)};
    CodingOptions options;
    options.maxError = 0.002;
    options.keyFrameInterval = 5;
    FrameEncoder encoder;
    FrameReader reader(c_Float);
    const auto next = [&](UINT32 time, bool newTopology, bool alone) {
        const Mesh moved[2] = {Moved(meshes[0], time), Moved(meshes[1], time)};
        std::vector<SubMesh> subMeshes = {{&moved[0], 4, std::nullopt, false}};
        if (!alone) {
            subMeshes.push_back({&moved[1], 5, SolveTransform(PlaceInAtlas(0.5f, 0.5f, 0, 0)), newTopology});
        }
        const EncodedFrame frame = encoder.NextTemporalFrame(subMeshes, options);
        const DecodedFrame decoded = reader.Decode(frame.bytes);
        EXPECT_EQ(S_OK, decoded.hr);
        EXPECT_LE(frame.maxError, options.maxError);
        std::size_t vertex = 0;
        for (std::size_t k = 0; k < subMeshes.size(); ++k) {
            for (const UINT32 i : encoder.VertexOrder(subMeshes[k].id)) {
                EXPECT_LE(Distance(moved[k].positions[i], PositionOf(decoded, vertex++, 20)), frame.maxError);
            }
        }
        return frame;
    };
    EXPECT_TRUE(next(0, false, false).isKeyFrame);
    const std::size_t deltas = next(1, false, false).bytes.size();
    const EncodedFrame mixed = next(2, true, false);
    EXPECT_FALSE(mixed.isKeyFrame);
    EXPECT_GT(mixed.bytes.size(), deltas + 12 * meshes[1].positions.size()) << "one of the two is a key frame";
    EXPECT_LT(next(3, false, true).bytes.size(), deltas);
    EXPECT_GT(next(4, false, false).bytes.size(), deltas) << "the second was forgotten";
    EXPECT_TRUE(next(5, false, false).isKeyFrame) << "the interval is over for both";
    EXPECT_FALSE(next(6, false, false).isKeyFrame);

    options.indices = IndexCoding::Strips1;
    options.keyFrameInterval = 1;
    EXPECT_THROW(next(7, false, false), std::invalid_argument);
}

TEST(FrameEncoder, NextFrameKeepsTheLimitAndStartsAnewWhereItMust) {
    const Mesh mesh = MakeSheet(10, 10);
    CodingOptions options;
    options.maxError = 0.002;
    options.keyFrameInterval = 8;
    FrameEncoder encoder;
    FrameReader reader(c_Float);
    const auto next = [&](const Mesh& target) {
        const EncodedFrame frame = encoder.NextFrame(target, options);
        const DecodedFrame decoded = reader.Decode(frame.bytes);
        EXPECT_EQ(S_OK, decoded.hr);
        EXPECT_LE(ErrorOf(decoded, 20, target, encoder.VertexOrder()), options.maxError);
        return frame.isKeyFrame;
    };
    for (UINT32 i = 0; i < 20; ++i) {
        EXPECT_EQ(i % 8 == 0, next(Moved(mesh, i))) << i;
    }
    // Frame 20: nothing is due, but vertices are thrown about farther than the corrections reach.
    Mesh thrown = Moved(mesh, 20);
    NimbTest::Random random(1);
    for (Vec3& p : thrown.positions) {
        p.x += 1000 * random.Signed();
    }
    options.maxError = 0.016;  // just within the reach of 16-bit records
    EXPECT_TRUE(next(thrown));
    options.maxError = 0.002;
    next(mesh);

    Mesh retextured = Moved(mesh, 2);
    retextured.texCoords[7].u += 0.5f;
    EXPECT_TRUE(next(retextured));
    EXPECT_FALSE(next(retextured));
    Mesh opened = retextured;
    opened.faces.pop_back();
    EXPECT_TRUE(next(opened));
    EXPECT_TRUE(next(MakeSheet(5, 4))) << "another vertex count";
}

TEST(FrameEncoder, TemporalFramesPlaceSubMeshesInTheAtlas) {
    const Mesh meshes[3] = {MakeSheet(6, 5, 1), MakeSheet(3, 8, 2), MakeSheet(4, 4, 3)};
    const Nimb::STransform wanted[3] = {
        {{1, 0, 0, 1, 0, 0}}, PlaceInAtlas(0.5f, 0.25f, 0.125f, 0.5f), {{0, -0.5f, 0.5f, 0, 0.25f, 0.75f}}};
    const DeltaCoding codings[3] = {DeltaCoding::Golomb, DeltaCoding::Quantised, DeltaCoding::Transform};
    FrameEncoder encoder;
    FrameReader reader(c_Float);
    for (UINT32 time = 0; time < 4; ++time) {
        Mesh moved[3];
        std::vector<SubFrame> subFrames;
        for (UINT32 k = 0; k < 3; ++k) {
            moved[k] = Moved(meshes[k], time);
            SubFrame sub;
            sub.mesh = &moved[k];
            sub.key.subMeshId = 10 + k;
            if (k > 0) {
                sub.textureTransform = SolveTransform(wanted[k]);
            }
            if (time > 0) {
                sub.delta.emplace();
                sub.delta->subMeshId = 10 + k;
                sub.delta->coding = codings[k];
                sub.delta->maxError = 0.001;
            }
            subFrames.push_back(sub);
        }
        const EncodedFrame frame = encoder.TemporalFrame(subFrames);
        EXPECT_EQ(time == 0, frame.isKeyFrame);
        const DecodedFrame decoded = reader.Decode(frame.bytes);
        ASSERT_EQ(S_OK, decoded.hr);
        EXPECT_LE(frame.maxError, 0.001);

        std::size_t vertex = 0, index = 0;
        for (UINT32 k = 0; k < 3; ++k) {
            const auto& order = encoder.VertexOrder(10 + k);
            const auto base = static_cast<UINT32>(vertex);
            for (std::size_t i = 0; i < 3 * meshes[k].faces.size(); ++i, ++index) {
                ASSERT_GE(decoded.indices.at(index), base);
                ASSERT_LT(decoded.indices.at(index), base + order.size());
            }
            for (std::size_t i = 0; i < order.size(); ++i, ++vertex) {
                EXPECT_LE(Distance(moved[k].positions[order[i]], PositionOf(decoded, vertex, 20)), frame.maxError);
                const Vec2& t = meshes[k].texCoords[order[i]];
                const float* m = wanted[k].t;
                EXPECT_NEAR(m[4] + t.u * m[0] + (1 - t.v) * m[2], decoded.Field<float>(20 * vertex + 12), 5e-5);
                EXPECT_NEAR(1 - (m[5] + t.u * m[1] + (1 - t.v) * m[3]), decoded.Field<float>(20 * vertex + 16), 5e-5);
            }
        }
        EXPECT_EQ(vertex * 20, decoded.vertices.size());
        EXPECT_EQ(index, decoded.indices.size());
    }
}

TEST(FrameEncoder, AtlasPlacementIsScaleAndOffset) {
    Mesh mesh = MakeSheet(3, 3);
    mesh.texCoords.assign(9, Vec2{0, 0});
    mesh.texCoords[1] = {1, 0};
    mesh.texCoords[2] = {0.5f, 1};
    SubFrame sub;
    sub.mesh = &mesh;
    sub.key.indices = IndexCoding::List1;
    sub.textureTransform = SolveTransform(PlaceInAtlas(0.25f, 0.5f, 0.625f, 0.125f));
    FrameEncoder encoder;
    const DecodedFrame decoded = FrameReader(c_Float).Decode(encoder.TemporalFrame({sub}).bytes);
    const Vec2 wanted[3] = {{0.625f, 0.125f}, {0.875f, 0.125f}, {0.75f, 0.625f}};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(wanted[i].u, decoded.Field<float>(20 * i + 12), 1e-5);
        EXPECT_NEAR(wanted[i].v, decoded.Field<float>(20 * i + 16), 1e-5);
    }
}

TEST(FrameEncoder, ForgetsSubMeshesWhenReadersDo) {
    const Mesh mesh = MakeSheet(4, 4);
    const auto key = [&](UINT32 id) {
        SubFrame sub;
        sub.mesh = &mesh;
        sub.key.subMeshId = id;
        return sub;
    };
    FrameEncoder encoder;
    FrameReader reader(c_Float);
    const auto decodes = [&](const EncodedFrame& frame) { return reader.Decode(frame.bytes).hr == S_OK; };
    KeyFrameOptions alone;
    alone.subMeshId = 9;
    ASSERT_TRUE(decodes(encoder.TemporalFrame({key(1), key(2)})));
    ASSERT_TRUE(decodes(encoder.KeyFrame(mesh, alone)));
    ASSERT_TRUE(decodes(encoder.TemporalFrame({key(1)})));

    DeltaFrameOptions delta;
    delta.subMeshId = 9;
    EXPECT_TRUE(decodes(encoder.DeltaFrame(mesh, delta))) << "it was decoded by itself since the frame before";
    delta.subMeshId = 2;
    EXPECT_THROW(encoder.DeltaFrame(mesh, delta), std::invalid_argument);
    ASSERT_TRUE(decodes(encoder.TemporalFrame({key(1)})));
    ASSERT_TRUE(decodes(encoder.TemporalFrame({key(1)})));
    delta.subMeshId = 9;
    EXPECT_THROW(encoder.DeltaFrame(mesh, delta), std::invalid_argument);
    delta.subMeshId = 1;
    EXPECT_TRUE(decodes(encoder.DeltaFrame(mesh, delta)));
}

TEST(FrameEncoder, RefusalsLeaveTheClipAsItWas) {
    const Mesh mesh = TwoSheets();
    FrameEncoder encoder;
    FrameReader reader(c_Float);
    EXPECT_THROW(encoder.DeltaFrame(mesh), std::invalid_argument);
    EXPECT_THROW(encoder.VertexOrder(), std::invalid_argument);
    ASSERT_EQ(S_OK, reader.Decode(encoder.KeyFrame(mesh).bytes).hr);

    Mesh broken = mesh;
    broken.positions[3].x = std::numeric_limits<float>::infinity();
    EXPECT_THROW(encoder.KeyFrame(broken), std::invalid_argument);
    EXPECT_THROW(encoder.DeltaFrame(broken), std::invalid_argument);
    EXPECT_THROW(encoder.DeltaFrame(MakeSheet(3, 3)), std::invalid_argument);
    KeyFrameOptions strips;
    strips.indices = IndexCoding::Strips2;
    strips.frameId = 1;
    EXPECT_THROW(encoder.KeyFrame(mesh, strips), std::invalid_argument);
    KeyFrameOptions box;
    box.box = Box{{0, 0, 0}, {1, -1, 1}};
    EXPECT_THROW(encoder.KeyFrame(mesh, box), std::invalid_argument);
    Mesh bare = mesh;
    bare.normals.clear();
    DeltaFrameOptions normals;
    normals.normals = true;
    EXPECT_THROW(encoder.DeltaFrame(bare, normals), std::invalid_argument);
    SubFrame sub;
    sub.mesh = &mesh;
    EXPECT_THROW(encoder.TemporalFrame({sub, sub}), std::invalid_argument);

    const EncodedFrame frame = encoder.DeltaFrame(Moved(mesh, 1));
    const DecodedFrame decoded = reader.Decode(frame.bytes);
    EXPECT_DOUBLE_EQ(frame.maxError, ErrorOf(decoded, 20, Moved(mesh, 1), encoder.VertexOrder()));
}

TEST(FrameEncoder, EmptyAndFlatMeshesAreFrames) {
    FrameEncoder encoder;
    FrameReader reader(c_Float);
    const Mesh empty;
    Mesh point;
    point.positions.assign(3, Vec3{1, 2, 3});
    point.texCoords.assign(3, Vec2{0.5f, 0.5f});
    point.faces = {{{0, 1, 2}}};
    for (const IndexCoding coding : {IndexCoding::List1, IndexCoding::List2, IndexCoding::EdgeBreaker,
                                     IndexCoding::Strips1, IndexCoding::Strips2}) {
        KeyFrameOptions options;
        options.indices = coding;
        for (const Mesh& mesh : {empty, point}) {
            ASSERT_EQ(S_OK, reader.Decode(encoder.KeyFrame(mesh, options).bytes).hr);
            for (const DeltaCoding delta : {DeltaCoding::Quantised, DeltaCoding::Plain, DeltaCoding::Golomb,
                                            DeltaCoding::Huffman, DeltaCoding::Smallest}) {
                DeltaFrameOptions deltaOptions;
                deltaOptions.coding = delta;
                const EncodedFrame frame = encoder.DeltaFrame(mesh, deltaOptions);
                const DecodedFrame decoded = reader.Decode(frame.bytes);
                ASSERT_EQ(S_OK, decoded.hr);
                ASSERT_EQ(20 * mesh.positions.size(), decoded.vertices.size());
                ASSERT_EQ(0.0, frame.maxError);
            }
        }
    }
}
