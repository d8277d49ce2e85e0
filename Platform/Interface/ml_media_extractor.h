// Reading the samples of a media file. One object is used by one thread at a time.
#pragma once

#include "ml_types.h"

typedef enum MLMediaSeekMode {
    MLMediaSeekMode_Previous_Sync = 0,
    MLMediaSeekMode_Next_Sync = 1,
    MLMediaSeekMode_Closest_Sync = 2,
    MLMediaSeekMode_Closest = 3
} MLMediaSeekMode;

ML_EXTERN_C_BEGIN

ML_API MLResult MLMediaExtractorCreate(MLHandle* out_handle);
ML_API MLResult MLMediaExtractorDestroy(MLHandle extractor);
/// `uri`: a local path or a URI.
ML_API MLResult MLMediaExtractorSetDataSourceForURI(MLHandle extractor, const char* uri);
ML_API MLResult MLMediaExtractorGetTrackCount(MLHandle extractor, uint64_t* out_count);
/// The caller destroys the format.
ML_API MLResult MLMediaExtractorGetTrackFormat(MLHandle extractor, size_t track_index, MLHandle* out_format);
/// Only samples of selected tracks are seen by the functions below, interleaved in file order.
ML_API MLResult MLMediaExtractorSelectTrack(MLHandle extractor, size_t track_index);
ML_API MLResult MLMediaExtractorSeekTo(MLHandle extractor, int64_t time_us, MLMediaSeekMode mode);
/// Not ok at the end of the input.
ML_API MLResult MLMediaExtractorAdvance(MLHandle extractor);
/// -1 when no sample is left.
ML_API MLResult MLMediaExtractorGetSampleTrackIndex(MLHandle extractor, int64_t* out_track_index);
/// Presentation time, -1 when no sample is left.
ML_API MLResult MLMediaExtractorGetSampleTime(MLHandle extractor, int64_t* out_time_us);
/// Copies the current sample to `buffer + offset`; `*out_size` is its size, -1 when no sample is left. H.264 samples
/// are Annex B byte streams with parameter sets where a decoder needs them.
ML_API MLResult MLMediaExtractorReadSampleData(MLHandle extractor, uint8_t* buffer, size_t buffer_size, size_t offset,
                                               int64_t* out_size);

ML_EXTERN_C_END
