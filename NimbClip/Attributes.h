// The attributes of a file: what players know of a clip before they have read its frames.
#pragma once

#include "NimbClip/ByteSource.h"

namespace Nimb {
namespace Clip {

/// Sets `has_attributes` and what it stands for; leaves all as it is when the file has none. Throws what reading
/// throws.
void ReadAttributes(const ByteSource& source, nimb_clip_info& info);

}  // namespace Clip
}  // namespace Nimb
