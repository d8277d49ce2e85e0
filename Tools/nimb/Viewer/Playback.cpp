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

std::string SeekReasonText(NimbSeekReason reason) {
    switch (reason) {
        case NimbSeekReason_None:
            break;
        case NimbSeekReason_Closed:
            return "the player was closed";
        case NimbSeekReason_NoIndex:
            return "the file's index cannot be read";
        case NimbSeekReason_OutOfRange:
            return "the file's index does not have it";
        case NimbSeekReason_NoMesh:
            return "it has no mesh, or a damaged one";
        case NimbSeekReason_NoPicture:
            return "the decoder does not yield its picture";
        case NimbSeekReason_Platform:
            return "the platform refuses, again and again";
    }
    return "the player does not say why";
}

Playback::Playback(const EngineStandIn::PluginLibrary& plugin, EngineStandIn::RenderThread& renderThread,
                   const ClipIndex& index, PlaybackOptions options)
    : m_Plugin(plugin),
      m_RenderThread(renderThread),
      m_Options(std::move(options)),
      m_Player(std::make_unique<EngineStandIn::Player>(m_Plugin, m_RenderThread)),
      m_LastFrame(index.FrameCount() - 1),
      m_Timeline(index, static_cast<double>(m_Options.speed)) {
    m_Plugin->SetComputeNormals(m_Player->Id(), m_Options.computeNormals ? 1 : 0);
    if (!m_Player->Open(m_Options.path, false, !m_Options.sound)) {
        throw Authoring::InputError(m_Options.path + ": the player cannot open it");
    }
    if (m_Plugin->GetQuorObjectFileInfo(m_Player->Id(), &m_FileInfo) == 0) {
        throw Authoring::InputError(m_Options.path + ": the player cannot tell its sizes");
    }
    if (m_Options.attributes) {
        SetAttributes(*m_Options.attributes, m_FileInfo);
    }
    m_Player->CreateBuffers(EngineStandIn::Player::SizesFor(m_FileInfo));
    m_Plugin->SetClockScale(m_Player->Id(), m_Options.speed);
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
    m_Plugin->RewindQuorObject(m_Player->Id());
    m_Timeline.Start();
    TakeSeekEnds();
    Play();
}

void Playback::SetSpeed(float speed) {
    m_Options.speed = speed;
    m_Plugin->SetClockScale(m_Player->Id(), speed);
    m_Timeline.SetSpeed(static_cast<double>(speed));
}

void Playback::Seek(int frame, std::uint32_t options) {
    Await(m_Player->Seek(frame, options));
}

void Playback::StepBy(int frames) {
    Await(m_Player->Step(frames));
}

/// With a file open, the player gives a ticket for each request; one that it refuses leaves the state as it is.
void Playback::Await(std::int64_t ticket) {
    m_Player->FrameInfo();  // forgets an earlier end
    m_HasEnd = false;
    m_EventsAfterEnd = 0;
    m_Ticket = ticket;
    m_IsPlaying = m_Plugin->GetQuorState(m_Player->Id()) == NimbState_Playing;
}

bool Playback::PlayRange(int first, int last) {
    if (!m_Player->SetPlayRange(first, last, true)) {
        return false;
    }
    // By way of another frame: where the first one is shown already, playback would go on with what has been decoded
    // ahead, which may lie behind the range.
    Seek(first > 0 ? 0 : m_LastFrame, 0);
    Seek(first, 0);
    m_Timeline.SetRange(first, last);
    return true;
}

void Playback::ClearRange() {
    m_Player->SetPlayRange(0, -1, false);
    m_Timeline.ClearRange();
}

void Playback::SetComputeNormals(bool computeNormals) {
    m_Options.computeNormals = computeNormals;
    m_Plugin->SetComputeNormals(m_Player->Id(), computeNormals ? 1 : 0);
}

std::optional<ShownFrame> Playback::Render() {
    const bool isNew = m_RenderThread.Run([this] { return RenderOnRenderThread(); });
    const NimbFrameInfo info = m_Player->FrameInfo();
    const bool hasArrived = TakeSeekEnds() && m_SeekEnd.result == NimbSeekResult_Done;
    m_HasEnd = m_HasEnd || info.endOfStream != 0;
    m_EventsAfterEnd = m_HasEnd && !isNew ? m_EventsAfterEnd + 1 : 0;
    if (!isNew && !hasArrived) {
        return std::nullopt;
    }
    const EngineStandIn::BufferSizes& sizes = m_Player->Sizes();
    m_HasOversizedFrames = m_HasOversizedFrames || info.vertexCount > static_cast<unsigned>(sizes.vertexCount) ||
                           info.indexCount > static_cast<unsigned>(sizes.indexCount);
    if (hasArrived) {
        m_Timeline.Place(static_cast<int>(m_SeekEnd.frame), info.timestamp / 10);
        return ShownFrame{static_cast<int>(m_SeekEnd.frame), info};
    }
    return ShownFrame{m_Timeline.Follow(info.timestamp / 10), info};
}

/// True when the request under way has ended.
bool Playback::TakeSeekEnds() {
    if (!CanSeek()) {
        return false;
    }
    bool hasEnded = false;
    while (const std::optional<NimbSeekEnd> end = m_Player->TakeSeekEnd()) {
        if (end->ticket == m_Ticket) {
            m_SeekEnd = *end;
            m_Ticket = 0;
            hasEnded = true;
        }
    }
    return hasEnded;
}

/// What the player reports may be about a frame whose picture has yet to come. A picture in the texture is certain, and
/// the player never draws one without its mesh.
bool Playback::RenderOnRenderThread() {
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
