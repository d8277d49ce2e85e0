#include "EngineStandIn/Player.h"

#include <GLES3/gl3.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace Nimb::EngineStandIn {
namespace {

constexpr int c_DeviceTypeGles3 = 11;  // the engine's number for OpenGL ES 3
constexpr int c_EventInitialize = 0;

void* NativePointer(unsigned int name) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(name));
}

GLuint MakeBuffer(std::size_t size) {
    const std::vector<std::uint8_t> zeros(size);
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(size), zeros.data(), GL_DYNAMIC_DRAW);
    return buffer;
}

GLuint MakeTexture(int width, int height) {
    const std::vector<std::uint8_t> black(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, black.data());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    return texture;
}

template <class T>
std::vector<T> ReadBuffer(GLuint buffer, int count) {
    std::vector<T> values(static_cast<std::size_t>(count));
    if (values.empty()) {
        return values;
    }
    const std::size_t size = values.size() * sizeof(T);
    glBindBuffer(GL_COPY_READ_BUFFER, buffer);
    const void* const mapped = glMapBufferRange(GL_COPY_READ_BUFFER, 0, static_cast<GLsizeiptr>(size), GL_MAP_READ_BIT);
    if (mapped == nullptr) {
        throw std::runtime_error("a buffer cannot be read back");
    }
    std::memcpy(values.data(), mapped, size);
    glUnmapBuffer(GL_COPY_READ_BUFFER);
    return values;
}

}  // namespace

void StartPlugin(const PluginLibrary& plugin, RenderThread& renderThread) {
    plugin->UnityPluginLoad(nullptr);
    renderThread.Run([&plugin] { plugin->UnitySetGraphicsDevice(nullptr, c_DeviceTypeGles3, c_EventInitialize); });
}

Player::Player(const PluginLibrary& plugin, RenderThread& renderThread)
    : m_Plugin(plugin), m_RenderThread(renderThread), m_Id(plugin->CreateQuorObject()) {}

Player::~Player() {
    m_Plugin->DestroyQuorObject(m_Id);
    m_RenderThread.Run([this] { Delete(m_Objects); });
}

bool Player::Open(const std::string& path, bool autoLoop, bool disableAudio) {
    NimbOpenInfo info{};
    info.autoLoop = autoLoop ? 1 : 0;
    info.disableAudio = disableAudio ? 1 : 0;
    return m_Plugin->OpenQuorObject(m_Id, path.c_str(), &info) != 0;
}

NimbFileInfo Player::FileInfo() const {
    NimbFileInfo info{};
    m_Plugin->GetQuorObjectFileInfo(m_Id, &info);
    return info;
}

NimbFrameInfo Player::FrameInfo() const {
    NimbFrameInfo info{};
    m_Plugin->GetQuorObjectFrameInfo(m_Id, &info);
    return info;
}

std::int64_t Player::Seek(std::int64_t frame, std::uint32_t options) {
    return m_Plugin->SeekQuorObject(m_Id, frame, options);
}

std::int64_t Player::Step(int frames) {
    return m_Plugin->StepQuorObject(m_Id, frames);
}

std::optional<NimbSeekEnd> Player::TakeSeekEnd() {
    NimbSeekEnd end{};
    return m_Plugin->TakeSeekEnd(m_Id, &end) != 0 ? std::optional(end) : std::nullopt;
}

bool Player::SetPlayRange(std::int64_t first, std::int64_t last, bool loop) {
    return m_Plugin->SetPlayRange(m_Id, first, last, loop ? 1 : 0) != 0;
}

BufferSizes Player::SizesFor(const NimbFileInfo& info) {
    return {static_cast<int>(info.textureWidth), static_cast<int>(info.textureHeight),
            static_cast<int>(info.maxVertexCount), static_cast<int>(info.maxIndexCount)};
}

void Player::CreateBuffers(const BufferSizes& sizes) {
    const Objects old = m_Objects;
    m_RenderThread.Run([this, &sizes] {
        m_Sizes = sizes;
        m_AreObjectsGiven = false;
        m_Objects.texture = MakeTexture(sizes.textureWidth, sizes.textureHeight);
        m_Objects.vertexBuffer = MakeBuffer(static_cast<std::size_t>(sizes.vertexCount) * sizeof(Vertex));
        m_Objects.indexBuffer = MakeBuffer(static_cast<std::size_t>(sizes.indexCount) * sizeof(std::uint32_t));
    });
    m_Plugin->SetUnityBuffers(m_Id, NativePointer(m_Objects.texture), sizes.textureWidth, sizes.textureHeight,
                              NativePointer(m_Objects.vertexBuffer), sizes.vertexCount,
                              NativePointer(m_Objects.indexBuffer), sizes.indexCount);
    // Only once the new ones are in use: the plug-in may fill the old ones at any time.
    m_RenderThread.Run([this, &old] {
        m_AreObjectsGiven = true;
        Delete(old);
    });
}

void Player::Delete(const Objects& objects) {
    glDeleteTextures(1, &objects.texture);
    glDeleteBuffers(1, &objects.vertexBuffer);
    glDeleteBuffers(1, &objects.indexBuffer);
}

void Player::PostRender() {
    m_RenderThread.Post([this] { OnRender(); });
}

void Player::OnRender() const {
    m_Plugin->GetUnityRenderModeEventFunc()(m_Id);
}

std::vector<std::uint8_t> Player::ReadTexture(int x, int y, int width, int height) const {
    GLint savedFramebuffer = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &savedFramebuffer);
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, m_Objects.texture, 0);
    // Row 0 of the texture is the picture's top: the copy does not flip.
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    glReadPixels(x, y, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(savedFramebuffer));
    glDeleteFramebuffers(1, &framebuffer);
    return pixels;
}

std::vector<Vertex> Player::ReadVertices() const {
    return ReadBuffer<Vertex>(m_Objects.vertexBuffer, m_Sizes.vertexCount);
}

std::vector<std::uint32_t> Player::ReadIndices() const {
    return ReadBuffer<std::uint32_t>(m_Objects.indexBuffer, m_Sizes.indexCount);
}

}  // namespace Nimb::EngineStandIn
