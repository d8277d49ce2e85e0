// The engine's EGL context, as the render thread had it when somebody looked last.
//
// Engines make another context when they lose one, and it may get the address of the one before. So a context that has
// been looked at is marked with a small buffer of its own: where that is missing, so is everything else that GL held.
#pragma once

#include "NimbUnityPluginML/NimbUnityPluginML.h"

#include <EGL/egl.h>

namespace Nimb::Plugin::GraphicsDevice {

// ---- Render thread ----

/// The context is that of the render events to come. EGL_NO_CONTEXT: there is none.
void Note(EGLContext context);

/// Looks for a context that is current, and whether it is another one than before. False when there is none: then what
/// was noted before stays. Leaves GL's state as it was.
bool Look();

// ---- Any thread ----

/// That was noted last.
EGLContext Context() noexcept;
NimbDeviceInfo Info() noexcept;

}  // namespace Nimb::Plugin::GraphicsDevice
