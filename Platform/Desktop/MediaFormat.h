// The description of a track: what the format functions tell, and what a decoder needs to know besides.
#pragma once

#include "Media/Av.h"
#include "Platform/Desktop/HandleTable.h"

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Nimb::Desktop {

/// Unchanging once it is in the handle table, so any thread may read it.
class MediaFormat final : public Object {
public:
    using Value = std::variant<std::string, int32_t, int64_t>;

    void Add(std::string key, Value value) { m_Values.emplace_back(std::move(key), std::move(value)); }

    /// Null when there is no value of that key, or it is of another type.
    template <class T>
    const T* Find(const char* key) const {
        for (const auto& [name, value] : m_Values) {
            if (name == key) {
                return std::get_if<T>(&value);
            }
        }
        return nullptr;
    }

    std::string ToText() const;

    Media::AvPtr<AVCodecParameters> parameters;  // of the samples as the extractor delivers them
    size_t maxSampleSize = 0;

private:
    std::vector<std::pair<std::string, Value>> m_Values;
};

}  // namespace Nimb::Desktop
