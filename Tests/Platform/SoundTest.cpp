// Sounds: every sample once and in order, speed, volume and pace, on SDL's devices and without any.
#include "Platform/Desktop/SoundStream.h"
#include "Tests/Platform/Clip.h"

#include <ml_audio.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <future>
#include <limits>
#include <thread>

namespace NimbTest {
namespace {

using namespace std::chrono_literals;
using Nimb::Desktop::SoundStream;

constexpr MLAudioBufferFormat c_Format = {2, 48000, 16, 16, MLAudioSampleFormat_Int, 0};
constexpr uint32_t c_BufferSize = 4096;
constexpr size_t c_SamplesPerBuffer = c_BufferSize / sizeof(int16_t);

// Plays `input` through a stream, the program always as far ahead as it gets, in portions that fit nothing.
std::vector<int16_t> PlayAll(SoundStream& stream, const std::vector<int16_t>& input, size_t outputFrames) {
    std::vector<int16_t> output;
    size_t at = 0;
    for (size_t portion = 1; output.size() < 2 * outputFrames; portion = portion * 7 % 101 + 1) {
        MLAudioBuffer buffer = {};
        while (at < input.size() && stream.GetBuffer(&buffer) == MLResult_Ok) {
            std::memcpy(buffer.ptr, input.data() + at, buffer.size);
            at += c_SamplesPerBuffer;
            EXPECT_EQ(stream.ReleaseBuffer(), MLResult_Ok);
        }
        std::vector<int16_t> played(2 * portion, 123);
        stream.Play(reinterpret_cast<uint8_t*>(played.data()), portion);
        output.insert(output.end(), played.begin(), played.end());
    }
    output.resize(2 * outputFrames);
    return output;
}

// Left rises by 8 a frame, right is its negative.
std::vector<int16_t> Ramp(size_t bufferCount) {
    std::vector<int16_t> ramp(bufferCount * c_SamplesPerBuffer);
    for (size_t i = 0; i < ramp.size(); ++i) {
        const int value = static_cast<int>(i / 2) * 8 - 15000;
        ramp[i] = static_cast<int16_t>(i % 2 == 0 ? value : -value);
    }
    return ramp;
}

TEST(DesktopSoundStream, PlaysEverySampleAtPitchOneAndSilenceAfterwards) {
    std::vector<int16_t> expected = Ramp(3);
    SoundStream stream(c_Format, c_BufferSize);
    const size_t frames = expected.size() / 2;
    const std::vector<int16_t> first = PlayAll(stream, expected, frames + 500);
    expected.resize(expected.size() + 1000, 0);
    EXPECT_EQ(first, expected);
    expected = Ramp(3);
    EXPECT_EQ(PlayAll(stream, expected, frames), expected) << "after a time without data";
}

TEST(DesktopSoundStream, ChangesSpeedByInterpolation) {
    const std::vector<int16_t> ramp = Ramp(3);
    for (const float pitch : {0.5f, 0.75f, 1.5f, 2.0f, 7.25f}) {
        SoundStream stream(c_Format, c_BufferSize);
        stream.SetPitch(pitch);
        // All that lies before the last frame of the input, at which the stream stands still.
        const auto frames = static_cast<size_t>(static_cast<double>(ramp.size() / 2 - 1) / static_cast<double>(pitch));
        const std::vector<int16_t> played = PlayAll(stream, ramp, frames);
        for (size_t i = 0; i < frames; ++i) {
            const double expected = static_cast<double>(pitch) * 8 * static_cast<double>(i) - 15000;
            ASSERT_NEAR(played[2 * i], expected, 9.0) << pitch << " " << i;
            ASSERT_NEAR(played[2 * i + 1], -expected, 9.0) << pitch << " " << i;
        }
    }
}

TEST(DesktopSoundStream, ScalesByVolumeWithoutWrapping) {
    const std::vector<int16_t> ramp = Ramp(1);
    for (const float volume : {0.0f, 0.25f, 4.0f}) {
        SoundStream stream(c_Format, c_BufferSize);
        stream.SetVolume(volume);
        const std::vector<int16_t> played = PlayAll(stream, ramp, ramp.size() / 2);
        for (size_t i = 0; i < ramp.size(); ++i) {
            ASSERT_NEAR(played[i], std::fmin(std::fmax(static_cast<float>(ramp[i]) * volume, -32768.0f), 32767.0f), 1);
        }
    }
}

MLHandle CreateSound(MLAudioBufferCallback callback = nullptr, void* context = nullptr) {
    MLHandle sound = ML_INVALID_HANDLE;
    EXPECT_EQ(MLAudioCreateSoundWithOutputStream(&c_Format, c_BufferSize, callback, context, &sound), MLResult_Ok);
    return sound;
}

// As the player does: asks for a buffer until it gets one.
void Write(MLHandle sound, const int16_t* samples) {
    MLAudioBuffer buffer = {};
    while (MLAudioGetOutputStreamBuffer(sound, &buffer) != MLResult_Ok) {
        std::this_thread::sleep_for(1ms);
    }
    ASSERT_EQ(buffer.size, c_BufferSize);
    std::memcpy(buffer.ptr, samples, buffer.size);
    ASSERT_EQ(MLAudioReleaseOutputStreamBuffer(sound), MLResult_Ok);
}

// "dummy" is a device of SDL's; one that SDL does not know leaves the platform to its own clock.
class DesktopSound : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override { setenv("SDL_AUDIODRIVER", GetParam(), 1); }
};

TEST_P(DesktopSound, PacesItsProgramBySpeed) {
    for (const float pitch : {1.0f, 2.0f, 0.5f}) {
        const MLHandle sound = CreateSound();
        EXPECT_EQ(MLAudioSetSoundPitch(sound, pitch), MLResult_Ok);
        EXPECT_EQ(MLAudioStartSound(sound), MLResult_Ok);
        const std::vector<int16_t> silence(c_SamplesPerBuffer);
        const auto start = std::chrono::steady_clock::now();
        const int count = pitch < 1.0f ? 12 : 24;
        for (int i = 0; i < count; ++i) {
            Write(sound, silence.data());
        }
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        // Two buffers wait at the end, and devices take a period or two in advance. How late the device runs on a busy
        // machine is not known; if it stood still, the test would not end.
        const double bufferSeconds = 1024.0 / 48000 / static_cast<double>(pitch);
        EXPECT_GT(seconds, (count - 2) * bufferSeconds - 0.05) << pitch;
        EXPECT_EQ(MLAudioDestroySound(sound), MLResult_Ok);
    }
}

TEST_P(DesktopSound, RefusesAThirdBufferWhileItIsStopped) {
    const MLHandle sound = CreateSound();
    MLAudioBuffer buffer = {};
    MLAudioBuffer again = {};
    EXPECT_NE(MLAudioReleaseOutputStreamBuffer(sound), MLResult_Ok);
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(MLAudioGetOutputStreamBuffer(sound, &buffer), MLResult_Ok);
        ASSERT_EQ(MLAudioGetOutputStreamBuffer(sound, &again), MLResult_Ok);
        EXPECT_EQ(buffer.ptr, again.ptr);
        EXPECT_EQ(MLAudioReleaseOutputStreamBuffer(sound), MLResult_Ok);
    }
    std::this_thread::sleep_for(60ms);
    EXPECT_EQ(MLAudioGetOutputStreamBuffer(sound, &buffer), MLResult_Pending);
    EXPECT_EQ(MLAudioStartSound(sound), MLResult_Ok);
    const std::vector<int16_t> silence(c_SamplesPerBuffer);
    Write(sound, silence.data());
    EXPECT_EQ(MLAudioStopSound(sound), MLResult_Ok);
    EXPECT_EQ(MLAudioDestroySound(sound), MLResult_Ok);
    EXPECT_EQ(MLAudioDestroySound(sound), MLResult_InvalidParam);
    EXPECT_EQ(MLAudioGetOutputStreamBuffer(sound, &buffer), MLResult_InvalidParam);
    EXPECT_EQ(MLAudioStartSound(sound), MLResult_InvalidParam);
}

TEST_P(DesktopSound, MayBeDestroyedWithinItsCallback) {
    std::promise<MLResult> destroyed;
    const MLHandle sound = CreateSound(
        [](MLHandle handle, void* promise) {
            static_cast<std::promise<MLResult>*>(promise)->set_value(MLAudioDestroySound(handle));
        },
        &destroyed);
    const std::vector<int16_t> silence(c_SamplesPerBuffer);
    Write(sound, silence.data());
    EXPECT_EQ(MLAudioStartSound(sound), MLResult_Ok);
    auto result = destroyed.get_future();
    ASSERT_EQ(result.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(result.get(), MLResult_Ok);
}

INSTANTIATE_TEST_SUITE_P(Sound, DesktopSound, testing::Values("dummy", "none"),
                         [](const auto& instance) { return std::string(instance.param); });

// SDL's disk device writes down what a device would play.
TEST(DesktopSoundOutput, ReachesTheDeviceWithoutLossOrRepetition) {
    const std::string path = TemporaryPath("played.raw");
    setenv("SDL_AUDIODRIVER", "disk", 1);
    setenv("SDL_DISKAUDIOFILE", path.c_str(), 1);
    std::vector<int16_t> written(20 * c_SamplesPerBuffer);
    for (size_t i = 0; i < written.size(); ++i) {
        written[i] = static_cast<int16_t>(i * 7919 % 30000 + 1);  // no silence in it
    }
    const MLHandle sound = CreateSound();
    EXPECT_EQ(MLAudioStartSound(sound), MLResult_Ok);
    for (size_t at = 0; at < written.size(); at += c_SamplesPerBuffer) {
        Write(sound, written.data() + at);
    }
    // Two silent buffers wait at the end; those before them have gone to the device, which takes no more than a few at
    // a time, and the sound before these.
    const std::vector<int16_t> silence(c_SamplesPerBuffer);
    for (int i = 0; i < 8; ++i) {
        Write(sound, silence.data());
    }
    EXPECT_EQ(MLAudioDestroySound(sound), MLResult_Ok);

    const std::vector<uint8_t> bytes = ReadFile(path);
    std::vector<int16_t> played;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto sample = static_cast<int16_t>(bytes[i] | bytes[i + 1] << 8);
        if (sample != 0) {
            played.push_back(sample);
        }
    }
    EXPECT_TRUE(played == written) << played.size() << " of " << written.size();
}

TEST(DesktopSoundOutput, RefusesFormatsAndValuesItCannotPlay) {
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    MLHandle sound = ML_INVALID_HANDLE;
    const auto create = [&](const MLAudioBufferFormat& format, uint32_t size) {
        return MLAudioCreateSoundWithOutputStream(&format, size, nullptr, nullptr, &sound);
    };
    EXPECT_EQ(create({0, 48000, 16, 16, 0, 0}, 4096), MLResult_InvalidParam);
    EXPECT_EQ(create({2, 0, 16, 16, 0, 0}, 4096), MLResult_InvalidParam);
    EXPECT_EQ(create({2, 48000, 24, 24, 0, 0}, 4096), MLResult_InvalidParam);
    EXPECT_EQ(create({2, 48000, 16, 16, 0, 0}, 4095), MLResult_InvalidParam);
    EXPECT_EQ(create({2, 48000, 16, 16, 0, 0}, 0), MLResult_InvalidParam);
    EXPECT_EQ(sound, ML_INVALID_HANDLE);
    ASSERT_EQ(create({1, 44100, 32, 32, MLAudioSampleFormat_Float, 0}, 4096), MLResult_Ok);
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    for (const float pitch : {0.0f, -1.0f, nan, infinity}) {
        EXPECT_EQ(MLAudioSetSoundPitch(sound, pitch), MLResult_InvalidParam) << pitch;
    }
    for (const float volume : {-0.5f, nan, infinity}) {
        EXPECT_EQ(MLAudioSetSoundVolumeLinear(sound, volume), MLResult_InvalidParam) << volume;
    }
    EXPECT_EQ(MLAudioSetSoundPitch(sound, 0.25f), MLResult_Ok);
    EXPECT_EQ(MLAudioSetSoundVolumeLinear(sound, 0.0f), MLResult_Ok);
    EXPECT_EQ(MLAudioDestroySound(sound), MLResult_Ok);
}

}  // namespace
}  // namespace NimbTest
