// Draws the decoder's pictures into the engine's texture.
//
// The copy draws one triangle that covers the engine's texture, sampling the decoder's frame through an external
// texture. It restores the framebuffer binding and nothing else: GL_BLEND and GL_CULL_FACE stay disabled; colour mask,
// viewport, clear colour, program, array-buffer and element-array bindings, vertex array 0 with attribute 0 enabled,
// the active unit 0 and its external texture stay as the copy leaves them.
#pragma once

#include <EGL/egl.h>

#include <cstdint>

namespace Nimb::Plugin {

/// Of one player. Render thread with the engine's context current, but for CleanupGraphicsResources at the end of the
/// mesh thread, when no render event comes any more.
class TextureCopy {
public:
    /// `id`: the player's, for the log.
    explicit TextureCopy(int id) : m_id(id) {}

    /// False before InitializeGraphicsResources, and after it when the shaders failed.
    bool IsInitialized() const noexcept { return m_program != 0; }

    /// What was made in another context than this is gone, and is forgotten. `number`: GraphicsDevice counts them.
    void FollowContext(std::uint32_t number) noexcept;

    /// `unityCtx`: the engine's context.
    void InitializeGraphicsResources(EGLContext unityCtx);

    /// `nativeBuffer`: of a frame acquired from the codec. `texture`: the engine's, which is `width` x `height`;
    /// nothing happens when it is 0.
    void CopyTexture(void* nativeBuffer, unsigned int texture, int width, int height);

    /// On the mesh thread, which has no context, the calls reach nothing and only the names are forgotten.
    void CleanupGraphicsResources();

private:
    const int m_id;
    std::uint32_t m_contextNumber = 0;
    unsigned int m_program = 0;
    unsigned int m_externalTexture = 0;
    unsigned int m_quadBuffer = 0;
    unsigned int m_vertexShader = 0;
    unsigned int m_fragmentShader = 0;
};

}  // namespace Nimb::Plugin
