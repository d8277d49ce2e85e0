// The media libraries' messages, as lines of the platform's log.
#pragma once

namespace Nimb::Desktop {

/// From the first call on, the media libraries' messages go into the platform's log. Any thread.
void RouteAvLog();

}  // namespace Nimb::Desktop
