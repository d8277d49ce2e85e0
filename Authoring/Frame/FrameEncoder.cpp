#include "Authoring/Frame/FrameEncoder.h"

#include "Authoring/Frame/SubMeshEncoder.h"
#include "Authoring/Frame/TemporalFrame.h"
#include "Authoring/Frame/Topology.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// A strip frame has room for none of these.
bool SaysMoreThanStripsCan(const KeyFrameOptions& options) {
    return options.subMeshId || options.frameId || options.normals || options.unsignedUVs || options.indicesFirst;
}

KeyFrameOptions KeyOptions(const FrameOptions& frame, const CodingOptions& clip) {
    KeyFrameOptions key;
    static_cast<FrameOptions&>(key) = frame;
    key.indices = clip.indices;
    key.keepVertexOrder = clip.keepVertexOrder;
    return key;
}

DeltaFrameOptions DeltaOptions(const FrameOptions& frame, const CodingOptions& clip) {
    DeltaFrameOptions delta;
    static_cast<FrameOptions&>(delta) = frame;
    delta.coding = clip.delta.value_or(DeltaCoding::Smallest);
    delta.maxError = clip.maxError;
    return delta;
}

void CheckIds(std::vector<UINT32> ids) {
    std::sort(ids.begin(), ids.end());
    if (std::adjacent_find(ids.begin(), ids.end()) != ids.end()) {
        throw std::invalid_argument("two sub-frames have the same sub-mesh id");
    }
}

void CheckHasMesh(const Mesh* mesh) {
    if (mesh == nullptr) {
        throw std::invalid_argument("a sub-frame needs a mesh");
    }
}

}  // namespace

FrameEncoder::FrameEncoder() = default;
FrameEncoder::~FrameEncoder() = default;

SubMeshEncoder* FrameEncoder::Find(UINT32 subMeshId) const {
    const auto found = m_SubMeshes.find(static_cast<INT32>(subMeshId));
    return found != m_SubMeshes.end() ? found->second.get() : nullptr;
}

SubMeshEncoder& FrameEncoder::Get(UINT32 subMeshId) const {
    SubMeshEncoder* const found = Find(subMeshId);
    if (found == nullptr) {
        throw std::invalid_argument("the sub-mesh has no key frame");
    }
    return *found;
}

const std::vector<UINT32>& FrameEncoder::VertexOrder(UINT32 subMeshId) const {
    return Get(subMeshId).VertexOrder();
}

void FrameEncoder::LookAhead(const Mesh& mesh, UINT32 subMeshId) {
    Get(subMeshId).LookAhead(mesh);
}

EncodedFrame FrameEncoder::EncodeKey(const Mesh& mesh, const KeyFrameOptions& options, bool mayBeStrips) {
    const UINT32 id = options.subMeshId.value_or(0);
    if (SubMeshEncoder* const found = Find(id)) {
        return found->KeyFrame(mesh, options, mayBeStrips);
    }
    auto added = std::make_unique<SubMeshEncoder>();
    EncodedFrame frame = added->KeyFrame(mesh, options, mayBeStrips);
    m_SubMeshes[static_cast<INT32>(id)] = std::move(added);
    return frame;
}

EncodedFrame FrameEncoder::KeyFrame(const Mesh& mesh, const KeyFrameOptions& options) {
    return EncodeKey(mesh, options, !SaysMoreThanStripsCan(options));
}

EncodedFrame FrameEncoder::DeltaFrame(const Mesh& mesh, const DeltaFrameOptions& options) {
    return Get(options.subMeshId.value_or(0)).DeltaFrame(mesh, options);
}

EncodedFrame FrameEncoder::TemporalFrame(const std::vector<SubFrame>& subFrames, const FrameOptions& options) {
    std::vector<UINT32> ids;
    for (const SubFrame& sub : subFrames) {
        CheckHasMesh(sub.mesh);
        if (!sub.delta && sub.key.indices && IsStrips(*sub.key.indices)) {
            throw std::invalid_argument("a sub-frame needs triangle lists");
        }
        ids.push_back((sub.delta ? sub.delta->subMeshId : sub.key.subMeshId).value_or(0));
    }
    CheckIds(ids);
    std::vector<PlacedFrame> frames;
    for (const SubFrame& sub : subFrames) {
        frames.push_back({sub.delta ? DeltaFrame(*sub.mesh, *sub.delta) : EncodeKey(*sub.mesh, sub.key, false),
                          sub.textureTransform});
    }
    ForgetUnused();
    return AssembleTemporalFrame(frames, options);
}

EncodedFrame FrameEncoder::NextFrame(const Mesh& mesh, const CodingOptions& options) {
    SubMeshEncoder* const found = Find(options.frame.subMeshId.value_or(0));
    const bool due =
        options.keyFrameInterval > 0 && found != nullptr && found->FramesSinceKey() + 1 >= options.keyFrameInterval;
    if (found != nullptr && !due) {
        if (std::optional<EncodedFrame> delta = found->TryDeltaFrame(mesh, DeltaOptions(options.frame, options))) {
            return std::move(*delta);
        }
    }
    return KeyFrame(mesh, KeyOptions(options.frame, options));
}

EncodedFrame FrameEncoder::NextTemporalFrame(const std::vector<SubMesh>& subMeshes, const CodingOptions& options) {
    std::vector<UINT32> ids;
    for (const SubMesh& sub : subMeshes) {
        CheckHasMesh(sub.mesh);
        ids.push_back(sub.id);
    }
    CheckIds(ids);
    const bool due = options.keyFrameInterval > 0 && m_FramesSinceAllKeys + 1 >= options.keyFrameInterval;
    FrameOptions subFrame;
    subFrame.normals = options.frame.normals;
    subFrame.unsignedUVs = options.frame.unsignedUVs;
    std::vector<PlacedFrame> frames;
    for (const SubMesh& sub : subMeshes) {
        subFrame.subMeshId = sub.id;
        SubMeshEncoder* const found = Find(sub.id);
        std::optional<EncodedFrame> frame;
        if (found != nullptr && !due && !sub.newTopology) {
            frame = found->TryDeltaFrame(*sub.mesh, DeltaOptions(subFrame, options));
        }
        if (!frame) {
            frame = EncodeKey(*sub.mesh, KeyOptions(subFrame, options), false);
        }
        frames.push_back({std::move(*frame), sub.textureTransform});
    }
    ForgetUnused();
    EncodedFrame frame = AssembleTemporalFrame(frames, options.frame);
    m_FramesSinceAllKeys = frame.isKeyFrame ? 0 : m_FramesSinceAllKeys + 1;
    return frame;
}

/// What a reader does after a temporal frame: contexts that no frame has used since the last time are dropped.
void FrameEncoder::ForgetUnused() {
    for (auto subMesh = m_SubMeshes.begin(); subMesh != m_SubMeshes.end();) {
        subMesh = subMesh->second->TakeIsInUse() ? std::next(subMesh) : m_SubMeshes.erase(subMesh);
    }
}

}  // namespace Nimb::Authoring
