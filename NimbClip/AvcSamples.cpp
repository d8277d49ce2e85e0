#include "NimbClip/AvcSamples.h"

#include "NimbCore/MeshUnit.h"

#include <algorithm>
#include <cstring>

namespace Nimb {
namespace Clip {
namespace {

const BYTE c_StartCode[] = {0, 0, 0, 1};

/// Calls visit(unit, size) for each NAL unit, without its length.
template <class Visit>
void ForEachUnit(const Bytes& sample, std::uint32_t lengthSize, Visit visit) {
    std::size_t at = 0;
    while (sample.size() - at >= lengthSize) {
        std::size_t size = 0;
        for (std::uint32_t i = 0; i < lengthSize; ++i) {
            size = size << 8 | sample[at++];
        }
        if (size > sample.size() - at) {
            return;
        }
        visit(sample.data() + at, size);
        at += size;
    }
}

void Append(const BYTE* begin, std::size_t size, Bytes& bytes) {
    bytes.insert(bytes.end(), begin, begin + size);
}

}  // namespace

void ToByteStream(const Bytes& sample, const Track& video, Bytes& byteStream) {
    byteStream.clear();
    byteStream.reserve(sample.size() + 64);
    ForEachUnit(sample, video.lengthSize, [&](const BYTE* unit, std::size_t size) {
        Append(c_StartCode, sizeof(c_StartCode), byteStream);
        Append(unit, size, byteStream);
    });
}

void ToPicture(const Bytes& sample, const Track& video, bool isKey, nimb_clip_form form, Bytes& picture) {
    picture.clear();
    const bool isByteStream = form == NIMB_CLIP_BYTE_STREAM;
    if (isByteStream && isKey) {
        picture = video.parameterSets;
    }
    ForEachUnit(sample, video.lengthSize, [&](const BYTE* unit, std::size_t size) {
        if (NimbCrossPlatform::IsMeshNalUnit(unit, size)) {
            return;
        }
        if (isByteStream) {
            Append(c_StartCode, sizeof(c_StartCode), picture);
        } else {
            for (std::uint32_t i = video.lengthSize; i > 0; --i) {
                picture.push_back(static_cast<BYTE>(size >> 8 * (i - 1)));
            }
        }
        Append(unit, size, picture);
    });
}

}  // namespace Clip
}  // namespace Nimb
