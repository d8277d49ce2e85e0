// The OpenGL ES 3 context in which the engine renders.
#pragma once

#include <EGL/egl.h>

#include <functional>
#include <memory>

namespace Nimb::EngineStandIn {

/// Created, used and destroyed on the render thread; current there as long as it exists.
class GlContext {
public:
    virtual ~GlContext() = default;
    /// Shows what was drawn, where there is something to show it on.
    virtual void SwapBuffers() {}
};

/// Called on the render thread. Throws std::runtime_error when no context can be made.
using GlContextFactory = std::function<std::unique_ptr<GlContext>()>;

/// A context without any display or window. Sets EGL_PLATFORM to "surfaceless" unless it is set, so that the default
/// display, which the plug-in asks for, is the same one.
std::unique_ptr<GlContext> MakeSurfacelessContext();

/// A context for an X11 window, which outlives it; multisampled where that is available. EGL_PLATFORM must be "x11", so
/// that the default display, which the plug-in asks for, is the one that the window is on.
std::unique_ptr<GlContext> MakeWindowContext(EGLNativeWindowType window);

}  // namespace Nimb::EngineStandIn
