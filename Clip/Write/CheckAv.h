// FFmpeg's results as exceptions, and how its encoders report.
#pragma once

#include "Clip/Write/ClipError.h"
#include "Media/Av.h"

namespace Nimb::Authoring {

/// For the log_level_offset of encoders: reports of a normal run become details, warnings stay.
constexpr int c_QuietLogOffset = AV_LOG_VERBOSE - AV_LOG_INFO;

/// Throws ClipError "what: reason" for a negative result.
inline int CheckAv(int result, const std::string& what) {
    if (result < 0) {
        throw ClipError(what + ": " + Media::AvText(result));
    }
    return result;
}

}  // namespace Nimb::Authoring
