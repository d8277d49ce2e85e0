// Standard output and error that may be closed.
#pragma once

namespace Nimb::Tool {

/// To be called first. A stream that the caller has closed is opened so that its use is an error: otherwise the next
/// file would take its number, and with it what is printed.
void OpenStandardStreams();

/// For what is printed beside the files that a command has written: that nobody wants to know is no failure.
void FlushRemarks();

}  // namespace Nimb::Tool
