// The media libraries' messages, as lines of the platform's log.
#include "Platform/Desktop/AvLog.h"

#include "Media/Av.h"

#include "Platform/Desktop/Log.h"

#include <cstdarg>
#include <mutex>

namespace Nimb::Desktop {
namespace {

// One level milder than they see themselves: a damaged picture is an error to a decoder, but the player goes on.
MLLogLevel PlatformLevel(int avLevel) {
    if (avLevel <= AV_LOG_FATAL) {
        return MLLogLevel_Error;
    }
    if (avLevel <= AV_LOG_ERROR) {
        return MLLogLevel_Warning;
    }
    return avLevel <= AV_LOG_WARNING ? MLLogLevel_Info : MLLogLevel_Verbose;
}

__attribute__((format(printf, 3, 0))) void ForwardMessage(void* source, int avLevel, const char* format,
                                                          va_list arguments) {
    const MLLogLevel level = PlatformLevel(avLevel);
    if (!MLLoggingLogLevelIsEnabled(level)) {
        return;
    }
    char line[1024];
    int printPrefix = 1;
    av_log_format_line2(source, avLevel, format, arguments, line, sizeof line, &printPrefix);
    NIMB_PLATFORM_LOG(level, "%s", line);
}

}  // namespace

void RouteAvLog() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(ForwardMessage); });
}

}  // namespace Nimb::Desktop
