// Clips of frames that were each meshed anew.
#include "Clip/Write/ClipEncoder.h"

#include "Tests/Support/Ball.h"
#include "Tests/Support/DecodedClip.h"
#include "Tests/Support/MemorySource.h"
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <tuple>
#include <utility>

namespace ToolTest {
namespace {

using Nimb::Authoring::EncodeClip;
using Nimb::Authoring::EncodeOptions;
using Nimb::Authoring::EncodeReport;
using Nimb::Authoring::EncodeStep;
using Nimb::Authoring::Image;
using Nimb::Authoring::InputError;
using Nimb::Authoring::KeyFrameNote;
using Nimb::Authoring::Mesh;
using Nimb::Authoring::MeshSource;
using Nimb::Authoring::TrackNote;
using NimbTest::Ball;
using Cause = Nimb::Authoring::KeyFrameReason::Cause;

constexpr double c_Radius = 0.5;

/// Balls that drift slowly, frame by frame in other triangles and with other charts.
struct BallSource final : NimbTest::MemorySource {
    static glm::dvec3 MiddleOf(std::size_t frame, std::size_t material) {
        return {0.01 * static_cast<double>(frame), 2.0 * static_cast<double>(material), 0};
    }

    /// A frame with these balls. `kind` says how they are meshed.
    void Add(const std::vector<std::size_t>& materials, std::size_t kind) {
        const std::size_t frame = frames.size();
        frames.emplace_back();
        textures.emplace_back();
        for (std::size_t material = 0; material < 2; ++material) {
            Ball ball = NimbTest::MakeBall(12 + (kind + material) % 5, kind, c_Radius, MiddleOf(frame, material));
            textures.back().push_back(std::make_shared<const Image>(std::move(ball.picture)));
            if (std::find(materials.begin(), materials.end(), material) != materials.end()) {
                frames.back().meshes.push_back({material, std::move(ball.mesh)});
            }
        }
    }
};

BallSource OneBall(std::size_t frames) {
    BallSource source;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        source.Add({0}, frame);
    }
    return source;
}

EncodeOptions TrackingOptions() {
    EncodeOptions options;
    options.video.preset = "veryfast";
    options.video.quality = 8;
    options.threads = 2;
    options.track = {0.004, 0.02};
    return options;
}

EncodeReport Encode(const MeshSource& source, const std::string& clip, const EncodeOptions& options) {
    return EncodeClip(source, nullptr, clip, options, [](EncodeStep, std::size_t) {});
}

/// Frame and reason of each key frame.
std::vector<std::pair<std::size_t, Cause>> KeyFramesOf(const EncodeReport& report) {
    std::vector<std::pair<std::size_t, Cause>> keys;
    for (const KeyFrameNote& note : report.keyFrames) {
        keys.emplace_back(note.frame, note.reason.cause);
    }
    return keys;
}

/// Vertices are on the balls, and have there the colours that are painted on these.
void ExpectBalls(const std::string& path, const EncodeReport& report, const BallSource& source,
                 const TemporaryFolder& folder) {
    const DecodedClip clip = DecodeClip(path, report.clip.atlas.width, report.clip.atlas.height, folder / "");
    ASSERT_EQ(clip.meshes.size(), source.FrameCount());
    for (std::size_t frame = 0; frame < clip.meshes.size(); ++frame) {
        double distance = 0, difference = 0;
        const NimbTest::DecodedFrame& mesh = clip.meshes[frame];
        const Image& picture = clip.pictures[frame];
        for (std::size_t i = 0; i < mesh.vertices.size() / c_RecordBytes; ++i) {
            const Nimb::Authoring::Vec3 p = NimbTest::PositionOf(mesh, i, c_RecordBytes);
            const glm::dvec3 at(p.x, p.y, p.z);
            const glm::dvec3 out = at - BallSource::MiddleOf(frame, p.y > 1 ? 1 : 0);
            distance = std::max(distance, std::abs(glm::length(out) - c_Radius));
            const auto pixel = [&](std::size_t field, std::size_t size) {
                const auto t = static_cast<double>(mesh.Field<float>(i * c_RecordBytes + field));
                return std::min(static_cast<std::size_t>(t * static_cast<double>(size)), size - 1);
            };
            const glm::dvec3 wanted = NimbTest::BallColour(glm::normalize(out));
            const BYTE* const shown = picture.Pixel(pixel(12, picture.width), pixel(16, picture.height));
            for (int c = 0; c < 3; ++c) {
                difference = std::max(difference, std::abs(wanted[c] - shown[c]));
            }
        }
        EXPECT_LT(distance, report.track->empty() ? 0.001 : 0.006) << "frame " << frame;
        EXPECT_LT(difference, 14) << "frame " << frame;
    }
}

TEST(TrackedClip, FramesThatWereMeshedAnewShareTopologies) {
    const TemporaryFolder folder;
    BallSource source = OneBall(5);
    for (std::size_t frame = 5; frame < 8; ++frame) {
        source.Add({0, 1}, frame);
    }
    std::vector<EncodeStep> steps;
    const EncodeReport report = EncodeClip(source, nullptr, folder / "clip.mp4", TrackingOptions(),
                                           [&](EncodeStep step, std::size_t) { steps.push_back(step); });
    // Materials that come or go end a stretch: what they show is another surface.
    const std::vector<std::pair<std::size_t, Cause>> wanted{{0, Cause::First}, {5, Cause::NewTopology}};
    EXPECT_EQ(KeyFramesOf(report), wanted);
    EXPECT_EQ(report.clip.toTrack, 8u);
    ASSERT_TRUE(report.track.has_value());
    ASSERT_EQ(report.track->size(), 8u);
    for (std::size_t frame = 0; frame < 8; ++frame) {
        const TrackNote& note = (*report.track)[frame];
        EXPECT_EQ(note.frame, frame);
        EXPECT_EQ(note.beginsRun, frame == 0 || frame == 5);
        EXPECT_LE(note.distance.p95, 0.004);
        EXPECT_LT(note.lumaError, 2.0);
        EXPECT_EQ(note.unseenTexels, 0.0);
    }
    ExpectBalls(folder / "clip.mp4", report, source, folder);
    EXPECT_NE(std::find(steps.begin(), steps.end(), EncodeStep::Encode), steps.end());

    EncodeOptions alone = TrackingOptions();
    alone.threads = 1;
    Encode(source, folder / "alone.mp4", alone);
    EXPECT_EQ(ReadFile(folder / "alone.mp4"), ReadFile(folder / "clip.mp4"));
    alone.track.reset();
    EXPECT_EQ(Encode(source, folder / "untracked.mp4", alone).keyFrames.size(), 8u);
    EXPECT_LT(ReadFile(folder / "clip.mp4").size(), ReadFile(folder / "untracked.mp4").size() / 2);
}

TEST(TrackedClip, FramesThatShareATopologyAreLeftAsTheyAre) {
    const TemporaryFolder folder;
    BallSource source;
    for (const std::size_t kind :
         {0u, 0u, 0u, 0u, 1u, 2u, 2u, 2u}) {  // one of them is alone, but has nobody to go with
        source.Add({0, 1}, kind);
    }
    EncodeOptions options = TrackingOptions();
    const EncodeReport report = Encode(source, folder / "tracked.mp4", options);
    ASSERT_TRUE(report.track.has_value());
    EXPECT_TRUE(report.track->empty());
    ExpectBalls(folder / "tracked.mp4", report, source, folder);
    options.track.reset();
    Encode(source, folder / "untracked.mp4", options);
    EXPECT_EQ(ReadFile(folder / "tracked.mp4"), ReadFile(folder / "untracked.mp4"));
}

TEST(TrackedClip, FramesWithoutASurfaceAndTheIntervalEndAStretch) {
    const TemporaryFolder folder;
    BallSource source;
    for (std::size_t frame = 0; frame < 12; ++frame) {
        source.Add(frame == 3 ? std::vector<std::size_t>{} : std::vector<std::size_t>{0}, frame);
    }
    EncodeOptions options = TrackingOptions();
    options.keyFrameInterval = 5;
    const EncodeReport report = Encode(source, folder / "clip.mp4", options);
    const std::vector<std::pair<std::size_t, Cause>> wanted{
        {0, Cause::First}, {3, Cause::NewTopology}, {4, Cause::NewTopology}, {9, Cause::Interval}};
    EXPECT_EQ(KeyFramesOf(report), wanted);
    EXPECT_EQ(report.clip.toTrack, 11u);
    ExpectBalls(folder / "clip.mp4", report, source, folder);
}

TEST(TrackedClip, WhereTheTrackIsLostAFrameIsAKeyFrame) {
    const TemporaryFolder folder;
    BallSource source = OneBall(8);
    // One material all along, but a second ball appears in it.
    for (std::size_t frame = 4; frame < 8; ++frame) {
        Mesh& mesh = source.frames[frame].meshes.front().mesh;
        Mesh second = mesh;
        for (Nimb::Authoring::Vec3& p : second.positions) {
            p.y += 2;
        }
        Append(mesh, second);
    }
    const EncodeReport report = Encode(source, folder / "clip.mp4", TrackingOptions());
    const std::vector<std::pair<std::size_t, Cause>> wanted{{0, Cause::First}, {4, Cause::TrackLost}};
    EXPECT_EQ(KeyFramesOf(report), wanted);
    EXPECT_GT(report.keyFrames[1].reason.lost.largest, 0.5) << "the balls are that far apart";
    ExpectBalls(folder / "clip.mp4", report, source, folder);
}

TEST(TrackedClip, FaultsOfTheInputAreNamed) {
    const TemporaryFolder folder;
    BallSource source = OneBall(4);
    source.textures[2][0] = std::make_shared<const Image>(Image(32, 32));
    try {
        Encode(source, folder / "clip.mp4", TrackingOptions());
        FAIL() << "the texture's size changes";
    } catch (const InputError& error) {
        EXPECT_NE(std::string(error.what()).find("frame2: the texture of material material0 has 32 x 32 pixels"),
                  std::string::npos)
            << error.what();
    }
    EncodeOptions options = TrackingOptions();
    options.normals = true;
    EXPECT_THROW(Encode(source, folder / "clip.mp4", options), std::invalid_argument);
    EXPECT_TRUE(FilesIn(folder / "").empty());
}

}  // namespace
}  // namespace ToolTest
