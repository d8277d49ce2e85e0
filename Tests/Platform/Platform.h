// Short ways through the platform's functions: objects that destroy themselves, samples, and codecs that play a clip.
#pragma once

#include <ml_media_codec.h>
#include <ml_media_extractor.h>
#include <ml_media_format.h>

#include "Tests/Platform/PictureReader.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace NimbTest {

struct Sample {
    int64_t track = -1;
    int64_t timeUs = -1;
    std::vector<uint8_t> bytes;
    bool operator==(const Sample& other) const {
        return track == other.track && timeUs == other.timeUs && bytes == other.bytes;
    }
};

class Extractor {
public:
    Extractor() { EXPECT_EQ(MLMediaExtractorCreate(&m_Handle), MLResult_Ok); }
    explicit Extractor(const std::string& path, const std::vector<size_t>& tracks = {0}) : Extractor() {
        EXPECT_EQ(Open(path), MLResult_Ok) << path;
        for (const size_t track : tracks) {
            EXPECT_EQ(MLMediaExtractorSelectTrack(m_Handle, track), MLResult_Ok) << track;
        }
    }
    ~Extractor() { MLMediaExtractorDestroy(m_Handle); }
    Extractor(const Extractor&) = delete;
    Extractor& operator=(const Extractor&) = delete;

    operator MLHandle() const { return m_Handle; }

    MLResult Open(const std::string& path) { return MLMediaExtractorSetDataSourceForURI(m_Handle, path.c_str()); }

    MLHandle Format(size_t track) const {
        MLHandle format = ML_INVALID_HANDLE;
        EXPECT_EQ(MLMediaExtractorGetTrackFormat(m_Handle, track, &format), MLResult_Ok);
        return format;
    }

    Sample Current() const {
        Sample sample;
        sample.bytes.resize(1 << 20);
        int64_t size = 0;
        EXPECT_EQ(MLMediaExtractorGetSampleTrackIndex(m_Handle, &sample.track), MLResult_Ok);
        EXPECT_EQ(MLMediaExtractorGetSampleTime(m_Handle, &sample.timeUs), MLResult_Ok);
        EXPECT_EQ(MLMediaExtractorReadSampleData(m_Handle, sample.bytes.data(), sample.bytes.size(), 0, &size),
                  MLResult_Ok);
        EXPECT_EQ(size < 0, sample.track < 0);
        sample.bytes.resize(size < 0 ? 0 : static_cast<size_t>(size));
        return sample;
    }

    /// From the current one to the last.
    std::vector<Sample> ReadAll() const {
        std::vector<Sample> samples;
        for (Sample sample = Current(); sample.track >= 0; sample = Current()) {
            samples.push_back(std::move(sample));
            MLMediaExtractorAdvance(m_Handle);
        }
        return samples;
    }

private:
    MLHandle m_Handle = ML_INVALID_HANDLE;
};

/// A codec of one of an extractor's tracks, configured and started.
class Codec {
public:
    Codec(const Extractor& extractor, size_t track, MLMediaCodecCallbacks* callbacks = nullptr, void* user = nullptr) {
        const MLHandle format = extractor.Format(track);
        char mime[64] = {};
        EXPECT_EQ(MLMediaFormatGetKeyString(format, MLMediaFormat_Key_Mime, mime), MLResult_Ok);
        EXPECT_EQ(MLMediaCodecCreateCodec(MLMediaCodecCreation_ByType, MLMediaCodecType_Decoder, mime, &m_Handle),
                  MLResult_Ok);
        EXPECT_EQ(MLMediaCodecSetCallbacks(m_Handle, callbacks, user), MLResult_Ok);
        EXPECT_EQ(MLMediaCodecSetSurfaceHint(m_Handle, MLMediaCodecSurfaceHint_Hardware), MLResult_Ok);
        EXPECT_EQ(MLMediaCodecConfigure(m_Handle, format, 0), MLResult_Ok);
        EXPECT_EQ(MLMediaCodecStart(m_Handle), MLResult_Ok);
        EXPECT_EQ(MLMediaFormatDestroy(format), MLResult_Ok);
    }
    ~Codec() { MLMediaCodecDestroy(m_Handle); }
    Codec(const Codec&) = delete;
    Codec& operator=(const Codec&) = delete;

    operator MLHandle() const { return m_Handle; }

    /// Queues bytes in the next free input buffer. False: there was none in time.
    bool Queue(const std::vector<uint8_t>& bytes, int64_t timeUs, int flags = 0, int64_t timeoutUs = 0) const {
        int64_t index = -1;
        if (MLMediaCodecDequeueInputBuffer(m_Handle, timeoutUs, &index) != MLResult_Ok || index < 0) {
            return false;
        }
        uint8_t* buffer = nullptr;
        size_t capacity = 0;
        if (MLMediaCodecGetInputBufferPointer(m_Handle, index, &buffer, &capacity) != MLResult_Ok ||
            capacity < bytes.size()) {
            return false;
        }
        std::copy(bytes.begin(), bytes.end(), buffer);
        return MLMediaCodecQueueInputBuffer(m_Handle, index, 0, bytes.size(), static_cast<uint64_t>(timeUs), flags) ==
               MLResult_Ok;
    }

    /// The next output buffer, which is waited for.
    int64_t DequeueOutput(MLMediaCodecBufferInfo* info = nullptr) const {
        MLMediaCodecBufferInfo own = {};
        int64_t index = -1;
        EXPECT_EQ(MLMediaCodecDequeueOutputBuffer(m_Handle, info != nullptr ? info : &own, -1, &index), MLResult_Ok);
        return index;
    }

    /// Queues all samples and the end of the stream and hands every output buffer to `onOutput`, which releases it. The
    /// end's buffer is released here. Fails the test instead of waiting for ever.
    using OnOutput = std::function<void(int64_t index, const MLMediaCodecBufferInfo& info)>;
    void PlayThrough(const std::vector<Sample>& samples, int64_t endTimeUs, const OnOutput& onOutput) const {
        size_t next = 0;
        for (;;) {
            while (next < samples.size() && Queue(samples[next].bytes, samples[next].timeUs)) {
                ++next;
            }
            if (next == samples.size() && Queue({}, endTimeUs, MLMediaCodecBufferFlag_EOS)) {
                ++next;
            }
            MLMediaCodecBufferInfo info = {};
            int64_t index = -1;
            ASSERT_EQ(MLMediaCodecDequeueOutputBuffer(m_Handle, &info, 20000000, &index), MLResult_Ok);
            ASSERT_GE(index, 0) << "nothing came out for 20 seconds";
            if ((info.flags & MLMediaCodecBufferFlag_EOS) != 0) {
                EXPECT_EQ(info.size, 0u);
                EXPECT_EQ(info.presentation_time_us, endTimeUs);
                EXPECT_EQ(next, samples.size() + 1);
                EXPECT_EQ(MLMediaCodecReleaseOutputBuffer(m_Handle, index, false), MLResult_Ok);
                return;
            }
            onOutput(index, info);
        }
    }

private:
    MLHandle m_Handle = ML_INVALID_HANDLE;
};

/// One shown frame.
struct Shown {
    uint64_t number = 0;
    int64_t timeUs = 0;
    int painted = -1;
    bool operator==(const Shown& other) const {
        return number == other.number && timeUs == other.timeUs && painted == other.painted;
    }
};

}  // namespace NimbTest
