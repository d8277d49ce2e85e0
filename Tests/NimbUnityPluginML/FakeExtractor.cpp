// The fake platform's extractor and track formats.
#include "Tests/NimbUnityPluginML/FakeHandles.h"

#include <ml_media_extractor.h>
#include <ml_media_format.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>

MLMediaFormatKey MLMediaFormat_Key_Mime = "mime";
MLMediaFormatKey MLMediaFormat_Key_Width = "width";
MLMediaFormatKey MLMediaFormat_Key_Height = "height";
MLMediaFormatKey MLMediaFormat_Key_Duration = "duration-us";

namespace {

using Fake::Enter;
using Fake::Format;
using Fake::HandleTable;
using Fake::With;
using Fake::WithLocked;

class Extractor : public Fake::Object {
public:
    Extractor() : Object(Fake::Kind::Extractor) {}

    std::shared_ptr<const Fake::Clip> m_Clip;
    std::set<std::size_t> m_Selected;
    std::size_t m_Next = 0;

    /// The current sample, or null at the end. Under m_Mutex.
    const Fake::Sample* Current() {
        if (m_Clip == nullptr) {
            return nullptr;
        }
        while (m_Next < m_Clip->samples.size() && m_Selected.count(m_Clip->samples[m_Next].track) == 0) {
            ++m_Next;
        }
        return m_Next < m_Clip->samples.size() ? &m_Clip->samples[m_Next] : nullptr;
    }
};

}  // namespace

MLResult MLMediaExtractorCreate(MLHandle* out) {
    const Fake::Inside inside;
    if (const auto scripted = Enter(__func__)) {
        return *scripted;
    }
    *out = HandleTable::Instance().Add(std::make_shared<Extractor>(), Fake::TheScript().nullExtractor);
    return MLResult_Ok;
}

MLResult MLMediaExtractorDestroy(MLHandle handle) {
    return Fake::Destroy<Extractor>(__func__, handle);
}

MLResult MLMediaExtractorSetDataSourceForURI(MLHandle handle, const char* uri) {
    return WithLocked<Extractor>(__func__, handle, [uri](Extractor& extractor) {
        extractor.m_Clip = Fake::FindClip(uri);
        return extractor.m_Clip != nullptr ? MLResult_Ok : MLResult_UnspecifiedFailure;
    });
}

MLResult MLMediaExtractorGetTrackCount(MLHandle handle, uint64_t* out) {
    return WithLocked<Extractor>(__func__, handle, [out](Extractor& extractor) {
        *out = extractor.m_Clip != nullptr ? extractor.m_Clip->tracks.size() : 0;
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorGetTrackFormat(MLHandle handle, size_t index, MLHandle* out) {
    return WithLocked<Extractor>(__func__, handle, [index, out](Extractor& extractor) {
        if (extractor.m_Clip == nullptr || index >= extractor.m_Clip->tracks.size()) {
            return MLResult_InvalidParam;
        }
        std::size_t largest = 0;
        for (const Fake::Sample& sample : extractor.m_Clip->samples) {
            largest = sample.track == index ? std::max(largest, sample.bytes.size()) : largest;
        }
        *out = HandleTable::Instance().Add(std::make_shared<Format>(extractor.m_Clip->tracks[index], largest));
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorSelectTrack(MLHandle handle, size_t index) {
    return WithLocked<Extractor>(__func__, handle, [index](Extractor& extractor) {
        extractor.m_Selected.insert(index);
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorSeekTo(MLHandle handle, int64_t timeUs, MLMediaSeekMode mode) {
    return WithLocked<Extractor>(__func__, handle, [timeUs, mode](Extractor& extractor) {
        if (extractor.m_Clip != nullptr && mode == MLMediaSeekMode_Previous_Sync) {
            const auto& samples = extractor.m_Clip->samples;
            for (std::size_t i = 0; i < samples.size(); ++i) {
                if (samples[i].track == 0 && samples[i].bytes[4] == 0x65 && samples[i].timeUs <= timeUs) {
                    extractor.m_Next = i;
                }
            }
            return MLResult_Ok;
        }
        extractor.m_Next = 0;
        for (const Fake::Sample* s = extractor.Current(); s != nullptr && s->timeUs < timeUs; s = extractor.Current()) {
            ++extractor.m_Next;
        }
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorAdvance(MLHandle handle) {
    return WithLocked<Extractor>(__func__, handle, [](Extractor& extractor) {
        if (extractor.Current() == nullptr) {
            return MLResult_UnspecifiedFailure;
        }
        ++extractor.m_Next;
        return extractor.Current() != nullptr ? MLResult_Ok : MLResult_UnspecifiedFailure;
    });
}

MLResult MLMediaExtractorGetSampleTrackIndex(MLHandle handle, int64_t* out) {
    return WithLocked<Extractor>(__func__, handle, [out](Extractor& extractor) {
        const Fake::Sample* const sample = extractor.Current();
        *out = sample != nullptr ? static_cast<int64_t>(sample->track) : -1;
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorGetSampleTime(MLHandle handle, int64_t* out) {
    return WithLocked<Extractor>(__func__, handle, [out](Extractor& extractor) {
        const Fake::Sample* const sample = extractor.Current();
        *out = sample != nullptr ? sample->timeUs : -1;
        return MLResult_Ok;
    });
}

MLResult MLMediaExtractorReadSampleData(MLHandle handle, uint8_t* buffer, size_t size, size_t offset, int64_t* out) {
    return WithLocked<Extractor>(__func__, handle, [=](Extractor& extractor) {
        const Fake::Sample* const sample = extractor.Current();
        *out = -1;
        if (sample == nullptr) {
            return MLResult_UnspecifiedFailure;
        }
        if (offset > size || sample->bytes.size() > size - offset) {
            return MLResult_InvalidParam;
        }
        std::copy(sample->bytes.begin(), sample->bytes.end(), buffer + offset);
        *out = static_cast<int64_t>(sample->bytes.size());
        return MLResult_Ok;
    });
}

MLResult MLMediaFormatGetKeyString(MLHandle handle, MLMediaFormatKey key, char* out) {
    return With<Format>(__func__, handle, [=](const Format& format) {
        if (key != MLMediaFormat_Key_Mime || format.m_Track.mime.empty()) {
            return MLResult_UnspecifiedFailure;
        }
        std::snprintf(out, 64, "%s", format.m_Track.mime.c_str());
        return MLResult_Ok;
    });
}

MLResult MLMediaFormatGetKeyValueInt32(MLHandle handle, MLMediaFormatKey key, int32_t* out) {
    return With<Format>(__func__, handle, [=](const Format& format) {
        const bool known = key == MLMediaFormat_Key_Width || key == MLMediaFormat_Key_Height;
        if (!known || format.m_Track.width == 0) {
            return MLResult_UnspecifiedFailure;
        }
        *out = key == MLMediaFormat_Key_Width ? format.m_Track.width : format.m_Track.height;
        return MLResult_Ok;
    });
}

MLResult MLMediaFormatGetKeyValueInt64(MLHandle handle, MLMediaFormatKey key, int64_t* out) {
    return With<Format>(__func__, handle, [=](const Format& format) {
        if (key != MLMediaFormat_Key_Duration || !format.m_Track.durationUs) {
            return MLResult_UnspecifiedFailure;
        }
        *out = *format.m_Track.durationUs;
        return MLResult_Ok;
    });
}

MLResult MLMediaFormatObjectToString(MLHandle handle, char* out) {
    return With<Format>(__func__, handle, [=](const Format& format) {
        std::snprintf(out, 512, "mime: %s", format.m_Track.mime.c_str());
        return MLResult_Ok;
    });
}

MLResult MLMediaFormatDestroy(MLHandle handle) {
    return Fake::Destroy<Format>(__func__, handle);
}
