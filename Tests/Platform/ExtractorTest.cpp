// The extractor: every byte of every sample in file order, seeking, and files that are not what they should be.
#include "Tests/Platform/Clip.h"
#include "Tests/Platform/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

namespace NimbTest {
namespace {

ClipOptions WithSound() {
    ClipOptions options;
    options.sampleRate = 44100;
    return options;
}

bool BeginsWith(const std::vector<uint8_t>& bytes, size_t at, const std::vector<uint8_t>& begin) {
    return bytes.size() - at >= begin.size() &&
           std::equal(begin.begin(), begin.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

// Whether the unit stands in the byte stream, whole, between start codes or a start code and the end.
bool HasUnit(const std::vector<uint8_t>& stream, const std::vector<uint8_t>& unit) {
    const auto found = std::search(stream.begin(), stream.end(), unit.begin(), unit.end());
    const auto at = static_cast<size_t>(found - stream.begin());
    if (found == stream.end() || at < 3 || !BeginsWith(stream, at - 3, {0, 0, 1})) {
        return false;
    }
    const size_t end = at + unit.size();
    return end == stream.size() || BeginsWith(stream, end, {0, 0, 1}) || BeginsWith(stream, end, {0, 0, 0, 1});
}

TEST(DesktopExtractor, TellsTheTracksFormats) {
    const Clip clip = MakeClip(WithSound());
    const Extractor extractor(clip.path);
    uint64_t count = 0;
    ASSERT_EQ(MLMediaExtractorGetTrackCount(extractor, &count), MLResult_Ok);
    EXPECT_EQ(count, 2u);

    const MLHandle video = extractor.Format(0);
    char text[512] = {};
    int32_t width = 0;
    int32_t height = 0;
    int64_t duration = 0;
    EXPECT_EQ(MLMediaFormatGetKeyString(video, MLMediaFormat_Key_Mime, text), MLResult_Ok);
    EXPECT_STREQ(text, "video/avc");
    EXPECT_EQ(MLMediaFormatGetKeyValueInt32(video, MLMediaFormat_Key_Width, &width), MLResult_Ok);
    EXPECT_EQ(MLMediaFormatGetKeyValueInt32(video, MLMediaFormat_Key_Height, &height), MLResult_Ok);
    EXPECT_EQ(MLMediaFormatGetKeyValueInt64(video, MLMediaFormat_Key_Duration, &duration), MLResult_Ok);
    EXPECT_EQ(width, 320);
    EXPECT_EQ(height, 240);
    EXPECT_EQ(duration, 2000000);
    EXPECT_EQ(MLMediaFormatObjectToString(video, text), MLResult_Ok);
    EXPECT_STREQ(text, "{mime: \"video/avc\", width: 320, height: 240, durationUs: 2000000}");

    const MLHandle audio = extractor.Format(1);
    EXPECT_EQ(MLMediaFormatGetKeyString(audio, MLMediaFormat_Key_Mime, text), MLResult_Ok);
    EXPECT_STREQ(text, "audio/mp4a-latm");
    EXPECT_NE(MLMediaFormatGetKeyValueInt32(audio, MLMediaFormat_Key_Width, &width), MLResult_Ok);
    EXPECT_NE(MLMediaFormatGetKeyValueInt32(video, MLMediaFormat_Key_Duration, &width), MLResult_Ok);
    EXPECT_EQ(width, 320);

    EXPECT_EQ(MLMediaFormatDestroy(video), MLResult_Ok);
    EXPECT_EQ(MLMediaFormatDestroy(video), MLResult_InvalidParam);
    EXPECT_EQ(MLMediaFormatGetKeyString(video, MLMediaFormat_Key_Mime, text), MLResult_InvalidParam);
    EXPECT_EQ(MLMediaFormatDestroy(audio), MLResult_Ok);
}

TEST(DesktopExtractor, GivesEverySampleWithEveryByteOfItsPrivateUnit) {
    for (const int bFrames : {0, 2}) {
        ClipOptions options = WithSound();
        options.bFrames = bFrames;
        const Clip clip = MakeClip(options);
        const std::vector<Sample> samples = Extractor(clip.path, {0, 1}).ReadAll();

        std::vector<int64_t> times;
        for (const Sample& sample : samples) {
            if (sample.track == 0) {
                times.push_back(sample.timeUs);
            }
        }
        ASSERT_EQ(times.size(), clip.privateUnits.size());
        EXPECT_EQ(std::is_sorted(times.begin(), times.end()), bFrames == 0);
        const int64_t start = times.front();  // the first picture decoded is the first one shown
        for (const Sample& sample : samples) {
            if (sample.track == 0) {
                const auto frame = static_cast<size_t>((sample.timeUs - start + 16667) * 30 / 1000000);
                ASSERT_LT(frame, clip.privateUnits.size());
                EXPECT_TRUE(HasUnit(sample.bytes, clip.privateUnits[frame])) << frame;
            }
        }
        // AAC: frames of 1024 samples, and one of lead-in.
        const auto soundCount = static_cast<size_t>(samples.size() - times.size());
        EXPECT_NEAR(static_cast<double>(soundCount), 2.0 * 44100 / 1024 + 1, 2.0);
    }
}

TEST(DesktopExtractor, ShowsSelectedTracksOnly) {
    const Clip clip = MakeClip(WithSound());
    const std::vector<Sample> both = Extractor(clip.path, {0, 1}).ReadAll();
    for (const int64_t track : {0, 1}) {
        std::vector<Sample> expected;
        std::copy_if(both.begin(), both.end(), std::back_inserter(expected),
                     [&](const Sample& sample) { return sample.track == track; });
        EXPECT_TRUE(Extractor(clip.path, {static_cast<size_t>(track)}).ReadAll() == expected) << track;
    }
    EXPECT_TRUE(Extractor(clip.path, {}).ReadAll().empty());
}

TEST(DesktopExtractor, SeeksByEveryMode) {
    const Clip clip = MakeClip(WithSound());  // key pictures at 0, 0.5, 1 and 1.5 seconds
    const Extractor extractor(clip.path, {0, 1});
    const std::vector<Sample> all = extractor.ReadAll();
    EXPECT_NE(MLMediaExtractorAdvance(extractor), MLResult_Ok);

    constexpr int64_t none = -1;
    const struct {
        int64_t timeUs;
        MLMediaSeekMode mode;
        int64_t expectedUs;
    } cases[] = {
        {700000, MLMediaSeekMode_Previous_Sync, 500000}, {500000, MLMediaSeekMode_Previous_Sync, 500000},
        {-5, MLMediaSeekMode_Previous_Sync, 0},          {700000, MLMediaSeekMode_Next_Sync, 1000000},
        {1600000, MLMediaSeekMode_Next_Sync, none},      {700000, MLMediaSeekMode_Closest_Sync, 500000},
        {800000, MLMediaSeekMode_Closest_Sync, 1000000}, {9000000, MLMediaSeekMode_Closest_Sync, 1500000},
        {710000, MLMediaSeekMode_Closest, 700000},       {0, MLMediaSeekMode_Closest_Sync, 0},
    };
    for (const auto& seek : cases) {
        const std::string label = std::to_string(seek.timeUs) + " mode " + std::to_string(seek.mode);
        const MLResult result = MLMediaExtractorSeekTo(extractor, seek.timeUs, seek.mode);
        EXPECT_EQ(result == MLResult_Ok, seek.expectedUs != none) << label;
        if (result != MLResult_Ok) {
            continue;
        }
        Sample sample = extractor.Current();
        while (sample.track == 1) {
            MLMediaExtractorAdvance(extractor);
            sample = extractor.Current();
        }
        EXPECT_NEAR(static_cast<double>(sample.timeUs), static_cast<double>(seek.expectedUs), 1.0) << label;
    }
    EXPECT_EQ(MLMediaExtractorSeekTo(extractor, 0, MLMediaSeekMode_Closest_Sync), MLResult_Ok);
    EXPECT_TRUE(extractor.ReadAll() == all) << "not the same samples after a seek to the start";
}

TEST(DesktopExtractor, WritesNothingOfASampleThatDoesNotFit) {
    const Clip clip = MakeClip(ClipOptions());
    const Extractor extractor(clip.path);
    const std::vector<uint8_t> bytes = extractor.Current().bytes;
    std::vector<uint8_t> buffer(bytes.size() + 7, 0xAB);
    int64_t size = 0;
    EXPECT_NE(MLMediaExtractorReadSampleData(extractor, buffer.data(), bytes.size() - 1, 0, &size), MLResult_Ok);
    EXPECT_LE(size, 0);
    EXPECT_NE(MLMediaExtractorReadSampleData(extractor, buffer.data(), bytes.size() + 6, 7, &size), MLResult_Ok);
    EXPECT_NE(MLMediaExtractorReadSampleData(extractor, buffer.data(), 6, SIZE_MAX, &size), MLResult_Ok);
    EXPECT_EQ(buffer, std::vector<uint8_t>(bytes.size() + 7, 0xAB));
    ASSERT_EQ(MLMediaExtractorReadSampleData(extractor, buffer.data(), buffer.size(), 7, &size), MLResult_Ok);
    EXPECT_EQ(size, static_cast<int64_t>(bytes.size()));
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), buffer.begin() + 7));
    EXPECT_EQ(buffer[6], 0xAB);
}

TEST(DesktopExtractor, RefusesWhatIsNoClipAndThenOpensOne) {
    const Clip clip = MakeClip(ClipOptions());
    const std::string empty = TemporaryPath("empty.mp4");
    const std::string text = TemporaryPath("text.mp4");
    WriteFile(empty, {});
    WriteFile(text, std::vector<uint8_t>(5000, 'x'));
    Extractor extractor;
    for (const std::string& path :
         {empty, text, TemporaryPath("missing.mp4"), TemporaryPath(""), std::string(), "http://localhost" + clip.path,
          "file://elsewhere" + clip.path, "file://" + clip.path + "%00"}) {
        EXPECT_EQ(extractor.Open(path), MLResult_UnspecifiedFailure) << path;
        uint64_t count = 7;
        EXPECT_EQ(MLMediaExtractorGetTrackCount(extractor, &count), MLResult_Ok);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(extractor.Current().track, -1);
        EXPECT_NE(MLMediaExtractorSeekTo(extractor, 0, MLMediaSeekMode_Closest_Sync), MLResult_Ok);
    }
    const std::vector<uint8_t> bytes = ReadFile(clip.path);
    const std::string spaced = TemporaryPath("a clip:50%.mp4");
    WriteFile(spaced, bytes);
    for (const std::string& uri : {spaced, "file://" + TemporaryPath("a%20clip%3a50%.mp4"), "file:" + clip.path,
                                   "file://localhost" + clip.path}) {
        EXPECT_EQ(extractor.Open(uri), MLResult_Ok) << uri;
        EXPECT_EQ(MLMediaExtractorSelectTrack(extractor, 0), MLResult_Ok);
        EXPECT_EQ(extractor.ReadAll().size(), 60u);
    }
}

// Cut anywhere, a file with its index in front gives the samples that are whole, and one with its index at the end
// cannot be opened.
TEST(DesktopExtractor, GivesTheWholeSamplesOfACutFile) {
    ClipOptions options = WithSound();
    options.frameCount = 20;
    for (const bool indexFirst : {true, false}) {
        options.indexFirst = indexFirst;
        const Clip clip = MakeClip(options);
        const std::vector<uint8_t> bytes = ReadFile(clip.path);
        const std::vector<Sample> whole = Extractor(clip.path, {0, 1}).ReadAll();
        const std::string path = TemporaryPath("cut.mp4");
        size_t openedCount = 0;
        for (size_t size = 0; size < bytes.size(); size += size < 4096 ? 61 : bytes.size() / 100) {
            WriteFile(path, {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)});
            Extractor extractor;
            if (extractor.Open(path) != MLResult_Ok) {
                continue;
            }
            ++openedCount;
            MLMediaExtractorSelectTrack(extractor, 0);
            MLMediaExtractorSelectTrack(extractor, 1);
            const std::vector<Sample> samples = extractor.ReadAll();
            ASSERT_LE(samples.size(), whole.size()) << size;
            EXPECT_TRUE(std::equal(samples.begin(), samples.end(), whole.begin())) << size;
        }
        EXPECT_TRUE(indexFirst ? openedCount > 50 : openedCount == 0) << openedCount;
    }
}

// Damage anywhere, also in the index: whatever the file says, reading it ends, and a decoder takes what comes out.
TEST(DesktopExtractor, SurvivesDamagedFiles) {
    ClipOptions options = WithSound();
    options.frameCount = 10;
    options.width = options.height = 64;
    options.indexFirst = true;
    const Clip clip = MakeClip(options);
    const std::vector<uint8_t> bytes = ReadFile(clip.path);
    const std::string path = TemporaryPath("damaged.mp4");
    std::mt19937 random(7);
    size_t sampleCount = 0;
    for (int round = 0; round < 300; ++round) {
        std::vector<uint8_t> damaged = bytes;
        const size_t reach = round % 2 == 0 ? std::min<size_t>(bytes.size(), 3000) : bytes.size();
        for (int i = 0; i < 1 + round % 8; ++i) {
            damaged[random() % reach] = static_cast<uint8_t>(random());
        }
        WriteFile(path, damaged);
        Extractor extractor;
        if (extractor.Open(path) != MLResult_Ok) {
            continue;
        }
        uint64_t count = 0;
        MLMediaExtractorGetTrackCount(extractor, &count);
        ASSERT_LE(count, 16u);
        for (size_t track = 0; track < count; ++track) {
            MLMediaFormatDestroy(extractor.Format(track));
            MLMediaExtractorSelectTrack(extractor, track);
        }
        uint8_t buffer[4096];
        int64_t size = 0;
        int64_t track = -1;
        for (size_t samples = 0; MLMediaExtractorGetSampleTrackIndex(extractor, &track) == MLResult_Ok && track >= 0;) {
            MLMediaExtractorReadSampleData(extractor, buffer, sizeof buffer, 0, &size);
            ASSERT_LE(size, static_cast<int64_t>(sizeof buffer));
            ASSERT_LT(++samples, 100000u) << "there is no end";
            ++sampleCount;
            MLMediaExtractorAdvance(extractor);
        }
        MLMediaExtractorSeekTo(extractor, 0, MLMediaSeekMode_Closest_Sync);
    }
    EXPECT_GT(sampleCount, 1000u);  // most damage leaves something to read
}

}  // namespace
}  // namespace NimbTest
