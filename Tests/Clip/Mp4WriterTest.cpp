// The MP4 writer: what it writes is found again, byte for byte, and ordinary players have nothing against it.
#include "Clip/Write/Mp4Writer.h"
#include "Tests/Support/CounterFrame.h"
#include "Tests/Support/DecodedClip.h"
#include "Tests/Support/TestClip.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <stdexcept>

namespace ClipTest {
namespace {

using Nimb::Authoring::AudioTrackOptions;
using Nimb::Authoring::Bytes;
using Nimb::Authoring::ClipError;
using Nimb::Authoring::Mp4Writer;
using Nimb::Authoring::VideoTrackOptions;

void AddPicture(Mp4Writer& writer, int number, const VideoTrackOptions& options, const Bytes& mesh) {
    const auto pixels = PaintNumber(number, options.width, options.height);
    writer.AddFrame(pixels.data(), static_cast<std::size_t>(options.width) * 4, mesh);
}

/// Bytes that are full of what start codes and escapes are made of.
std::vector<Bytes> AwkwardMeshes(std::size_t count) {
    std::mt19937 random(3);
    std::vector<Bytes> meshes(count);
    for (Bytes& mesh : meshes) {
        mesh.resize(1 + random() % 3000);
        std::generate(mesh.begin(), mesh.end(), [&random] {
            const auto value = random() % 7;
            return static_cast<BYTE>(value < 3 ? 0 : value < 6 ? value - 2 : random());
        });
    }
    return meshes;
}

TEST(Mp4Writer, EveryMeshComesBackAndOrdinaryPlayersPlayTheFile) {
    const TemporaryFolder folder;
    const std::string path = folder / "clip.mp4";
    const VideoTrackOptions options = ClipTracks::SmallVideo(96, 64);
    const std::vector<Bytes> meshes = AwkwardMeshes(60);
    {
        Mp4Writer writer(path, options, AudioTrackOptions{});
        const std::vector<std::int16_t> sound(48000 * 2, 1000);
        writer.AddAudio(sound.data(), 48000);
        for (std::size_t i = 0; i < meshes.size(); ++i) {
            AddPicture(writer, static_cast<int>(i), options, meshes[i]);
        }
        EXPECT_FALSE(std::filesystem::exists(path)) << "before it is complete";
        writer.Finish(Nimb::Authoring::FileAttributes{60, 1, 2, {}, {}, {}});
    }
    EXPECT_EQ(RunCommand("ffmpeg -v error -i " + path + " -map 0:0 -c copy -bsf:v h264_mp4toannexb -f h264 " +
                         (folder / "stream.h264"))
                  .status,
              0);
    EXPECT_TRUE(ToolTest::MeshesOf(ReadFile(folder / "stream.h264")) == meshes);

    const CommandResult decoded = RunCommand("ffmpeg -v warning -i " + path + " -f null -");
    EXPECT_EQ(decoded.status, 0);
    EXPECT_EQ(decoded.output, "");
    const CommandResult probed = RunCommand(
        "ffprobe -v error -count_frames -show_entries "
        "stream=index,codec_name,has_b_frames,nb_read_frames,pix_fmt,sample_rate,channels -of csv=p=0 " +
        path);
    EXPECT_NE(probed.output.find("0,h264,0,yuv420p,60"), std::string::npos) << probed.output;
    EXPECT_NE(probed.output.find("1,aac,48000,2"), std::string::npos) << probed.output;
}

TEST(Mp4Writer, RefusalsSayWhatAndWhere) {
    const TemporaryFolder folder;
    for (const auto& [width, height] : {std::pair{63, 64}, {64, 65}, {0, 64}, {14, 64}, {4098, 64}}) {
        EXPECT_THROW(Mp4Writer(folder / "clip.mp4", ClipTracks::SmallVideo(width, height)), std::invalid_argument)
            << width;
    }
    try {
        Mp4Writer writer(folder / "nowhere/clip.mp4", ClipTracks::SmallVideo(64, 64));
        FAIL() << "no error";
    } catch (const ClipError& error) {
        EXPECT_NE(std::string(error.what()).find("nowhere/clip.mp4: cannot be written: No such file"),
                  std::string::npos)
            << error.what();
    }
    Mp4Writer writer(folder / "clip.mp4", ClipTracks::SmallVideo(64, 64));
    const float silence[2] = {};
    EXPECT_THROW(writer.AddAudio(silence, 1), std::invalid_argument);
}

TEST(Mp4Writer, AnInterruptedRunLeavesNothing) {
    const TemporaryFolder folder;
    WriteFile(folder / "clip.mp4", {'o', 'l', 'd'});
    {
        const VideoTrackOptions options = ClipTracks::SmallVideo(64, 64);
        Mp4Writer writer(folder / "clip.mp4", options);
        AddPicture(writer, 0, options, {1});
    }
    EXPECT_EQ(ReadFile(folder / "clip.mp4"), (std::vector<unsigned char>{'o', 'l', 'd'}));
    const auto files = std::filesystem::directory_iterator(std::filesystem::path(folder / "x").parent_path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

/// /dev/full cannot be renamed over, so it stands in for the disk through a link under the temporary name.
TEST(Mp4Writer, AFullDiskIsAnError) {
    const TemporaryFolder folder;
    const std::string path = folder / "clip.mp4";
    std::filesystem::create_symlink("/dev/full", path + ".part" + std::to_string(getpid()));
    const VideoTrackOptions options = ClipTracks::SmallVideo(256, 256);
    EXPECT_THROW(
        {
            Mp4Writer writer(path, options);
            for (int i = 0; i < 20; ++i) {
                AddPicture(writer, i, options, Bytes(20000, 7));
            }
            writer.Finish(std::nullopt);
        },
        ClipError);
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace ClipTest
