// Standard output and error that may be closed.
#pragma once

namespace Nimb::Tool {

/// Call this first. A stream that the caller has closed is opened in a way that its use is an error. Otherwise the next
/// file would take its number, and be given what is printed.
void OpenStandardStreams();

/// For what is printed besides the files that a command has written: it is not a failure when nobody reads it.
void FlushRemarks();

}  // namespace Nimb::Tool
