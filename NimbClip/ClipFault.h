// How the library's own functions fail: nimb_clip.cpp turns it into a status and a text.
#pragma once

#include "NimbClip/nimb_clip.h"

#include <cstdint>
#include <string>
#include <utility>

namespace Nimb {
namespace Clip {

struct ClipFault {
    nimb_clip_status status;
    std::string text;
    std::int64_t frame;  ///< -1: the file as a whole

    ClipFault(nimb_clip_status faultStatus, std::string faultText, std::int64_t faultFrame = -1)
        : status(faultStatus), text(std::move(faultText)), frame(faultFrame) {}
};

}  // namespace Clip
}  // namespace Nimb
