// A segment's pictures, encoded in parts side by side.
#include "Clip/Write/VideoParts.h"

#include "Clip/Write/OrderedTasks.h"
#include "Clip/Write/PictureConverter.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace ToolTest {
namespace {

using Nimb::Authoring::Bytes;
using Nimb::Authoring::Stopped;
using Nimb::Authoring::VideoParts;
using Nimb::Authoring::VideoSample;

const std::atomic<bool> c_GoOn{false};

void AddPictures(VideoParts& parts, int count, int interval, int width = 32, int height = 32) {
    Nimb::Authoring::PictureConverter converter(width, height);
    const std::size_t stride = static_cast<std::size_t>(width) * 4;
    std::vector<BYTE> rgba(stride * static_cast<std::size_t>(height));
    for (int i = 0; i < count; ++i) {
        for (std::size_t k = 0; k < rgba.size(); ++k) {
            rgba[k] = static_cast<BYTE>((k * k / 64 + static_cast<std::size_t>(i)) % 251);
        }
        const Bytes mesh = {static_cast<BYTE>(i), 1};
        parts.Add(converter.Convert(rgba.data(), stride), mesh, i % interval == 0);
    }
}

Nimb::Authoring::VideoTrackOptions Options() {
    Nimb::Authoring::VideoTrackOptions options;
    options.width = options.height = 32;
    options.preset = "superfast";
    options.threads = 1;
    options.keyFrameInterval = 0;
    return options;
}

std::vector<VideoSample> Encode(int count, int interval, std::size_t threads, std::size_t memory) {
    VideoParts parts(Options(), threads, memory, c_GoOn);
    AddPictures(parts, count, interval);
    return parts.Finish();
}

TEST(VideoParts, SamplesAreTheSameHoweverManyAreEncodedAtATime) {
    for (const int interval : {30, 7, 1}) {
        const std::vector<VideoSample> alone = Encode(301, interval, 1, 1);
        const std::vector<VideoSample> together = Encode(301, interval, 3, 1 << 20);
        ASSERT_EQ(alone.size(), 301u);
        ASSERT_EQ(together.size(), 301u);
        for (std::size_t i = 0; i < alone.size(); ++i) {
            ASSERT_TRUE(alone[i].bytes == together[i].bytes) << i;
            const Bytes mesh = {0, 0, 0, 2, static_cast<BYTE>(i), 1};
            EXPECT_NE(std::search(alone[i].bytes.begin(), alone[i].bytes.end(), mesh.begin(), mesh.end()),
                      alone[i].bytes.end())
                << i;
            const bool isLast = i + 1 == alone.size();
            EXPECT_EQ(alone[i].isKeyPicture, i % static_cast<std::size_t>(interval) == 0 && !isLast) << i;
        }
    }
    EXPECT_TRUE(Encode(1, 30, 1, 1).at(0).isKeyPicture) << "a single one";
}

/// With sizes whose macroblocks are no multiple of what a processor takes at once.
TEST(VideoParts, SamplesDoNotDependOnWhatMemoryHeldBefore) {
    for (const int width : {144, 208, 272, 320}) {
        std::vector<std::vector<VideoSample>> clips;
        for (const int filling : {1, 255}) {  // of what is allocated, with its complement
            mallopt(M_PERTURB, filling);
            Nimb::Authoring::VideoTrackOptions options = Options();
            options.width = width;
            options.height = 272;
            options.preset = "veryfast";
            VideoParts parts(options, 1, 1, c_GoOn);
            AddPictures(parts, 8, 4, width, 272);
            clips.push_back(parts.Finish());
        }
        mallopt(M_PERTURB, 0);
        for (std::size_t i = 0; i < 8; ++i) {
            EXPECT_TRUE(clips[0].at(i).bytes == clips[1].at(i).bytes) << "picture " << i << ", width " << width;
        }
    }
}

TEST(VideoParts, AnEncoderThatFailsAndARequestToStopEndTheWait) {
    Nimb::Authoring::VideoTrackOptions bad = Options();
    bad.width = 33;
    VideoParts failing(bad, 2, 1, c_GoOn);
    AddPictures(failing, 200, 30);
    EXPECT_THROW(failing.Finish(), std::invalid_argument);
    const std::atomic<bool> stop{true};
    const auto never = [&stop] {
        VideoParts stopped(Options(), 1, 1, stop);
        AddPictures(stopped, 1000, 30);
        stopped.Finish();
    };
    EXPECT_THROW(never(), Stopped);
}

}  // namespace
}  // namespace ToolTest
