// The extractor functions.
#include "Platform/Desktop/MediaExtractor.h"
#include "Platform/Desktop/PublicCall.h"

#include <ml_media_extractor.h>

#include <utility>

using namespace Nimb::Desktop;

MLResult MLMediaExtractorCreate(MLHandle* out_handle) {
    return PublicCall([&]() -> MLResult {
        if (out_handle == nullptr) {
            return MLResult_InvalidParam;
        }
        *out_handle = HandleTable::Get().Add(std::make_shared<MediaExtractor>());
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorDestroy(MLHandle extractor) {
    return PublicCall([&]() -> MLResult {
        const auto removed = HandleTable::Get().Remove<MediaExtractor>(extractor);
        if (removed == nullptr) {
            return MLResult_InvalidParam;
        }
        removed->Abort();
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorSetDataSourceForURI(MLHandle handle, const char* uri) {
    return CallOn<MediaExtractor>(handle, [&](MediaExtractor& extractor) -> MLResult {
        return uri != nullptr ? extractor.SetDataSource(uri) : MLResult{MLResult_InvalidParam};
    });
}

MLResult MLMediaExtractorGetTrackCount(MLHandle handle, uint64_t* out_count) {
    return CallOn<MediaExtractor>(handle, [&](MediaExtractor& extractor) -> MLResult {
        if (out_count == nullptr) {
            return MLResult_InvalidParam;
        }
        *out_count = extractor.TrackCount();
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorGetTrackFormat(MLHandle handle, size_t track_index, MLHandle* out_format) {
    return CallOn<MediaExtractor>(handle, [&](MediaExtractor& extractor) -> MLResult {
        if (out_format == nullptr) {
            return MLResult_InvalidParam;
        }
        *out_format = ML_INVALID_HANDLE;
        auto format = extractor.TrackFormat(track_index);
        if (format == nullptr) {
            return MLResult_InvalidParam;
        }
        *out_format = HandleTable::Get().Add(std::move(format));
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorSelectTrack(MLHandle handle, size_t track_index) {
    return CallOn<MediaExtractor>(handle,
                                  [&](MediaExtractor& extractor) { return extractor.SelectTrack(track_index); });
}

MLResult MLMediaExtractorSeekTo(MLHandle handle, int64_t time_us, MLMediaSeekMode mode) {
    return CallOn<MediaExtractor>(handle, [&](MediaExtractor& extractor) { return extractor.SeekTo(time_us, mode); });
}

MLResult MLMediaExtractorAdvance(MLHandle handle) {
    return CallOn<MediaExtractor>(handle, [](MediaExtractor& extractor) { return extractor.Advance(); });
}

MLResult MLMediaExtractorGetSampleTrackIndex(MLHandle handle, int64_t* out_track_index) {
    return CallOn<MediaExtractor>(handle, [&](MediaExtractor& extractor) -> MLResult {
        if (out_track_index == nullptr) {
            return MLResult_InvalidParam;
        }
        *out_track_index = extractor.SampleTrack();
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorGetSampleTime(MLHandle handle, int64_t* out_time_us) {
    return CallOn<MediaExtractor>(handle, [&](MediaExtractor& extractor) -> MLResult {
        if (out_time_us == nullptr) {
            return MLResult_InvalidParam;
        }
        *out_time_us = extractor.SampleTimeUs();
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorReadSampleData(MLHandle handle, uint8_t* buffer, size_t buffer_size, size_t offset,
                                        int64_t* out_size) {
    return CallOn<MediaExtractor>(handle, [&](MediaExtractor& extractor) -> MLResult {
        if (buffer == nullptr || out_size == nullptr) {
            return MLResult_InvalidParam;
        }
        return extractor.ReadSample(buffer, buffer_size, offset, out_size);
    });
}
