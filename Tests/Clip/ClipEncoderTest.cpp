// Whole clips: what players get is what went in.
#include "Clip/Read/ClipInspection.h"
#include "Clip/Write/ClipEncoder.h"

#include "Authoring/Codec/XtraAttributes.h"
#include "Clip/Read/ClipVerifier.h"
#include "Tests/Support/DecodedClip.h"
#include "Tests/Support/MemorySource.h"
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <stdexcept>
#include <tuple>

namespace ToolTest {
namespace {

using Nimb::Authoring::EncodeClip;
using Nimb::Authoring::EncodeOptions;
using Nimb::Authoring::EncodeReport;
using Nimb::Authoring::EncodeStep;
using Nimb::Authoring::Image;
using Nimb::Authoring::Mesh;
using Nimb::Authoring::Vec2;
using Nimb::Authoring::Vec3;
using NimbTest::MemorySource;
using NimbTest::Shuffled;

using Colour = std::array<double, 3>;

/// Smooth, different in every corner, and nothing like the other materials' where it ends.
Colour ColourAt(std::size_t material, double u, double v) {
    return material == 0 ? Colour{30 + 120 * u, 40 + 100 * v, 200} : Colour{220, 160 - 100 * u, 30 + 100 * v};
}

std::shared_ptr<const Image> Paint(std::size_t material, std::size_t width, std::size_t height) {
    auto image = std::make_shared<Image>(width, height);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const Colour colour = ColourAt(material, (static_cast<double>(x) + 0.5) / static_cast<double>(width),
                                           (static_cast<double>(y) + 0.5) / static_cast<double>(height));
            BYTE* const pixel = image->Pixel(x, y);
            for (std::size_t c = 0; c < 3; ++c) {
                pixel[c] = static_cast<BYTE>(colour[c] + 0.5);
            }
            pixel[3] = 255;
        }
    }
    return image;
}

/// A waving sheet whose texture coordinates reach into every corner of the texture.
Mesh Sheet(UINT32 columns, UINT32 rows, float z, UINT32 frame) {
    Mesh mesh = NimbTest::Moved(NimbTest::MakeSheet(columns, rows), frame);
    mesh.normals.clear();
    for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
        mesh.positions[i].z += z;
        mesh.texCoords[i] = {static_cast<float>(i % columns) / static_cast<float>(columns - 1),
                             static_cast<float>(i / columns) / static_cast<float>(rows - 1)};
    }
    return mesh;
}

/// Two materials. Vertices are shuffled from frame 3 on, both sheets have another topology from frame 6 on, and the
/// second sheet is absent from frame 9 and back in frame 10.
MemorySource TwoSheets() {
    MemorySource source;
    for (UINT32 frame = 0; frame < 12; ++frame) {
        const UINT32 more = frame < 6 ? 0 : 2;
        Mesh first = Sheet(7 + more, 5, 0, frame), second = Sheet(5, 6 + more, 2, frame);
        if (frame >= 3) {
            first = Shuffled(first, frame);
            second = Shuffled(second, frame + 50);
        }
        source.frames.push_back({{{0, first}}});
        if (frame != 9) {
            source.frames.back().meshes.push_back({1, second});
        }
    }
    source.textures = {{Paint(0, 90, 61), Paint(1, 50, 110)}};
    return source;
}

EncodeOptions FastOptions() {
    EncodeOptions options;
    options.video.preset = "veryfast";
    options.video.quality = 8;
    options.threads = 2;
    return options;
}

void NoProgress(EncodeStep, std::size_t) {}

/// A vertex of the source.
struct Nearest {
    double distance = std::numeric_limits<double>::infinity();
    std::size_t material = 0;
    Vec2 texCoord{};
};

Nearest NearestTo(const Vec3& position, const Nimb::Authoring::SourceFrame& frame) {
    Nearest nearest;
    for (const Nimb::Authoring::MaterialMesh& materialMesh : frame.meshes) {
        for (std::size_t i = 0; i < materialMesh.mesh.positions.size(); ++i) {
            const double distance = NimbTest::Distance(position, materialMesh.mesh.positions[i]);
            if (distance < nearest.distance) {
                nearest = {distance, materialMesh.material, materialMesh.mesh.texCoords[i]};
            }
        }
    }
    return nearest;
}

/// Bilinear, as a graphics processor samples.
Colour Sample(const Image& image, double u, double v) {
    const auto axis = [](double t, std::size_t size) {
        const double at = std::clamp(t * static_cast<double>(size) - 0.5, 0.0, static_cast<double>(size - 1));
        const auto low = std::min(static_cast<std::size_t>(at), size - 2);
        return std::pair(low, at - static_cast<double>(low));
    };
    const auto [x, fx] = axis(u, image.width);
    const auto [y, fy] = axis(v, image.height);
    Colour colour{};
    for (std::size_t c = 0; c < 3; ++c) {
        const double top = image.Pixel(x, y)[c] * (1 - fx) + image.Pixel(x + 1, y)[c] * fx;
        const double bottom = image.Pixel(x, y + 1)[c] * (1 - fx) + image.Pixel(x + 1, y + 1)[c] * fx;
        colour[c] = top * (1 - fy) + bottom * fy;
    }
    return colour;
}

/// Faces by the texture coordinates and materials of their corners, which no encoder may change.
using FaceKey = std::vector<std::array<int, 3>>;

FaceKey KeyOf(std::array<std::array<int, 3>, 3> corners) {
    std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()), corners.end());
    return {corners.begin(), corners.end()};
}

std::array<int, 3> CornerKey(std::size_t material, const Vec2& t) {
    return {static_cast<int>(material), static_cast<int>(std::lround(t.u * 1000)),
            static_cast<int>(std::lround(t.v * 1000))};
}

std::vector<FaceKey> FacesOf(const Nimb::Authoring::SourceFrame& frame) {
    std::vector<FaceKey> faces;
    for (const Nimb::Authoring::MaterialMesh& materialMesh : frame.meshes) {
        for (const TarnMeshFace& face : materialMesh.mesh.faces) {
            std::array<std::array<int, 3>, 3> corners;
            for (std::size_t k = 0; k < 3; ++k) {
                corners[k] = CornerKey(materialMesh.material, materialMesh.mesh.texCoords[face.v[k]]);
            }
            faces.push_back(KeyOf(corners));
        }
    }
    std::sort(faces.begin(), faces.end());
    return faces;
}

/// Positions are within the limit, the picture has the source's colour where a vertex's texture coordinates point, and
/// faces join the same vertices in the same sense.
void ExpectFrame(const NimbTest::DecodedFrame& mesh, const Image& picture, const Nimb::Authoring::SourceFrame& source,
                 double limit) {
    ASSERT_EQ(mesh.hr, S_OK);
    std::vector<std::array<int, 3>> keys;
    double colourError = 0;
    for (std::size_t i = 0; i < mesh.vertices.size() / c_RecordBytes; ++i) {
        const Nearest vertex = NearestTo(NimbTest::PositionOf(mesh, i, c_RecordBytes), source);
        ASSERT_LE(vertex.distance, limit);
        keys.push_back(CornerKey(vertex.material, vertex.texCoord));
        const Colour shown =
            Sample(picture, mesh.Field<float>(i * c_RecordBytes + 12), mesh.Field<float>(i * c_RecordBytes + 16));
        const Colour wanted = ColourAt(vertex.material, vertex.texCoord.u, vertex.texCoord.v);
        for (std::size_t c = 0; c < 3; ++c) {
            colourError = std::max(colourError, std::abs(shown[c] - wanted[c]));
        }
    }
    EXPECT_LT(colourError, 8);
    std::vector<FaceKey> faces;
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        faces.push_back(KeyOf({keys.at(mesh.indices[i]), keys.at(mesh.indices[i + 1]), keys.at(mesh.indices[i + 2])}));
    }
    std::sort(faces.begin(), faces.end());
    EXPECT_TRUE(faces == FacesOf(source));
}

void ExpectClip(const std::string& path, const EncodeReport& report, const MemorySource& source,
                const TemporaryFolder& folder) {
    const DecodedClip clip = DecodeClip(path, report.clip.atlas.width, report.clip.atlas.height, folder / "");
    ASSERT_EQ(clip.meshes.size(), source.frames.size());
    ASSERT_EQ(clip.pictures.size(), source.frames.size());
    for (std::size_t i = 0; i < clip.meshes.size(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        ExpectFrame(clip.meshes[i], clip.pictures[i], source.frames[i], report.maxError + 1e-9);
    }
    EXPECT_LE(report.maxError, report.clip.errorLimit);
}

TEST(ClipEncoder, TwoMaterialsComeBackWithTheirColours) {
    const TemporaryFolder folder;
    const MemorySource source = TwoSheets();
    const EncodeReport report = EncodeClip(source, nullptr, folder / "clip.mp4", FastOptions(), NoProgress);
    ExpectClip(folder / "clip.mp4", report, source, folder);
    EXPECT_EQ(report.clip.subMeshes, 2u);
    // Frame 9 has one sheet left, which goes on; in frame 10 the other one begins anew.
    Nimb::Authoring::ClipReader reader(folder / "clip.mp4");
    EXPECT_EQ(Nimb::Authoring::InspectClip(reader, [](const Nimb::Authoring::FrameFacts&) {}).keyFrames, 2u)
        << "frames 0 and 6 alone: shuffling is no change of topology";

    const std::vector<unsigned char> file = ReadFile(folder / "clip.mp4");
    Nimb::Authoring::Box box{source.frames[0].meshes[0].mesh.positions[0],
                             source.frames[0].meshes[0].mesh.positions[0]};
    UINT32 faces = 0;
    for (const Nimb::Authoring::SourceFrame& frame : source.frames) {
        UINT32 count = 0;
        for (const Nimb::Authoring::MaterialMesh& materialMesh : frame.meshes) {
            box = Union(box, Nimb::Authoring::BoundingBox(materialMesh.mesh.positions));
            count += static_cast<UINT32>(materialMesh.mesh.faces.size());
        }
        faces = std::max(faces, count);
    }
    const auto atom = Nimb::Authoring::WriteAttributeAtom(
        {12, 9 * 5 + 5 * 8, faces * 3, {box.min.x, box.min.y, box.min.z}, {box.max.x, box.max.y, box.max.z}, 0u});
    ASSERT_GT(file.size(), atom.size());
    EXPECT_TRUE(std::equal(atom.rbegin(), atom.rend(), file.rbegin()));
}

TEST(ClipEncoder, OneTextureIsTheWholePictureOfAPlainClip) {
    const TemporaryFolder folder;
    MemorySource source = TwoSheets();
    // Two materials with one picture: one sub-mesh. The picture changes with each frame; the last frame is empty.
    // All stands far from the origin, where an empty frame says that it is.
    source.textures.clear();
    for (std::size_t frame = 0; frame < source.frames.size(); ++frame) {
        const auto picture = Paint(0, 91, 64);
        source.textures.push_back({picture, picture});
        for (Nimb::Authoring::MaterialMesh& materialMesh : source.frames[frame].meshes) {
            materialMesh.material = 0;
            for (Nimb::Authoring::Vec3& position : materialMesh.mesh.positions) {
                position.x += 10;
            }
        }
        if (source.frames[frame].meshes.size() == 2) {
            source.frames[frame].meshes[1].material = 1;
        }
    }
    source.frames.back().meshes.clear();
    EncodeOptions options = FastOptions();
    options.maxError = 0.002;
    options.delta = Nimb::Authoring::DeltaCoding::Golomb;
    options.indices = Nimb::Authoring::IndexCoding::List2;
    const EncodeReport report = EncodeClip(source, nullptr, folder / "clip.mp4", options, NoProgress);
    EXPECT_EQ(report.clip.subMeshes, 1u);
    EXPECT_TRUE((report.clip.atlas == Nimb::Authoring::PictureSize{92, 64}));
    const DecodedClip clip = DecodeClip(folder / "clip.mp4", 92, 64, folder / "");
    ASSERT_EQ(clip.meshes.size(), 12u);
    EXPECT_EQ(clip.meshes.back().hr, S_OK);
    EXPECT_EQ(clip.meshes.back().vertices.size(), 0u);
    EXPECT_LE(report.maxError, 0.002);
    EXPECT_GT(report.maxError, 0.0) << "a limit is there to be used";
    Nimb::Authoring::VerifyClip(
        folder / "clip.mp4",
        [](const Nimb::Authoring::ClipProblem& problem) { ADD_FAILURE() << problem.kind << ": " << problem.text; },
        [](std::size_t) {});
    for (std::size_t i = 0; i < 11; ++i) {
        for (Nimb::Authoring::MaterialMesh& materialMesh : source.frames[i].meshes) {
            materialMesh.material = 0;
        }
        ExpectFrame(clip.meshes[i], clip.pictures[i], source.frames[i], report.maxError + 1e-9);
    }
}

TEST(ClipEncoder, KeyFramesHaveAReasonAndFallOnKeyPictures) {
    using Cause = Nimb::Authoring::KeyFrameReason::Cause;
    const TemporaryFolder folder;
    MemorySource source = TwoSheets();
    EncodeOptions options = FastOptions();
    options.keyFrameInterval = 4;
    options.keyPictureInterval = 2;
    const auto encode = [&] {
        std::vector<std::size_t> keyMeshes, keyPictures;
        const EncodeReport report = EncodeClip(source, nullptr, folder / "clip.mp4", options, NoProgress);
        Nimb::Authoring::ClipReader reader(folder / "clip.mp4");
        InspectClip(reader, [&](const Nimb::Authoring::FrameFacts& frame) {
            if (frame.layout.IsKeyFrame()) {
                keyMeshes.push_back(frame.number);
            }
            if (frame.isKeyPicture) {
                keyPictures.push_back(frame.number);
            }
        });
        std::vector<std::size_t> noted;
        for (const Nimb::Authoring::KeyFrameNote& note : report.keyFrames) {
            noted.push_back(note.frame);
        }
        EXPECT_EQ(noted, keyMeshes);
        return std::make_tuple(report.keyFrames, keyMeshes, keyPictures);
    };
    using Frames = std::vector<std::size_t>;
    auto [notes, keyMeshes, keyPictures] = encode();
    EXPECT_EQ(keyMeshes, (Frames{0, 4, 6, 10}));
    EXPECT_EQ(keyPictures, keyMeshes) << "the picture is always the same";
    ASSERT_EQ(notes.size(), 4u);
    EXPECT_EQ(notes[0].reason.cause, Cause::First);
    EXPECT_EQ(notes[1].reason.cause, Cause::Interval);
    EXPECT_EQ(notes[2].reason.cause, Cause::NewTopology);
    EXPECT_EQ(notes[3].reason.cause, Cause::Interval);
    EXPECT_EQ(notes[2].reason.difference.faces, 2u * 4 * 8) << "of the sheet that differs least";
    EXPECT_GT(notes[2].reason.difference.differing, 0u);

    while (source.textures.size() < source.frames.size()) {
        auto changed = std::make_shared<Image>(*Paint(0, 90, 61));
        changed->rgba[0] = static_cast<BYTE>(source.textures.size());
        source.textures.push_back({changed, Paint(1, 50, 110)});
    }
    std::tie(notes, keyMeshes, keyPictures) = encode();
    EXPECT_EQ(keyMeshes, (Frames{0, 4, 6, 10}));
    EXPECT_EQ(keyPictures, (Frames{0, 2, 4, 6, 8, 10}));

    options.deltaFrames = false;
    options.keyPictureInterval = 5;
    std::tie(notes, keyMeshes, keyPictures) = encode();
    EXPECT_EQ(keyMeshes.size(), source.frames.size());
    EXPECT_EQ(keyPictures, (Frames{0, 5, 10})) << "key frames in a row need no key picture each";
}

TEST(ClipEncoder, ThreadsDoNotChangeTheMeshes) {
    const TemporaryFolder folder;
    const MemorySource source = TwoSheets();
    EncodeOptions options = FastOptions();
    options.keyFrameInterval = 2;
    std::vector<std::vector<NimbTest::DecodedFrame>> runs;
    for (const std::size_t threads : {1u, 5u}) {
        options.threads = threads;
        const EncodeReport report = EncodeClip(source, nullptr, folder / "clip.mp4", options, NoProgress);
        runs.push_back(
            DecodeClip(folder / "clip.mp4", report.clip.atlas.width, report.clip.atlas.height, folder / "").meshes);
    }
    EXPECT_TRUE(runs[0] == runs[1]);
}

TEST(ClipEncoder, BadSourcesAreNamed) {
    const TemporaryFolder folder;
    const auto expectError = [&](const MemorySource& source, const std::string& text) {
        try {
            EncodeClip(source, nullptr, folder / "clip.mp4", FastOptions(), NoProgress);
            FAIL() << text;
        } catch (const Nimb::Authoring::InputError& error) {
            EXPECT_NE(std::string(error.what()).find(text), std::string::npos) << error.what();
        }
        EXPECT_TRUE(FilesIn(folder / "").empty());
    };
    const MemorySource good = TwoSheets();
    MemorySource bad = good;
    bad.frames[7].meshes[1].mesh.positions[3].y = std::numeric_limits<float>::quiet_NaN();
    expectError(bad, "frame7, material material1: ");
    bad = good;
    bad.frames[11].meshes[0].mesh.texCoords[5].v = 1.5f;
    expectError(bad, "frame11, material material0: vertex 5 has the texture coordinates");
    bad = good;
    bad.frames[2].meshes[0].mesh.texCoords.clear();
    expectError(bad, "frame2, material material0: there are no texture coordinates");
    bad = good;
    bad.frames[1].meshes[0].mesh.faces[0].v[2] = 1000;
    expectError(bad, "frame1, material material0: a face");
    bad = good;
    bad.textures.push_back({good.textures[0][0], Paint(1, 50, 112)});
    expectError(bad, "frame1: the texture of material material1 has 50 x 112 pixels, in the first frame 50 x 110");
    bad = good;
    bad.textures[0][1] = bad.textures[0][0];
    bad.textures.push_back(good.textures[0]);
    expectError(bad, "frame1: the texture of material material1 differs");
    bad.frames.clear();
    expectError(bad, "no frames");
}

TEST(ClipEncoder, ACancelledRunLeavesNothing) {
    const TemporaryFolder folder;
    const MemorySource source = TwoSheets();
    struct Cancelled {};
    for (const EncodeStep when : {EncodeStep::Examine, EncodeStep::Encode}) {
        EXPECT_THROW(EncodeClip(source, nullptr, folder / "clip.mp4", FastOptions(),
                                [&](EncodeStep step, std::size_t done) {
                                    if (step == when && done > 0) {
                                        throw Cancelled();
                                    }
                                }),
                     Cancelled);
        EXPECT_TRUE(FilesIn(folder / "").empty());
    }
}

}  // namespace
}  // namespace ToolTest
