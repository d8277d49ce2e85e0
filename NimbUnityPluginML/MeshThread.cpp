// The mesh thread: samples become mesh frames.
#include "NimbCore/NimbCrossPlatform.h"
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"

#include <new>

namespace Nimb::Plugin {

void QuorObject::MeshThreadFunc(UINT32 vertexFormat) {
    NIMB_LOG_INFO("[%i] Mesh thread starting", m_id);
    NIMB_LOG_INFO("[%i] using nimb vertex format = 0x%x", m_id, vertexFormat);
    ConcurrentQueue::Task task;
    while (m_meshTasks.Dequeue(&task)) {
        task();
        task = nullptr;  // lets go of the sample before the next wait
    }
    m_surface.Forget();
    ClearMeshFrames();
    m_textureCopy.CleanupGraphicsResources();
    NIMB_LOG_INFO("[%i] mesh thread exiting", m_id);
}

void QuorObject::DecodeSample(const std::vector<BYTE>& sample, std::int64_t timeStamp, FrameQueue::Ticket ticket,
                              ClipPlace place) {
    try {
        if (std::shared_ptr<MeshFrame> frame = ReadMeshFrame(sample, timeStamp, ticket, place)) {
            m_meshFrames.Push(std::move(frame), ticket);
            m_newestMesh = timeStamp / 1000;
            ReportReady();
            return;
        }
    } catch (const std::bad_alloc&) {
        NIMB_LOG_ERROR("[%i] out of memory: mesh frame dropped", m_id);
    }
    m_meshFrames.CountLost(ticket);
}

/// Decodes a mesh that later ones need and that is not shown.
void QuorObject::PassSample(const std::vector<BYTE>& sample, FrameQueue::Ticket ticket, std::int64_t frame) {
    if (ticket.file != m_meshFrames.CurrentTicket().file) {
        return;
    }
    try {
        DecodeMesh(sample, 0, ticket, {frame, 0});
    } catch (const std::bad_alloc&) {
        NIMB_LOG_ERROR("[%i] out of memory: mesh frame dropped", m_id);
    }
}

/// Decodes the mesh of one sample. Null when it is dropped; a payload that cannot be decoded is not logged here.
std::shared_ptr<MeshFrame> QuorObject::ReadMeshFrame(const std::vector<BYTE>& sample, std::int64_t timeStamp,
                                                     FrameQueue::Ticket ticket, ClipPlace place) {
    // Before anything can go wrong: the codec has counted the sample, too, whatever becomes of its mesh.
    const std::optional<std::int64_t> frameNumber = m_meshFrames.TakeNumber(ticket);
    if (!frameNumber) {
        return nullptr;
    }
    std::shared_ptr<MeshFrame> frame = DecodeMesh(sample, timeStamp, ticket, place);
    if (frame != nullptr) {
        frame->m_frameNumber = *frameNumber;
        frame->m_place = place;
    }
    return frame;
}

std::shared_ptr<MeshFrame> QuorObject::DecodeMesh(const std::vector<BYTE>& sample, std::int64_t timeStamp,
                                                  FrameQueue::Ticket ticket, ClipPlace place) {
    const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> stream(
        NimbCrossPlatform::FindCompressedMesh(sample.data(), sample.size()));
    if (stream == nullptr) {
        NIMB_LOG_ERROR("FindCompressedMesh returned null");
        m_troubles.Add(ticket.file, NimbTroubleReason_NoMesh, place.frame);
        return nullptr;
    }
    stream->m_Time = timeStamp;
    NIMBCORE::CComPtr<INimbBuffer> vertices;
    NIMBCORE::CComPtr<INimbBuffer> indices;
    if (Failed(m_meshReader.ReadMesh(stream, stream->m_Time / 100, &vertices, &indices))) {
        m_troubles.Add(ticket.file, NimbTroubleReason_DamagedMesh, place.frame);
        return nullptr;
    }
    return std::make_shared<MeshFrame>(vertices, indices, stream->m_Time);
}

}  // namespace Nimb::Plugin
