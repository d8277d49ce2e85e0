// Whether an MP4 file has all of its index.
#pragma once

#include <string>

namespace Nimb::Desktop {

/// False when the file ends inside its index: libavformat would take what is there for everything, and leave out
/// tracks or give samples wrong times. True when there is no index to be seen, which libavformat then says.
bool IsIndexWhole(const std::string& path);

}  // namespace Nimb::Desktop
