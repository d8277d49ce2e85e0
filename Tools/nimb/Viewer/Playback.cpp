#include "Tools/nimb/Viewer/Playback.h"

#include "Authoring/Scene/MeshSource.h"

#include <GLES3/gl3.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

namespace fs = std::filesystem;

namespace Nimb::Tool {
namespace {

void SetAttributes(const Authoring::FileAttributes& values, NimbFileInfo& info) {
    info.frameCount = values.frameCount;
    info.maxVertexCount = values.maxVertexCount;
    info.maxIndexCount = values.maxIndexCount;
    info.minX = values.bboxMin[0];
    info.minY = values.bboxMin[1];
    info.minZ = values.bboxMin[2];
    info.maxX = values.bboxMax[0];
    info.maxY = values.bboxMax[1];
    info.maxZ = values.bboxMax[2];
    info.hasNormals = values.hasVertexNormals.value_or(0) == 1 ? 1 : 0;
}

}  // namespace

std::string FindPlugin() {
    const char* const chosen = std::getenv("NIMB_PLUGIN");
    if (chosen != nullptr && *chosen != '\0') {
        return chosen;
    }
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return (program.parent_path().parent_path() / "lib" / "nimb" / "libNimbUnityPluginML.so").string();
}

Playback::Playback(const EngineStandIn::PluginLibrary& plugin, EngineStandIn::RenderThread& renderThread,
                   const ClipIndex& index, PlaybackOptions options)
    : m_Plugin(plugin), m_RenderThread(renderThread), m_Index(index), m_Options(std::move(options)) {
    Open();
}

/// In a player of its own, since a player's clock remembers changes of speed.
void Playback::Open() {
    m_Player = std::make_unique<EngineStandIn::Player>(m_Plugin, m_RenderThread);
    m_Plugin->SetComputeNormals(m_Player->Id(), m_Options.computeNormals ? 1 : 0);
    if (!m_Player->Open(m_Options.path, false, !m_Options.sound)) {
        throw Authoring::InputError(m_Options.path + ": the player cannot open it");
    }
    m_FileInfo = {};
    if (m_Plugin->GetQuorObjectFileInfo(m_Player->Id(), &m_FileInfo) == 0) {
        throw Authoring::InputError(m_Options.path + ": the player cannot tell its sizes");
    }
    if (m_Options.attributes) {
        SetAttributes(*m_Options.attributes, m_FileInfo);
    }
    m_Player->CreateBuffers(EngineStandIn::Player::SizesFor(m_FileInfo));
    m_Plugin->SetClockScale(m_Player->Id(), m_Options.speed);
    m_HasTimeline = true;
}

void Playback::Play() {
    m_Player->FrameInfo();  // forgets an earlier end
    m_HasEnd = false;
    m_EventsAfterEnd = 0;
    m_Plugin->PlayQuorObject(m_Player->Id());
    m_IsPlaying = true;
}

void Playback::Pause() {
    m_Plugin->PauseQuorObject(m_Player->Id());
    m_IsPlaying = false;
}

void Playback::Restart() {
    if (m_HasTimeline) {
        m_Plugin->RewindQuorObject(m_Player->Id());
    } else {
        Open();
    }
    Play();
}

void Playback::SetSpeed(float speed) {
    m_Options.speed = speed;
    m_HasTimeline = false;
    m_Plugin->SetClockScale(m_Player->Id(), speed);
}

void Playback::SetComputeNormals(bool computeNormals) {
    m_Options.computeNormals = computeNormals;
    m_Plugin->SetComputeNormals(m_Player->Id(), computeNormals ? 1 : 0);
}

std::optional<ShownFrame> Playback::Step() {
    const bool isNew = m_RenderThread.Run([this] { return StepOnRenderThread(); });
    const NimbFrameInfo info = m_Player->FrameInfo();
    m_HasEnd = m_HasEnd || info.endOfStream != 0;
    m_EventsAfterEnd = m_HasEnd && !isNew ? m_EventsAfterEnd + 1 : 0;
    if (!isNew) {
        return std::nullopt;
    }
    const EngineStandIn::BufferSizes& sizes = m_Player->Sizes();
    m_HasOversizedFrames = m_HasOversizedFrames || info.vertexCount > static_cast<unsigned>(sizes.vertexCount) ||
                           info.indexCount > static_cast<unsigned>(sizes.indexCount);
    ShownFrame shown{std::nullopt, info};
    if (m_HasTimeline) {
        shown.number = FrameAtTime(m_Index, info.timestamp / 10, static_cast<double>(m_Options.speed));
    }
    return shown;
}

/// What the player reports may be about a frame whose picture has yet to come. A picture in the texture is certain, and
/// the player never draws one without its mesh.
bool Playback::StepOnRenderThread() {
    GLuint query = 0;
    glGenQueries(1, &query);
    glBeginQuery(GL_ANY_SAMPLES_PASSED, query);
    m_Player->OnRender();
    glEndQuery(GL_ANY_SAMPLES_PASSED);
    GLuint hasDrawn = GL_FALSE;
    glGetQueryObjectuiv(query, GL_QUERY_RESULT, &hasDrawn);
    glDeleteQueries(1, &query);
    return hasDrawn != GL_FALSE;
}

}  // namespace Nimb::Tool
