// The ways in which `nimb play` shows a clip. Each returns an ExitStatus.
#pragma once

#include "Tools/nimb/PlayOptions.h"

namespace Nimb::Tool {

/// In a window, until its user has seen enough.
int PlayInWindow(const PlayOptions& options);

/// At its own speed with nothing shown, to see how well this machine plays it.
int PlayHeadless(const PlayOptions& options);

/// Writes the pictures and the video that were asked for, drawn offscreen.
int PlayIntoFiles(const PlayOptions& options);

}  // namespace Nimb::Tool
