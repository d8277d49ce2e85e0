// `nimb encode --track`, and jobs of it.
#include "Authoring/Source/ImageFile.h"
#include "Tests/Support/Ball.h"
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>

namespace ToolTest {
namespace {

constexpr std::size_t c_Frames = 9;

/// A ball that drifts, every frame in other triangles and with other charts, as files.
class TrackCommand : public testing::Test {
protected:
    static void SetUpTestSuite() {
        s_Folder = std::make_unique<TemporaryFolder>();
        for (std::size_t frame = 0; frame < c_Frames; ++frame) {
            const NimbTest::Ball ball =
                NimbTest::MakeBall(12 + frame % 5, frame, 0.5, glm::dvec3(0.01 * static_cast<double>(frame), 1, 0));
            WriteText(Path("ball_" + std::to_string(frame) + ".obj"), ObjText(ball.mesh));
            WritePng(Path("look_" + std::to_string(frame) + ".png"), ball.picture);
        }
    }
    static void TearDownTestSuite() { s_Folder.reset(); }

    static std::string Path(const std::string& name) { return *s_Folder / name; }
    static std::string Input() {
        return "'" + Path("ball_%d.obj") + "' --texture '" + Path("look_%d.png") +
               "' --preset ultrafast --track --track-error 4mm,0.02 --key-interval 5";
    }

    static std::string ObjText(const Nimb::Authoring::Mesh& mesh) {
        std::string text;
        for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
            const Nimb::Authoring::Vec3& p = mesh.positions[i];
            const Nimb::Authoring::Vec2& t = mesh.texCoords[i];
            text += "v " + std::to_string(p.x) + " " + std::to_string(p.y) + " " + std::to_string(p.z) + "\nvt " +
                    std::to_string(t.u) + " " + std::to_string(1 - t.v) + "\n";
        }
        for (const TarnMeshFace& face : mesh.faces) {
            text += "f";
            for (const UINT32 v : face.v) {
                text += " " + std::to_string(v + 1) + "/" + std::to_string(v + 1);
            }
            text += "\n";
        }
        return text;
    }

    static inline std::unique_ptr<TemporaryFolder> s_Folder;
};

TEST_F(TrackCommand, TheSummarySaysWhatBecameOfTheFrames) {
    const ToolResult json = RunNimb("encode " + Input() + " -j2 --json -o " + Path("clip.mp4"));
    ASSERT_EQ(json.status, 0) << json.err;
    const nlohmann::json summary = nlohmann::json::parse(json.out);
    const nlohmann::json& tracked = summary.at("tracked");
    EXPECT_EQ(tracked.at("frames"), c_Frames);
    EXPECT_EQ(tracked.at("inRuns"), c_Frames);
    EXPECT_EQ(tracked.at("runs"), 2);
    EXPECT_EQ(tracked.at("list").at(1).at("first"), 5);
    EXPECT_EQ(tracked.at("list").at(1).at("frames"), 4);
    EXPECT_LE(tracked.at("p95").get<double>(), 0.004);
    EXPECT_GT(tracked.at("psnr").get<double>(), 40);
    EXPECT_EQ(summary.at("keyFrames").at(1).at("reason"), "interval");

    const ToolResult text = RunNimb("encode " + Input() + " -j1 -o " + Path("text.mp4"));
    ASSERT_EQ(text.status, 0) << text.err;
    EXPECT_NE(text.out.find("tracked      9 of 9 frames in 2 runs, mean 4.5; surfaces "), std::string::npos)
        << text.out;
    EXPECT_EQ(ReadFile(Path("text.mp4")), ReadFile(Path("clip.mp4")));
    EXPECT_EQ(RunNimb("verify " + Path("clip.mp4")).status, 0);
    const ToolResult dry = RunNimb("encode " + Input() + " --dry-run");
    EXPECT_NE(dry.out.find("to track     9 frames"), std::string::npos) << dry.out << dry.err;
}

TEST_F(TrackCommand, WorkersTrackTheirOwnSegments) {
    ASSERT_EQ(RunNimb("encode " + Input() + " -q -j2 -o " + Path("one.mp4") + " --segment-frames 5").status, 0);
    const ToolResult plan = RunNimb("plan " + Input() + " --segment-frames 5 -o " + Path("job"));
    ASSERT_EQ(plan.status, 0) << plan.err;
    EXPECT_NE(plan.out.find("to track: 9 frames"), std::string::npos) << plan.out;
    for (const char* segment : {"1", "0"}) {
        const ToolResult worker = RunNimb("encode --job " + Path("job") + " -q -j1 --segment " + segment);
        ASSERT_EQ(worker.status, 0) << worker.err;
    }
    const ToolResult join = RunNimb("join " + Path("job") + " --json -o " + Path("many.mp4"));
    ASSERT_EQ(join.status, 0) << join.err;
    EXPECT_EQ(nlohmann::json::parse(join.out).at("tracked").at("inRuns"), c_Frames);
    EXPECT_EQ(ReadFile(Path("many.mp4")), ReadFile(Path("one.mp4")));
}

TEST_F(TrackCommand, AFrameWithoutAnAreaIsOneThatNothingFollows) {
    const std::string corners = "vt 0 0\nvt 1 0\nvt 0 1\n", faces = "f 1/1 2/2 3/3\nf 3/1 2/2 4/3\n";
    WriteText(Path("flat_0.obj"), "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\n" + corners + faces);
    WriteText(Path("flat_1.obj"), "v 0 0 0\nv 0 0 0\nv 0 0 0\nv 1 1 0\n" + corners + faces + "f 1/1 3/1 2/1\n");
    WriteText(Path("flat_2.obj"), "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\n" + corners + "f 2/2 4/3 3/1\n" + faces);
    const std::string input = "'" + Path("flat_%d.obj") + "' --texture '" + Path("look_0.png") + "' --track ";
    const ToolResult encoded = RunNimb("encode " + input + "-o " + Path("flat.mp4"));
    ASSERT_EQ(encoded.status, 0) << encoded.err;
    EXPECT_NE(encoded.out.find("nothing to follow"), std::string::npos) << encoded.out;
    EXPECT_NE(encoded.out.find("tracked      0 of "), std::string::npos) << encoded.out;
    ASSERT_EQ(RunNimb("plan " + input + "-o " + Path("flat")).status, 0);
    ASSERT_EQ(RunNimb("encode -q --segment 0 --job " + Path("flat")).status, 0);
    const ToolResult join = RunNimb("join " + Path("flat") + " -o " + Path("joined.mp4"));
    EXPECT_EQ(join.status, 0) << join.err;
    EXPECT_EQ(ReadFile(Path("joined.mp4")), ReadFile(Path("flat.mp4")));
}

TEST_F(TrackCommand, TheSimulatorsDancerBecomesSmaller) {
    const std::string capture = Path("dancer");
    ASSERT_EQ(
        RunNimb("demo --capture " + capture + " --frames 6 --tempo 0.25 --vertices 3000 --texture-size 256 --no-truth")
            .status,
        0);
    const std::string common = "encode " + capture + " --preset ultrafast --json -o ";
    const ToolResult untracked = RunNimb(common + Path("untracked.mp4"));
    const ToolResult tracked = RunNimb(common + Path("dancer.mp4") + " --track --track-error 8mm,20mm");
    ASSERT_EQ(tracked.status, 0) << tracked.err;
    const nlohmann::json summary = nlohmann::json::parse(tracked.out);
    EXPECT_GE(summary.at("tracked").at("inRuns"), 4);
    EXPECT_LE(summary.at("tracked").at("p95").get<double>(), 0.008);
    EXPECT_EQ(nlohmann::json::parse(untracked.out).at("keyFrames").size(), 6u);
    EXPECT_LE(summary.at("keyFrames").size(), 3u);
    EXPECT_LT(ReadFile(Path("dancer.mp4")).size(), ReadFile(Path("untracked.mp4")).size());
    EXPECT_EQ(RunNimb("verify " + Path("dancer.mp4")).status, 0);
}

TEST_F(TrackCommand, SenselessOptionsAreRefused) {
    const std::pair<std::string, std::string> refused[] = {
        {"--track --normals", "--normals"},
        {"--track --delta none", "--delta none"},
        {"--track --key-interval 1", "--key-interval 1"},
        {"--track-error 1mm", "--track"},
        {"--track --track-error 1inch", "--track-error 1inch: not lengths"},
        {"--track --track-error 5mm,1mm", "must not be below"},
        {"--track --track-error -1mm", "--track-error"},
    };
    for (const auto& [options, text] : refused) {
        const ToolResult run = RunNimb("encode '" + Path("ball_%d.obj") + "' " + options + " -o " + Path("no.mp4"));
        EXPECT_EQ(run.status, 2) << options;
        EXPECT_NE(run.err.find(text), std::string::npos) << options << ": " << run.err;
    }
}

}  // namespace
}  // namespace ToolTest
