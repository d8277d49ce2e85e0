// One player in a scene, as a script component of the engine would hold it: the player's id, and the texture and the
// buffers that it fills.
#pragma once

#include "EngineStandIn/PluginLibrary.h"
#include "EngineStandIn/RenderThread.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::EngineStandIn {

struct Vertex {
    float x, y, z;
    float nx, ny, nz;
    float u, v;
};
static_assert(sizeof(Vertex) == 32, "the plug-in fills 32-byte records");

struct BufferSizes {
    int textureWidth = 0;
    int textureHeight = 0;
    int vertexCount = 0;
    int indexCount = 0;
};

/// Loads the plug-in into an engine that has a graphics device: what happens once, before the first player.
void StartPlugin(const PluginLibrary& plugin, RenderThread& renderThread);

/// Script thread, except where it says otherwise. The player is destroyed with it.
class Player {
public:
    Player(const PluginLibrary& plugin, RenderThread& renderThread);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    int Id() const noexcept { return m_Id; }

    bool Open(const std::string& path, bool autoLoop = false, bool disableAudio = false);
    NimbFileInfo FileInfo() const;
    NimbFrameInfo FrameInfo() const;

    /// Creates texture and buffers in the sizes that the open file asks for, or in the given ones, and hands them over.
    /// The texture is black and the buffers are zeros until the first frame.
    void CreateBuffers() { CreateBuffers(SizesFor(FileInfo())); }
    void CreateBuffers(const BufferSizes& sizes);
    const BufferSizes& Sizes() const noexcept { return m_Sizes; }
    static BufferSizes SizesFor(const NimbFileInfo& info);

    // Only with a library that has the feature.
    std::int64_t Seek(std::int64_t frame, std::uint32_t options = 0);
    std::int64_t Step(int frames);
    /// The oldest end that was not taken yet.
    std::optional<NimbSeekEnd> TakeSeekEnd();
    bool SetPlayRange(std::int64_t first, std::int64_t last, bool loop);

    /// Issues a render event without waiting for it, as the engine does: later calls may run at the same time.
    void PostRender();

    // ---- Render thread ----

    /// Issues a render event.
    void OnRender() const;

    /// GL names.
    struct Objects {
        unsigned int texture = 0;
        unsigned int vertexBuffer = 0;
        unsigned int indexBuffer = 0;
    };
    const Objects& GlObjects() const noexcept { return m_Objects; }
    /// Whether the plug-in has them: not while CreateBuffers hands new ones over. On the render thread.
    bool AreObjectsGiven() const noexcept { return m_AreObjectsGiven; }

    /// RGBA; row 0 is the picture's top.
    std::vector<std::uint8_t> ReadTexture(int x, int y, int width, int height) const;
    std::vector<std::uint8_t> ReadTexture() const {
        return ReadTexture(0, 0, m_Sizes.textureWidth, m_Sizes.textureHeight);
    }
    std::vector<Vertex> ReadVertices() const;
    std::vector<std::uint32_t> ReadIndices() const;

private:
    static void Delete(const Objects& objects);

    const PluginLibrary& m_Plugin;
    RenderThread& m_RenderThread;
    int m_Id;
    BufferSizes m_Sizes;
    // Changed on the render thread.
    Objects m_Objects;
    bool m_AreObjectsGiven = false;
};

}  // namespace Nimb::EngineStandIn
