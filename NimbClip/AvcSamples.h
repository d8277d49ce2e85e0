// H.264 samples of an MP4 file: NAL units behind their lengths, among them the mesh unit.
#pragma once

#include "NimbClip/Mp4Index.h"

namespace Nimb {
namespace Clip {

/// Calls visit(unit, size) for each NAL unit, without its length, up to where the lengths stop making sense.
/// `lengthSize`: bytes of a length; 0: there are no units.
template <class Visit>
void ForEachUnit(const Bytes& sample, std::size_t lengthSize, Visit visit) {
    std::size_t at = 0;
    while (lengthSize != 0 && sample.size() - at >= lengthSize) {
        std::size_t size = 0;
        for (std::size_t i = 0; i < lengthSize; ++i) {
            size = size << 8 | sample[at++];
        }
        if (size > sample.size() - at) {
            return;
        }
        visit(sample.data() + at, size);
        at += size;
    }
}

/// Behind a start code.
void AppendUnit(const BYTE* unit, std::size_t size, Bytes& byteStream);

/// The sample without its mesh units, for a decoder of pictures. In byte streams, key pictures have the parameter sets
/// before them.
void ToPicture(const Bytes& sample, const Track& video, bool isKey, nimb_clip_form form, Bytes& picture);

}  // namespace Clip
}  // namespace Nimb
