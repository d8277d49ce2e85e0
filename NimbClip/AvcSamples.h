// H.264 samples of an MP4 file: NAL units behind their lengths, among them the mesh unit.
#pragma once

#include "NimbClip/Mp4Index.h"

namespace Nimb {
namespace Clip {

/// The sample as a byte stream: each NAL unit behind a start code, up to where the lengths stop making sense. What the
/// mesh is looked for in.
void ToByteStream(const Bytes& sample, const Track& video, Bytes& byteStream);

/// The sample without its mesh units, for a decoder of pictures. In byte streams, key pictures have the parameter sets
/// before them.
void ToPicture(const Bytes& sample, const Track& video, bool isKey, nimb_clip_form form, Bytes& picture);

}  // namespace Clip
}  // namespace Nimb
