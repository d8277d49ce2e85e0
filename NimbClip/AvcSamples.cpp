#include "NimbClip/AvcSamples.h"

#include "NimbCore/MeshUnit.h"

namespace Nimb {
namespace Clip {

void AppendUnit(const BYTE* unit, std::size_t size, Bytes& byteStream) {
    const BYTE startCode[] = {0, 0, 0, 1};
    byteStream.insert(byteStream.end(), startCode, startCode + sizeof(startCode));
    byteStream.insert(byteStream.end(), unit, unit + size);
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
            return AppendUnit(unit, size, picture);
        }
        picture.insert(picture.end(), unit - video.lengthSize, unit + size);
    });
}

}  // namespace Clip
}  // namespace Nimb
