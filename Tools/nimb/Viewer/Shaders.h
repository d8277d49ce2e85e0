// Programs of shaders.
#pragma once

namespace Nimb::Tool {

/// Render thread. A new program's GL name. Throws OutputError with the driver's words when it cannot be built.
unsigned int LinkShaders(const char* vertexSource, const char* fragmentSource);

}  // namespace Nimb::Tool
