// Real clips for the platform's tests: H.264 whose every picture shows its own number, a private NAL unit in every
// sample, and a tone for sound.
#pragma once

#include "Tests/Support/Files.h"

#include <cstdint>
#include <string>
#include <vector>

namespace NimbTest {

struct ClipOptions {
    int width = 320;
    int height = 240;
    int frameCount = 60;
    int framesPerSecond = 30;
    int keyInterval = 15;
    int bFrames = 0;
    int sampleRate = 0;  // 0: no sound
    int channelCount = 2;
    bool indexFirst = false;
};

struct Clip {
    std::string path;
    std::vector<std::vector<uint8_t>> privateUnits;  // by frame, in the order of display
};

constexpr double c_ToneFrequency = 1000.0;

/// Writes the clip into a folder that goes when the tests end. Throws std::runtime_error.
Clip MakeClip(const ClipOptions& options);

/// A path in that folder.
std::string TemporaryPath(const std::string& name);

using ClipTest::ReadFile;
using ClipTest::WriteFile;

/// The number painted into a picture of `MakeClip`, given as RGBA, the top row first; -1 when there is none, or the red
/// strip at the bottom is not there.
int ReadPaintedNumber(const std::vector<uint8_t>& rgba, int width, int height);

}  // namespace NimbTest
