// GL and EGL errors go to the log; nothing acts upon them.
#pragma once

namespace Nimb::Plugin {

/// Logs "%s, error = %x" with `what` when GL has an error pending. Render thread.
void CheckGLError(const char* what);

/// The same for EGL.
void CheckEGLError(const char* what);

}  // namespace Nimb::Plugin
