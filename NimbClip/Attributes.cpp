#include "NimbClip/Attributes.h"

#include "NimbCore/FileTail.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"

namespace Nimb {
namespace Clip {

void ReadAttributes(const ByteSource& source, nimb_clip_info& info) {
    if (source.Size() < c_FileTailBytes) {
        return;
    }
    Bytes tail;
    source.Read(source.Size() - c_FileTailBytes, c_FileTailBytes, tail);
    const NIMBCORE::CComPtr<NimbCrossPlatform::Buffer> store(new NimbCrossPlatform::Buffer(1));
    if (!NimbCrossPlatform::FindXtraAttributes(tail.data(), tail.size(), store.p, [](const char*) {})) {
        return;
    }
    info.has_attributes = 1;
    store->GetUINT32(NimbAttrib_MaxVertexCount, &info.max_vertices);
    store->GetUINT32(NimbAttrib_MaxIndexCount, &info.max_indices);
    store->GetUINT32(NimbAttrib_HasVertexNormals, &info.has_normals);
    const _GUID* const box[2][3] = {{&NimbAttrib_BBoxMinX, &NimbAttrib_BBoxMinY, &NimbAttrib_BBoxMinZ},
                                    {&NimbAttrib_BBoxMaxX, &NimbAttrib_BBoxMaxY, &NimbAttrib_BBoxMaxZ}};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        store->GetDouble(*box[0][axis], &info.box_min[axis]);
        store->GetDouble(*box[1][axis], &info.box_max[axis]);
    }
}

}  // namespace Clip
}  // namespace Nimb
