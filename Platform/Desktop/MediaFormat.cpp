// The format functions.
#include "Platform/Desktop/MediaFormat.h"

#include "Platform/Desktop/PublicCall.h"

#include <ml_media_format.h>

#include <algorithm>
#include <cstring>

MLMediaFormatKey MLMediaFormat_Key_Mime = "mime";
MLMediaFormatKey MLMediaFormat_Key_Width = "width";
MLMediaFormatKey MLMediaFormat_Key_Height = "height";
MLMediaFormatKey MLMediaFormat_Key_Duration = "durationUs";

namespace Nimb::Desktop {
namespace {

constexpr size_t c_MaxKeyString = 64;
constexpr size_t c_MaxObjectString = 512;

struct ValueText {
    std::string operator()(const std::string& value) const { return '"' + value + '"'; }
    std::string operator()(int64_t value) const { return std::to_string(value); }
};

void CopyCut(const std::string& text, char* out, size_t capacity) {
    const size_t size = std::min(text.size(), capacity - 1);
    std::memcpy(out, text.data(), size);
    out[size] = '\0';
}

template <class T, class Store>
MLResult GetValue(MLHandle handle, MLMediaFormatKey key, const void* out, Store&& store) {
    return CallOn<MediaFormat>(handle, [&](MediaFormat& format) -> MLResult {
        if (key == nullptr || out == nullptr) {
            return MLResult_InvalidParam;
        }
        const T* const value = format.Find<T>(key);
        if (value == nullptr) {
            return MLResult_UnspecifiedFailure;
        }
        store(*value);
        return MLResult_Ok;
    });
}

}  // namespace

std::string MediaFormat::ToText() const {
    std::string text = "{";
    for (const auto& [key, value] : m_Values) {
        text += (text.size() > 1 ? ", " : "") + key + ": " + std::visit(ValueText(), value);
    }
    return text + "}";
}

}  // namespace Nimb::Desktop

using namespace Nimb::Desktop;

MLResult MLMediaFormatGetKeyString(MLHandle format, MLMediaFormatKey key, char* out_string) {
    return GetValue<std::string>(format, key, out_string,
                                 [&](const std::string& value) { CopyCut(value, out_string, c_MaxKeyString); });
}

MLResult MLMediaFormatGetKeyValueInt32(MLHandle format, MLMediaFormatKey key, int32_t* out_value) {
    return GetValue<int32_t>(format, key, out_value, [&](int32_t value) { *out_value = value; });
}

MLResult MLMediaFormatGetKeyValueInt64(MLHandle format, MLMediaFormatKey key, int64_t* out_value) {
    return GetValue<int64_t>(format, key, out_value, [&](int64_t value) { *out_value = value; });
}

MLResult MLMediaFormatObjectToString(MLHandle handle, char* out_string) {
    return CallOn<MediaFormat>(handle, [&](MediaFormat& format) -> MLResult {
        if (out_string == nullptr) {
            return MLResult_InvalidParam;
        }
        CopyCut(format.ToText(), out_string, c_MaxObjectString);
        return MLResult_Ok;
    });
}

MLResult MLMediaFormatDestroy(MLHandle format) {
    return PublicCall([&]() -> MLResult {
        return HandleTable::Get().Remove<MediaFormat>(format) != nullptr ? MLResult_Ok : MLResult_InvalidParam;
    });
}
