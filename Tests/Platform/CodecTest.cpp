// The codec: every frame under its number and with its picture, whatever is flushed, stopped, damaged or misused.
#include "Tests/Platform/Clip.h"
#include "Tests/Platform/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <future>
#include <map>
#include <mutex>
#include <ostream>
#include <random>
#include <thread>

namespace NimbTest {
namespace {

using namespace std::chrono_literals;

constexpr auto c_Soon = 20s;

// Counts a codec's frame-available callbacks.
struct FrameCounter {
    static void OnFrameAvailable(MLHandle, void* self) {
        auto* const counter = static_cast<FrameCounter*>(self);
        const std::lock_guard<std::mutex> lock(counter->mutex);
        ++counter->count;
        counter->changed.notify_all();
    }
    bool WaitFor(int expected) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, c_Soon, [&] { return count >= expected; }) && count == expected;
    }

    MLMediaCodecCallbacks callbacks = {nullptr, nullptr, nullptr, nullptr, nullptr, OnFrameAvailable};
    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
};

// Renders an output buffer, acquires its frame and reads what it shows.
Shown Show(const Codec& codec, int64_t index, int64_t timeUs, const PictureReader& reader, int width, int height) {
    Shown shown;
    shown.timeUs = timeUs;
    MLHandle frame = ML_INVALID_HANDLE;
    EXPECT_EQ(MLMediaCodecReleaseOutputBuffer(codec, index, true), MLResult_Ok);
    EXPECT_EQ(MLMediaCodecAcquireNextAvailableFrame(codec, &frame), MLResult_Ok);
    EXPECT_EQ(MLMediaCodecGetFrameNumber(codec, &shown.number), MLResult_Ok);
    const std::vector<uint8_t> pixels = reader.ReadFrame(frame, width, height);
    shown.painted = pixels.empty() ? -2 : ReadPaintedNumber(pixels, width, height);
    EXPECT_EQ(MLMediaCodecReleaseFrame(codec, frame), MLResult_Ok);
    EXPECT_EQ(MLMediaCodecReleaseFrame(codec, frame), MLResult_InvalidParam);
    return shown;
}

// What the samples show, each under its number in file order, in the order in which they are shown.
std::vector<Shown> ExpectedShow(const std::vector<Sample>& samples, uint64_t firstNumber) {
    std::vector<Shown> shown;
    for (const Sample& sample : samples) {
        shown.push_back({firstNumber++, sample.timeUs, 0});
    }
    std::sort(shown.begin(), shown.end(), [](const Shown& a, const Shown& b) { return a.timeUs < b.timeUs; });
    for (size_t i = 0; i < shown.size(); ++i) {
        shown[i].painted = static_cast<int>(i);
    }
    return shown;
}

struct SizeCase {
    int width;
    int height;
    int bFrames;
};

std::ostream& operator<<(std::ostream& out, const SizeCase& size) {
    return out << size.width << "x" << size.height << (size.bFrames > 0 ? "Reordered" : "");
}

class DesktopCodecSizes : public testing::TestWithParam<SizeCase> {};

TEST_P(DesktopCodecSizes, ShowEveryFrameUnderItsNumber) {
    ClipOptions options;
    options.width = GetParam().width;
    options.height = GetParam().height;
    options.bFrames = GetParam().bFrames;
    options.frameCount = options.width > 1000 ? 6 : 60;
    const Clip clip = MakeClip(options);
    const Extractor extractor(clip.path);
    FrameCounter counter;
    const Codec codec(extractor, 0, &counter.callbacks, &counter);
    const PictureReader reader;
    const std::vector<Sample> samples = extractor.ReadAll();
    // Twice: the end of the stream is not an access unit, and numbers go on after a flush.
    for (uint64_t pass = 0; pass < 2; ++pass) {
        std::vector<Shown> shown;
        codec.PlayThrough(samples, 987654321, [&](int64_t index, const MLMediaCodecBufferInfo& info) {
            EXPECT_GT(info.size, 0u);
            shown.push_back(Show(codec, index, info.presentation_time_us, reader, options.width, options.height));
        });
        EXPECT_TRUE(shown == ExpectedShow(samples, 1 + pass * samples.size())) << "pass " << pass;
        EXPECT_TRUE(counter.WaitFor(static_cast<int>((pass + 1) * samples.size())));
        EXPECT_EQ(MLMediaCodecFlush(codec), MLResult_Ok);
    }
}

INSTANTIATE_TEST_SUITE_P(Codec, DesktopCodecSizes,
                         testing::Values(SizeCase{64, 64, 0}, SizeCase{320, 240, 2}, SizeCase{638, 362, 0},
                                         SizeCase{1920, 1080, 0}, SizeCase{4096, 4096, 0}),
                         testing::PrintToStringParamName());

TEST(DesktopCodec, KeepsNumbersAcrossFlushStopAndDamage) {
    const Clip clip = MakeClip(ClipOptions());
    const Extractor extractor(clip.path);
    const Codec codec(extractor, 0);
    const PictureReader reader;
    std::vector<Sample> samples = extractor.ReadAll();
    uint64_t number = 1;
    uint64_t lastNumber = 7;
    EXPECT_EQ(MLMediaCodecGetFrameNumber(codec, &lastNumber), MLResult_Ok);
    EXPECT_EQ(lastNumber, 0u);

    // Five units that are flushed away before anyone looks, then five that a stop takes.
    for (const auto discard : {MLMediaCodecFlush, MLMediaCodecStop}) {
        for (size_t i = 0; i < 5; ++i) {
            ASSERT_TRUE(codec.Queue(samples[i].bytes, samples[i].timeUs));
        }
        EXPECT_EQ(discard(codec), MLResult_Ok);
        number += 5;
    }
    EXPECT_NE(MLMediaCodecFlush(codec), MLResult_Ok);
    EXPECT_EQ(MLMediaCodecStart(codec), MLResult_Ok);
    EXPECT_NE(MLMediaCodecStart(codec), MLResult_Ok);

    // Parameter sets alone are not an access unit.
    const std::vector<uint8_t> noUnit = {0, 0, 0, 1, 0x09, 0xF0};
    ASSERT_TRUE(codec.Queue(noUnit, 0, MLMediaCodecBufferFlag_CodecConfig));

    // Units damaged in all ways: gone, cut, overwritten. Those after the next key picture are as if nothing had been.
    std::mt19937 random(3);
    samples[3].bytes.resize(6);
    samples[20].bytes.assign(500, 0xFF);
    for (size_t i = 25; i < 30; ++i) {
        for (size_t j = 8; j < samples[i].bytes.size(); ++j) {
            samples[i].bytes[j] = static_cast<uint8_t>(random());
        }
    }
    const std::vector<Shown> expected = ExpectedShow(samples, number);
    std::map<uint64_t, Shown> shown;
    codec.PlayThrough(samples, 0, [&](int64_t index, const MLMediaCodecBufferInfo& info) {
        const Shown frame = Show(codec, index, info.presentation_time_us, reader, 320, 240);
        EXPECT_TRUE(shown.empty() || shown.rbegin()->first < frame.number);
        shown[frame.number] = frame;
    });
    for (const Shown& frame : expected) {
        const uint64_t i = frame.number - number;
        if (i < 3 || (i >= 15 && i < 20) || i >= 30) {
            EXPECT_TRUE(shown[frame.number] == frame) << i;
        }
    }
}

TEST(DesktopCodec, LimitsWhatItTakesAndTellsWhenThereIsNothing) {
    const Clip clip = MakeClip(ClipOptions());
    const Extractor extractor(clip.path);
    const Codec codec(extractor, 0);
    const std::vector<Sample> samples = extractor.ReadAll();
    MLMediaCodecBufferInfo info = {};
    int64_t index = 0;
    EXPECT_EQ(MLMediaCodecDequeueOutputBuffer(codec, &info, 10000, &index), MLResult_Ok);
    EXPECT_EQ(index, MLMediaCodec_TryAgainLater);

    size_t taken = 0;
    while (taken < samples.size() && codec.Queue(samples[taken].bytes, samples[taken].timeUs, 0, 500000)) {
        ++taken;
    }
    EXPECT_GE(taken, 8u);
    EXPECT_LE(taken, 16u) << "decoding runs ahead of its client";
    EXPECT_EQ(MLMediaCodecDequeueInputBuffer(codec, 0, &index), MLResult_Ok);
    EXPECT_EQ(index, MLMediaCodec_TryAgainLater);

    // What is taken out makes room, in order.
    for (size_t i = 0; i < taken; ++i) {
        index = codec.DequeueOutput(&info);
        EXPECT_EQ(info.presentation_time_us, samples[i].timeUs);
        EXPECT_EQ(MLMediaCodecReleaseOutputBuffer(codec, index, false), MLResult_Ok);
    }
    EXPECT_EQ(MLMediaCodecDequeueInputBuffer(codec, -1, &index), MLResult_Ok);
    EXPECT_EQ(MLMediaCodecQueueInputBuffer(codec, index, -1, 0, 0, 0), MLResult_InvalidParam);
    EXPECT_EQ(MLMediaCodecQueueInputBuffer(codec, index, 1, SIZE_MAX, 0, 0), MLResult_InvalidParam);
    EXPECT_EQ(MLMediaCodecQueueInputBuffer(codec, index + 1, 0, 0, 0, 0), MLResult_InvalidParam);
    EXPECT_EQ(MLMediaCodecQueueInputBuffer(codec, index, 0, 0, 0, 0), MLResult_Ok);
}

TEST(DesktopCodec, EndsWaitsAndVoidsIndicesOnFlushStopAndDestroy) {
    const Clip clip = MakeClip(ClipOptions());
    const Extractor extractor(clip.path);
    const std::vector<Sample> samples = extractor.ReadAll();
    for (const auto end : {MLMediaCodecFlush, MLMediaCodecStop, MLMediaCodecDestroy}) {
        const Codec codec(extractor, 0);
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(codec.Queue(samples[0].bytes, 0));
        }
        const int64_t output = codec.DequeueOutput();
        for (int i = 0; i < 2; ++i) {
            ASSERT_EQ(MLMediaCodecReleaseOutputBuffer(codec, codec.DequeueOutput(), true), MLResult_Ok);
        }
        std::vector<int64_t> inputs(8);
        for (int64_t& input : inputs) {
            ASSERT_EQ(MLMediaCodecDequeueInputBuffer(codec, -1, &input), MLResult_Ok);
        }
        int64_t waitingInput = 0;
        int64_t waitingOutput = 0;
        auto inputWait =
            std::async(std::launch::async, [&] { return MLMediaCodecDequeueInputBuffer(codec, -1, &waitingInput); });
        MLMediaCodecBufferInfo otherInfo = {};
        auto outputWait = std::async(
            std::launch::async, [&] { return MLMediaCodecDequeueOutputBuffer(codec, &otherInfo, -1, &waitingOutput); });
        EXPECT_EQ(inputWait.wait_for(50ms), std::future_status::timeout);
        EXPECT_EQ(outputWait.wait_for(0ms), std::future_status::timeout);

        EXPECT_EQ(end(codec), MLResult_Ok);
        ASSERT_EQ(inputWait.wait_for(c_Soon), std::future_status::ready);
        ASSERT_EQ(outputWait.wait_for(c_Soon), std::future_status::ready);
        EXPECT_NE(inputWait.get(), MLResult_Ok);
        EXPECT_NE(outputWait.get(), MLResult_Ok);
        EXPECT_EQ(waitingInput, -1);
        EXPECT_EQ(waitingOutput, -1);
        for (const int64_t input : inputs) {
            uint8_t* buffer = nullptr;
            size_t capacity = 0;
            EXPECT_EQ(MLMediaCodecGetInputBufferPointer(codec, input, &buffer, &capacity), MLResult_InvalidParam);
            EXPECT_EQ(MLMediaCodecQueueInputBuffer(codec, input, 0, 1, 0, 0), MLResult_InvalidParam);
        }
        EXPECT_EQ(MLMediaCodecReleaseOutputBuffer(codec, output, true), MLResult_InvalidParam);
        MLHandle frame = 1;
        for (int i = 0; end == MLMediaCodecFlush && i < 2; ++i) {  // what was rendered before stays on the surface
            EXPECT_EQ(MLMediaCodecAcquireNextAvailableFrame(codec, &frame), MLResult_Ok);
            EXPECT_EQ(MLMediaCodecReleaseFrame(codec, frame), MLResult_Ok);
        }
        EXPECT_NE(MLMediaCodecAcquireNextAvailableFrame(codec, &frame), MLResult_Ok);
        EXPECT_EQ(frame == ML_INVALID_HANDLE || end == MLMediaCodecDestroy, true);
    }
}

// Whatever the decoder is at when the flush comes: in a picture, waiting for room, or holding pictures back.
TEST(DesktopCodec, GivesNothingAfterAFlushOfWhatWasQueuedBefore) {
    ClipOptions options;
    options.width = 960;
    options.height = 540;
    options.bFrames = 3;
    const Clip clip = MakeClip(options);
    const Extractor extractor(clip.path);
    const Codec codec(extractor, 0);
    const std::vector<Sample> samples = extractor.ReadAll();
    std::mt19937 random(5);
    for (int64_t round = 1; round <= 150; ++round) {
        for (size_t i = 0; i < 8; ++i) {
            ASSERT_TRUE(codec.Queue(samples[i].bytes, samples[i].timeUs, 0, -1));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 15000));
        ASSERT_EQ(MLMediaCodecFlush(codec), MLResult_Ok);
        ASSERT_TRUE(codec.Queue({}, -round, MLMediaCodecBufferFlag_EOS, -1));
        MLMediaCodecBufferInfo info = {};
        const int64_t index = codec.DequeueOutput(&info);
        ASSERT_EQ(info.presentation_time_us, -round) << "a picture from before the flush";
        ASSERT_EQ(info.flags, size_t{MLMediaCodecBufferFlag_EOS});
        ASSERT_EQ(MLMediaCodecReleaseOutputBuffer(codec, index, false), MLResult_Ok);
    }
}

// A client that was handed output goes on reading it while another thread flushes and the decoder fills new buffers.
TEST(DesktopCodec, LeavesHandedOutOutputAsItIsAcrossAFlush) {
    const Clip clip = MakeClip(ClipOptions());
    const Extractor extractor(clip.path);
    const Codec codec(extractor, 0);
    const std::vector<Sample> samples = extractor.ReadAll();
    const uint8_t* pixels = nullptr;
    size_t size = 0;
    ASSERT_TRUE(codec.Queue(samples[0].bytes, 0));
    ASSERT_EQ(MLMediaCodecGetOutputBufferPointer(codec, codec.DequeueOutput(), &pixels, &size), MLResult_Ok);
    const std::vector<uint8_t> before(pixels, pixels + size);
    ASSERT_EQ(MLMediaCodecFlush(codec), MLResult_Ok);
    size_t taken = 15;
    while (taken < samples.size() && codec.Queue(samples[taken].bytes, 0, 0, 200000)) {
        ++taken;
    }
    ASSERT_GT(taken, 15u + 8u);
    EXPECT_TRUE(std::equal(before.begin(), before.end(), pixels));
}

// Every thread of the player at work while the codec is flushed, stopped and started again and again. Afterwards the
// next frame has the number that the count of all units ever queued says.
TEST(DesktopCodec, StaysInStepThroughThousandsOfFlushes) {
    ClipOptions options;
    options.width = options.height = 64;
    const Clip clip = MakeClip(options);
    const Extractor extractor(clip.path);
    FrameCounter counter;
    const Codec codec(extractor, 0, &counter.callbacks, &counter);
    const std::vector<Sample> samples = extractor.ReadAll();
    std::atomic<bool> isOver{false};
    std::atomic<uint64_t> queuedCount{0};
    std::atomic<uint64_t> renderedCount{0};

    std::thread input([&] {
        for (size_t next = 0; !isOver; next = (next + 1) % samples.size()) {
            queuedCount += codec.Queue(samples[next].bytes, samples[next].timeUs, 0, -1) ? 1 : 0;
            if (next == samples.size() - 1) {
                codec.Queue({}, 0, MLMediaCodecBufferFlag_EOS, -1);
            }
        }
    });
    std::thread output([&] {
        while (!isOver) {
            MLMediaCodecBufferInfo info = {};
            int64_t index = -1;
            if (MLMediaCodecDequeueOutputBuffer(codec, &info, -1, &index) == MLResult_Ok) {
                MLMediaCodecReleaseOutputBuffer(codec, index, info.size > 0);
                ++renderedCount;
            }
        }
    });
    std::thread render([&] {
        while (!isOver) {
            MLHandle frame = ML_INVALID_HANDLE;
            if (MLMediaCodecAcquireNextAvailableFrame(codec, &frame) == MLResult_Ok) {
                uint64_t number = 0;
                MLMediaCodecGetFrameNumber(codec, &number);
                EXPECT_GE(number, 1u);
                MLMediaCodecReleaseFrame(codec, frame);
            }
            std::this_thread::yield();
        }
    });
    std::mt19937 random(11);
    for (int i = 0; i < 3000; ++i) {
        if (i % 50 == 0) {
            EXPECT_EQ(MLMediaCodecStop(codec), MLResult_Ok);
            EXPECT_EQ(MLMediaCodecStart(codec), MLResult_Ok);
        } else {
            EXPECT_EQ(MLMediaCodecFlush(codec), MLResult_Ok);
        }
        for (auto spin = random() % 4000; spin > 0; --spin) {
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
        if (i % 10 == 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        }
    }
    isOver = true;
    EXPECT_EQ(MLMediaCodecStop(codec), MLResult_Ok);  // ends the waits that are left
    input.join();
    output.join();
    render.join();
    EXPECT_GT(queuedCount, 100u);
    EXPECT_GT(renderedCount, 10u);

    ASSERT_EQ(MLMediaCodecStart(codec), MLResult_Ok);
    const PictureReader reader;
    std::vector<Shown> shown;
    codec.PlayThrough(samples, 0, [&](int64_t index, const MLMediaCodecBufferInfo& info) {
        shown.push_back(Show(codec, index, info.presentation_time_us, reader, 64, 64));
    });
    EXPECT_TRUE(shown == ExpectedShow(samples, queuedCount + 1));
}

TEST(DesktopCodec, DestroysItselfFromItsOwnCallback) {
    const Clip clip = MakeClip(ClipOptions());
    const Extractor extractor(clip.path);
    std::promise<MLResult> destroyed;
    MLMediaCodecCallbacks callbacks = {};
    callbacks.on_frame_available = [](MLHandle handle, void* promise) {
        static_cast<std::promise<MLResult>*>(promise)->set_value(MLMediaCodecDestroy(handle));
    };
    const Codec codec(extractor, 0, &callbacks, &destroyed);
    ASSERT_TRUE(codec.Queue(extractor.Current().bytes, 0));
    ASSERT_EQ(MLMediaCodecReleaseOutputBuffer(codec, codec.DequeueOutput(), true), MLResult_Ok);
    auto result = destroyed.get_future();
    ASSERT_EQ(result.wait_for(c_Soon), std::future_status::ready);
    EXPECT_EQ(result.get(), MLResult_Ok);
    EXPECT_EQ(MLMediaCodecFlush(codec), MLResult_InvalidParam);
}

TEST(DesktopCodec, GivesSoundAsStereoAt48000WhateverTheTrackHas) {
    for (const auto& [sampleRate, channelCount] : {std::pair(48000, 2), {44100, 2}, {22050, 1}, {48000, 6}}) {
        ClipOptions options;
        options.sampleRate = sampleRate;
        options.channelCount = channelCount;
        const Clip clip = MakeClip(options);
        const Extractor extractor(clip.path, {1});
        const Codec codec(extractor, 1);
        std::vector<int16_t> sound;
        std::vector<int64_t> times;
        codec.PlayThrough(extractor.ReadAll(), 5, [&](int64_t index, const MLMediaCodecBufferInfo& info) {
            const uint8_t* data = nullptr;
            size_t size = 0;
            ASSERT_EQ(MLMediaCodecGetOutputBufferPointer(codec, index, &data, &size), MLResult_Ok);
            ASSERT_EQ(size, info.size);
            ASSERT_EQ(size % 4, 0u);
            sound.resize(sound.size() + size / 2);
            std::memcpy(sound.data() + sound.size() - size / 2, data, size);
            times.push_back(info.presentation_time_us);
            EXPECT_EQ(MLMediaCodecReleaseOutputBuffer(codec, index, false), MLResult_Ok);
        });
        const std::string label = std::to_string(sampleRate) + " " + std::to_string(channelCount);
        EXPECT_TRUE(std::is_sorted(times.begin(), times.end())) << label;
        const double frameOfTrack = 1024.0 * 48000 / sampleRate;
        EXPECT_NEAR(static_cast<double>(sound.size()) / 2, 2 * 48000.0, 2.5 * frameOfTrack) << label;
        // The tone, in both channels, by its zero crossings over the second second.
        for (size_t channel = 0; channel < 2; ++channel) {
            int crossings = 0;
            int peak = 0;
            for (size_t i = 40000; i < 88000; ++i) {
                crossings += (sound[2 * i + channel] < 0) != (sound[2 * i + 2 + channel] < 0) ? 1 : 0;
                peak = std::max<int>(peak, std::abs(sound[2 * i + channel]));
            }
            EXPECT_NEAR(crossings, 2 * c_ToneFrequency, 10) << label;
            EXPECT_GT(peak, 4000) << label;
        }
    }
}

TEST(DesktopCodec, RefusesWhatItCannotDecode) {
    const auto create = [](int creation, int type, const char* name) {
        MLHandle codec = 1;
        const MLResult result = MLMediaCodecCreateCodec(static_cast<MLMediaCodecCreation>(creation),
                                                        static_cast<MLMediaCodecType>(type), name, &codec);
        EXPECT_EQ(result == MLResult_Ok, codec != ML_INVALID_HANDLE);
        EXPECT_EQ(MLMediaCodecDestroy(codec), result == MLResult_Ok ? MLResult_Ok : MLResult_InvalidParam);
        return result == MLResult_Ok;
    };
    EXPECT_TRUE(create(1, 1, "video/avc"));
    EXPECT_TRUE(create(1, 1, "audio/x-pcm_s16le"));
    EXPECT_TRUE(create(0, 1, "h264"));
    EXPECT_FALSE(create(1, 0, "video/avc"));
    EXPECT_FALSE(create(1, 1, "video/x-pcm_s16le"));
    EXPECT_FALSE(create(1, 1, "text/3gpp-tt"));
    EXPECT_FALSE(create(1, 1, ""));
    EXPECT_FALSE(create(0, 1, "video/avc"));

    ClipOptions options;
    options.sampleRate = 48000;
    const Clip clip = MakeClip(options);
    const Extractor extractor(clip.path);
    const MLHandle sound = extractor.Format(1);
    const MLHandle video = extractor.Format(0);
    MLHandle codec = ML_INVALID_HANDLE;
    ASSERT_EQ(MLMediaCodecCreateCodec(MLMediaCodecCreation_ByType, MLMediaCodecType_Decoder, "video/avc", &codec),
              MLResult_Ok);
    int64_t index = 0;
    EXPECT_NE(MLMediaCodecStart(codec), MLResult_Ok);
    EXPECT_NE(MLMediaCodecDequeueInputBuffer(codec, -1, &index), MLResult_Ok);
    EXPECT_NE(MLMediaCodecConfigure(codec, sound, 0), MLResult_Ok);
    EXPECT_NE(MLMediaCodecConfigure(codec, video, 5), MLResult_Ok);
    EXPECT_EQ(MLMediaCodecConfigure(codec, extractor, 0), MLResult_InvalidParam);
    EXPECT_EQ(MLMediaCodecConfigure(codec, video, 0), MLResult_Ok);
    EXPECT_EQ(MLMediaCodecStart(codec), MLResult_Ok);
    EXPECT_NE(MLMediaCodecConfigure(codec, video, 0), MLResult_Ok);
    EXPECT_EQ(MLMediaCodecDestroy(codec), MLResult_Ok);
    MLMediaFormatDestroy(sound);
    MLMediaFormatDestroy(video);
}

}  // namespace
}  // namespace NimbTest
