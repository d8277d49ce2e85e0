// `nimb demo --capture`: frames as a studio delivers them, which `nimb encode` takes as they are.
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace ToolTest;

namespace {

const std::string c_Few = " --frames 3 --vertices 400 --texture-size 64";

}  // namespace

TEST(CaptureCommandTest, ACaptureIsEncodedAsItIsAndEveryFrameIsAKeyFrame) {
    const TemporaryFolder folder;
    const std::string takes = folder / "takes";
    const ToolResult made = RunNimb("demo --capture " + takes + c_Few);
    ASSERT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(FilesIn(takes),
              (std::vector<std::string>{"frame_0000.mtl", "frame_0000.obj", "frame_0000.png", "frame_0001.mtl",
                                        "frame_0001.obj", "frame_0001.png", "frame_0002.mtl", "frame_0002.obj",
                                        "frame_0002.png", "truth"}));
    EXPECT_EQ(FilesIn(takes + "/truth"),
              (std::vector<std::string>{"frame_0000.ply", "frame_0001.ply", "frame_0002.ply"}));

    const ToolResult encoded = RunNimb("encode " + takes + " --json -o " + (folder / "takes.mp4"));
    ASSERT_EQ(encoded.status, 0) << encoded.err;
    const auto report = nlohmann::json::parse(encoded.out);
    EXPECT_EQ(report.at("keyFrames").size(), 3U) << report;
    EXPECT_EQ(RunNimb("verify " + (folder / "takes.mp4")).status, 0);

    // The capture of a capture, and files that are in the way.
    EXPECT_EQ(RunNimb("demo --capture " + takes + c_Few).status, 2);
    EXPECT_EQ(RunNimb("demo -y --capture " + takes + " --of " + takes + c_Few).status, 2);
    const ToolResult again = RunNimb("demo --capture " + (folder / "again") + " --no-truth --format ply --of " + takes +
                                     "/frame_0001.obj" + c_Few);
    ASSERT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(FilesIn(folder / "again"), (std::vector<std::string>{"frame_0000.ply", "frame_0000.png"}));
}

TEST(CaptureCommandTest, WrongOptions) {
    EXPECT_EQ(RunNimb("demo --frames 3").status, 2);  // of what?
    EXPECT_EQ(RunNimb("demo --capture /tmp/nimb-no-capture -o a.mp4").status, 2);
    EXPECT_EQ(RunNimb("demo --capture /tmp/nimb-no-capture --vertices 3").status, 2);
    EXPECT_EQ(RunNimb("demo --capture /tmp/nimb-no-capture --of /nowhere.glb").status, 3);
}
