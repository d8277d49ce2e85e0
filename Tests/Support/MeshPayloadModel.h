// What FindCompressedMesh does, step by step and byte by byte: the rule of the format without the reader's shortcuts,
// for tests and fuzz targets to compare with.
#pragma once

#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace NimbTest {

using Bytes = std::vector<BYTE>;

/// Offset of the mesh unit. The scan counts steps, not bytes: a rejected candidate moves five bytes in one step.
inline std::optional<std::size_t> ModelFindUnit(const Bytes& sample) {
    if (sample.size() <= 3) {
        return std::nullopt;
    }
    const std::size_t limit = sample.size() - 3;
    std::size_t remaining = sample.size();
    std::size_t p = 0;
    for (std::size_t step = 0; step < limit; ++step, --remaining) {
        if (p + 8 > sample.size()) {
            return std::nullopt;  // neither this nor a later candidate has room for its magic
        }
        const bool startCode = sample[p] == 0 && sample[p + 1] == 0 && sample[p + 2] == 1;
        if (startCode && (sample[p + 3] == 0x18 || sample[p + 3] == 0x15) && remaining >= 4) {
            if (std::memcmp(&sample[p + 4], "TARN", 4) == 0) {
                return p;
            }
            p += 5;
        } else {
            p += 1;
        }
    }
    return std::nullopt;
}

inline Bytes ModelUnescape(const Bytes& in) {
    Bytes out;
    for (std::size_t i = 0; i < in.size();) {
        if (i + 3 < in.size() && in[i] == 0 && in[i + 1] == 0 && in[i + 2] == 3 && in[i + 3] <= 3) {
            out.insert(out.end(), {0, 0, in[i + 3]});
            i += 4;
        } else {
            out.push_back(in[i++]);
        }
    }
    return out;
}

/// The mesh frame of a sample, or nothing where FindCompressedMesh returns null.
inline std::optional<Bytes> ModelMeshFrame(const Bytes& sample) {
    const std::optional<std::size_t> start = ModelFindUnit(sample);
    if (!start || sample.size() - *start < 26) {
        return std::nullopt;
    }
    const BYTE* const unit = sample.data() + *start;
    const UINT32 field = UINT32{unit[12]} | UINT32{unit[13]} << 8 | UINT32{unit[15]} << 16 | UINT32{unit[16]} << 24;
    const std::int64_t size = static_cast<INT32>(field);
    if (size < 1 || size > static_cast<std::int64_t>(sample.size() - *start - 26)) {
        return std::nullopt;
    }
    Bytes payload = ModelUnescape(Bytes(unit + 26, unit + 26 + size));
    if (payload.size() < 8) {
        return std::nullopt;
    }
    payload.erase(payload.begin(), payload.begin() + 8);
    return payload;
}

/// The same through FindCompressedMesh and its stream. The sample is handed over in a block of exactly its size, so
/// that a sanitizer sees the first byte read too many.
inline std::optional<Bytes> ReadMeshFrame(const Bytes& sample) {
    const std::unique_ptr<BYTE[]> block(new BYTE[sample.size()]);
    std::copy(sample.begin(), sample.end(), block.get());
    const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> stream(
        NimbCrossPlatform::FindCompressedMesh(block.get(), sample.size()));
    if (stream == nullptr) {
        return std::nullopt;
    }
    Bytes frame(sample.size() + 1);
    UINT32 read = 0;
    stream->Read(frame.data(), static_cast<UINT32>(frame.size()), &read);
    frame.resize(read);
    return frame;
}

inline bool ContainsStartCode(const BYTE* begin, const BYTE* end) {
    constexpr BYTE c_StartCode[] = {0, 0, 1};
    return std::search(begin, end, std::begin(c_StartCode), std::end(c_StartCode)) != end;
}

}  // namespace NimbTest
