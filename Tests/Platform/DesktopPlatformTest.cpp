// What holds for the platform as a whole: handles of nothing, handles used and destroyed at once, and the log.
#include "Tests/Platform/Clip.h"
#include "Tests/Platform/Platform.h"

#include <ml_audio.h>
#include <ml_logging.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <thread>

namespace NimbTest {
namespace {

struct Call {
    const char* name;
    std::function<MLResult(MLHandle)> call;
};

// Where the functions put what they give.
struct Results {
    int64_t number = 0;
    uint64_t count = 0;
    int32_t value = 0;
    size_t size = 0;
    MLHandle handle = 0;
    uint8_t bytes[512] = {};
    uint8_t* input = nullptr;
    const uint8_t* output = nullptr;
    char text[512] = {};
    MLMediaCodecBufferInfo info = {};
    MLAudioBuffer buffer = {};
};

std::vector<Call> CodecCalls(Results& r) {
    return {
        {"SetCallbacks", [](MLHandle h) { return MLMediaCodecSetCallbacks(h, nullptr, nullptr); }},
        {"SetSurfaceHint", [](MLHandle h) { return MLMediaCodecSetSurfaceHint(h, MLMediaCodecSurfaceHint_Hardware); }},
        {"Configure", [](MLHandle h) { return MLMediaCodecConfigure(h, 0, 0); }},
        {"Start", MLMediaCodecStart},
        {"Stop", MLMediaCodecStop},
        {"Flush", MLMediaCodecFlush},
        {"DequeueInput", [&r](MLHandle h) { return MLMediaCodecDequeueInputBuffer(h, -1, &r.number); }},
        {"InputPointer", [&r](MLHandle h) { return MLMediaCodecGetInputBufferPointer(h, 0, &r.input, &r.size); }},
        {"QueueInput", [](MLHandle h) { return MLMediaCodecQueueInputBuffer(h, 0, 0, 0, 0, 0); }},
        {"DequeueOutput", [&r](MLHandle h) { return MLMediaCodecDequeueOutputBuffer(h, &r.info, -1, &r.number); }},
        {"OutputPointer", [&r](MLHandle h) { return MLMediaCodecGetOutputBufferPointer(h, 0, &r.output, &r.size); }},
        {"ReleaseOutput", [](MLHandle h) { return MLMediaCodecReleaseOutputBuffer(h, 0, true); }},
        {"Acquire", [&r](MLHandle h) { return MLMediaCodecAcquireNextAvailableFrame(h, &r.handle); }},
        {"ReleaseFrame", [](MLHandle h) { return MLMediaCodecReleaseFrame(h, 0); }},
        {"FrameNumber", [&r](MLHandle h) { return MLMediaCodecGetFrameNumber(h, &r.count); }},
        {"DestroyCodec", MLMediaCodecDestroy},
    };
}

std::vector<Call> OtherCalls(Results& r) {
    return {
        {"SetDataSource", [](MLHandle h) { return MLMediaExtractorSetDataSourceForURI(h, "x"); }},
        {"TrackCount", [&r](MLHandle h) { return MLMediaExtractorGetTrackCount(h, &r.count); }},
        {"TrackFormat", [&r](MLHandle h) { return MLMediaExtractorGetTrackFormat(h, 0, &r.handle); }},
        {"SelectTrack", [](MLHandle h) { return MLMediaExtractorSelectTrack(h, 0); }},
        {"SeekTo", [](MLHandle h) { return MLMediaExtractorSeekTo(h, 0, MLMediaSeekMode_Closest_Sync); }},
        {"Advance", MLMediaExtractorAdvance},
        {"SampleTrack", [&r](MLHandle h) { return MLMediaExtractorGetSampleTrackIndex(h, &r.number); }},
        {"SampleTime", [&r](MLHandle h) { return MLMediaExtractorGetSampleTime(h, &r.number); }},
        {"ReadSample", [&r](MLHandle h) { return MLMediaExtractorReadSampleData(h, r.bytes, 512, 0, &r.number); }},
        {"DestroyExtractor", MLMediaExtractorDestroy},
        {"KeyString", [&r](MLHandle h) { return MLMediaFormatGetKeyString(h, MLMediaFormat_Key_Mime, r.text); }},
        {"KeyInt32", [&r](MLHandle h) { return MLMediaFormatGetKeyValueInt32(h, MLMediaFormat_Key_Width, &r.value); }},
        {"KeyInt64",
         [&r](MLHandle h) { return MLMediaFormatGetKeyValueInt64(h, MLMediaFormat_Key_Duration, &r.number); }},
        {"ObjectToString", [&r](MLHandle h) { return MLMediaFormatObjectToString(h, r.text); }},
        {"DestroyFormat", MLMediaFormatDestroy},
        {"StartSound", MLAudioStartSound},
        {"StopSound", MLAudioStopSound},
        {"Volume", [](MLHandle h) { return MLAudioSetSoundVolumeLinear(h, 1); }},
        {"Pitch", [](MLHandle h) { return MLAudioSetSoundPitch(h, 1); }},
        {"GetBuffer", [&r](MLHandle h) { return MLAudioGetOutputStreamBuffer(h, &r.buffer); }},
        {"ReleaseBuffer", MLAudioReleaseOutputStreamBuffer},
        {"DestroySound", MLAudioDestroySound},
    };
}

TEST(DesktopPlatform, EveryFunctionRefusesHandlesOfNothingAndOfSomethingElse) {
    Results results;
    MLHandle destroyed = ML_INVALID_HANDLE;
    ASSERT_EQ(MLMediaCodecCreateCodec(MLMediaCodecCreation_ByType, MLMediaCodecType_Decoder, "video/avc", &destroyed),
              MLResult_Ok);
    ASSERT_EQ(MLMediaCodecDestroy(destroyed), MLResult_Ok);
    const Extractor extractor;  // in the place where the codec was
    MLHandle codec = ML_INVALID_HANDLE;
    ASSERT_EQ(MLMediaCodecCreateCodec(MLMediaCodecCreation_ByType, MLMediaCodecType_Decoder, "video/avc", &codec),
              MLResult_Ok);
    for (const Call& call : CodecCalls(results)) {
        for (const MLHandle handle : {MLHandle{0}, ML_INVALID_HANDLE, destroyed, MLHandle{extractor}}) {
            EXPECT_EQ(call.call(handle), MLResult_InvalidParam) << call.name << " " << handle;
        }
    }
    for (const Call& call : OtherCalls(results)) {
        for (const MLHandle handle : {MLHandle{0}, ML_INVALID_HANDLE, destroyed, codec}) {
            EXPECT_EQ(call.call(handle), MLResult_InvalidParam) << call.name << " " << handle;
        }
    }
    EXPECT_EQ(MLMediaCodecDestroy(codec), MLResult_Ok);
}

// Objects are destroyed while other threads are inside calls on them, and calls go on with handles of what is gone.
TEST(DesktopPlatform, ObjectsMayBeDestroyedUnderRunningCalls) {
    ClipOptions options;
    options.width = options.height = 64;
    options.frameCount = 20;
    const Clip clip = MakeClip(options);
    for (int round = 0; round < 100; ++round) {
        auto extractor = std::make_unique<Extractor>(clip.path);
        auto codec = std::make_unique<Codec>(*extractor, 0);
        const MLHandle extractorHandle = *extractor;
        const MLHandle codecHandle = *codec;
        std::thread input([=] {
            std::vector<uint8_t> sample(1 << 16);
            int64_t size = 0;
            int64_t index = 0;
            uint8_t* buffer = nullptr;
            size_t capacity = 0;
            while (MLMediaExtractorReadSampleData(extractorHandle, sample.data(), sample.size(), 0, &size) ==
                       MLResult_Ok &&
                   MLMediaCodecDequeueInputBuffer(codecHandle, -1, &index) == MLResult_Ok) {
                MLMediaCodecGetInputBufferPointer(codecHandle, index, &buffer, &capacity);
                MLMediaCodecQueueInputBuffer(codecHandle, index, 0, size > 0 ? 100 : 0, 0, 0);
                MLMediaExtractorAdvance(extractorHandle);
            }
        });
        std::thread output([=] {
            MLMediaCodecBufferInfo info = {};
            int64_t index = 0;
            MLHandle frame = ML_INVALID_HANDLE;
            while (MLMediaCodecDequeueOutputBuffer(codecHandle, &info, -1, &index) == MLResult_Ok) {
                MLMediaCodecReleaseOutputBuffer(codecHandle, index, true);
                MLMediaCodecAcquireNextAvailableFrame(codecHandle, &frame);
            }
        });
        std::this_thread::sleep_for(std::chrono::microseconds(round * 50));
        if (round % 2 == 0) {
            extractor.reset();
        }
        codec.reset();
        extractor.reset();
        input.join();
        output.join();
        Results results;
        EXPECT_EQ(MLMediaCodecGetFrameNumber(codecHandle, &results.count), MLResult_InvalidParam);
    }
}

TEST(DesktopLogDeathTest, LetsThroughWhatTheEnvironmentSays) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto logAll = [] {
        for (int level = 0; level <= MLLogLevel_Verbose; ++level) {
            const auto logLevel = static_cast<MLLogLevel>(level);
            if (MLLoggingLogLevelIsEnabled(logLevel)) {
                MLLoggingLogVargs(logLevel, "Tag", "%d of\n%s\n", level, std::string(3, 'x').c_str());
            }
        }
        const std::string endless(10000, 'e');
        MLLoggingLogVargs(MLLogLevel_Info, "Tag", "%s", endless.c_str());
        _exit(0);
    };
    const std::string fatal = "[fatal] Tag: 0 of xxx\n";
    const std::string error = fatal + "[error] Tag: 1 of xxx\n";
    const std::string warning = error + "[warning] Tag: 2 of xxx\n";
    const std::string info = warning + "[info] Tag: 3 of xxx\n[info] Tag: " + std::string(4096 - 12 - 1, 'e') + "\n";
    const std::pair<const char*, std::string> levels[] = {
        {"none", ""}, {"error", error}, {"warning", warning}, {"info", info}, {"nonsense", warning}};
    for (const auto& [level, expected] : levels) {
        setenv("NIMB_LOG_LEVEL", level, 1);
        EXPECT_EXIT(logAll(), testing::ExitedWithCode(0), testing::Eq(expected)) << level;
    }
    unsetenv("NIMB_LOG_LEVEL");
    EXPECT_EXIT(logAll(), testing::ExitedWithCode(0), testing::Eq(warning));
    setenv("NIMB_LOG_LEVEL", "none", 1);  // the tests that follow in this process are noisy
}

}  // namespace
}  // namespace NimbTest
