// What is known of the open file: its attribute atom, its size and its tracks.
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

namespace Nimb::Plugin {
namespace {

constexpr double c_BytesToMegabytes = 9.5367431640625e-07;  // 2^-20

}  // namespace

bool QuorObject::GetFileInfo(NimbFileInfo* info) {
    bool failed = false;
    if (m_xtraData == nullptr) {
        NIMB_LOG_WARNING("[%i] Failed to read file attributes", m_id);
    } else if (!ReadFileAttributes(info, &failed) && failed) {
        return false;
    }

    info->textureWidth = static_cast<std::uint32_t>(m_textureWidth);
    info->textureHeight = static_cast<std::uint32_t>(m_textureHeight);
    info->hasAudio = m_audioCodec != ML_INVALID_HANDLE ? 1 : 0;
    const double fileSizeMB = m_fileSize * c_BytesToMegabytes;
    info->fileSizeMB = static_cast<float>(fileSizeMB);

    info->duration = WrappingMultiply(m_durationUs, 10);
    info->bitrateMbps = static_cast<float>(fileSizeMB * 8 / (static_cast<double>(m_durationUs) / 1000000.0));

    NIMB_LOG_INFO("[%i] texture size = %i, %i", m_id, m_textureWidth, m_textureHeight);
    NIMB_LOG_INFO("[%i] has audio = %i", m_id, info->hasAudio);
    NIMB_LOG_INFO("[%i] file size = %i MB", m_id, static_cast<int>(info->fileSizeMB));
    NIMB_LOG_INFO("[%i] duration = %li (100 ns)", m_id, static_cast<long>(info->duration));
    NIMB_LOG_INFO("[%i] bitrate = %.3f Mbps", m_id, static_cast<double>(info->bitrateMbps));
    return true;
}

/// True when all required attributes were stored in the record. False with `*pFailed` set when one is missing although
/// the atom was read: the whole call fails then. False without it when there is no usable atom, which is no failure.
bool QuorObject::ReadFileAttributes(NimbFileInfo* info, bool* pFailed) {
    const NIMBCORE::CComPtr<NimbCrossPlatform::Buffer> store(new NimbCrossPlatform::Buffer(1));
    if (!NimbCrossPlatform::ReadXtraAttributes(m_xtraData->data(), c_FileTailBytes, store.p)) {
        return false;
    }
    *pFailed = Failed(store->GetUINT32(NimbAttrib_FrameCount, &info->frameCount)) ||
               Failed(store->GetUINT32(NimbAttrib_MaxVertexCount, &info->maxVertexCount)) ||
               Failed(store->GetUINT32(NimbAttrib_MaxIndexCount, &info->maxIndexCount)) ||
               Failed(store->GetDouble(NimbAttrib_BBoxMinX, &info->minX)) ||
               Failed(store->GetDouble(NimbAttrib_BBoxMaxX, &info->maxX)) ||
               Failed(store->GetDouble(NimbAttrib_BBoxMinY, &info->minY)) ||
               Failed(store->GetDouble(NimbAttrib_BBoxMaxY, &info->maxY)) ||
               Failed(store->GetDouble(NimbAttrib_BBoxMinZ, &info->minZ)) ||
               Failed(store->GetDouble(NimbAttrib_BBoxMaxZ, &info->maxZ));
    if (*pFailed) {
        return false;
    }
    UINT32 hasNormals = 0;
    if (Succeeded(store->GetUINT32(NimbAttrib_HasVertexNormals, &hasNormals))) {
        info->hasNormals = hasNormals == 1 ? 1 : 0;
        NIMB_LOG_INFO("[%i] GetFileInfo: hasNormals = %s", m_id, info->hasNormals != 0 ? "true" : "false");
    }
    NIMB_LOG_INFO("[%i] Successfully read file attributes:", m_id);
    NIMB_LOG_INFO("\tframe count = %i", static_cast<int>(info->frameCount));
    NIMB_LOG_INFO("\tmax verts = %i", static_cast<int>(info->maxVertexCount));
    NIMB_LOG_INFO("\tmax indices = %i", static_cast<int>(info->maxIndexCount));
    NIMB_LOG_INFO("\tmin x = %f", info->minX);
    NIMB_LOG_INFO("\tmax x = %f", info->maxX);
    NIMB_LOG_INFO("\tmin y = %f", info->minY);
    NIMB_LOG_INFO("\tmax y = %f", info->maxY);
    NIMB_LOG_INFO("\tmin z = %f", info->minZ);
    NIMB_LOG_INFO("\tmax z = %f", info->maxZ);
    return true;
}

}  // namespace Nimb::Plugin
