#include "Clip/Read/ClipAttributes.h"

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Scene/MeshSource.h"
#include "NimbCore/FileTail.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <algorithm>
#include <fstream>
#include <string_view>

namespace Nimb::Authoring {
namespace {

/// The last bytes of a file; empty when it has fewer, as players then look no further.
Bytes ReadTail(const std::string& path, UINT64* pOffset) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    if (size < 0) {
        throw InputError(path + ": cannot be opened");
    }
    constexpr auto window = static_cast<std::streamoff>(c_FileTailBytes);
    *pOffset = static_cast<UINT64>(std::max<std::streamoff>(size - window, 0));
    if (size < window) {
        return {};
    }
    Bytes tail(c_FileTailBytes);
    file.seekg(size - window);
    if (!file.read(reinterpret_cast<char*>(tail.data()), window)) {
        throw InputError(path + ": cannot be read at byte " + std::to_string(*pOffset));
    }
    return tail;
}

FileAttributes Collect(INimbAttributesCore& store) {
    FileAttributes values;
    store.GetUINT32(NimbAttrib_FrameCount, &values.frameCount);
    store.GetUINT32(NimbAttrib_MaxVertexCount, &values.maxVertexCount);
    store.GetUINT32(NimbAttrib_MaxIndexCount, &values.maxIndexCount);
    store.GetDouble(NimbAttrib_BBoxMinX, &values.bboxMin[0]);
    store.GetDouble(NimbAttrib_BBoxMinY, &values.bboxMin[1]);
    store.GetDouble(NimbAttrib_BBoxMinZ, &values.bboxMin[2]);
    store.GetDouble(NimbAttrib_BBoxMaxX, &values.bboxMax[0]);
    store.GetDouble(NimbAttrib_BBoxMaxY, &values.bboxMax[1]);
    store.GetDouble(NimbAttrib_BBoxMaxZ, &values.bboxMax[2]);
    UINT32 hasNormals = 0;
    if (Succeeded(store.GetUINT32(NimbAttrib_HasVertexNormals, &hasNormals))) {
        values.hasVertexNormals = hasNormals;
    }
    return values;
}

}  // namespace

ClipAttributes ReadClipAttributes(const std::string& path) {
    ClipAttributes result;
    const Bytes tail = ReadTail(path, &result.offset);
    if (tail.empty()) {
        result.problem = "the file is shorter than the " + std::to_string(c_FileTailBytes) +
                         " bytes at its end in which players look for the atom";
        return result;
    }
    const std::string_view text(reinterpret_cast<const char*>(tail.data()), tail.size());
    const std::size_t atom = text.find("Xtra");
    if (atom != std::string_view::npos) {
        result.offset += atom >= 4 ? atom - 4 : 0;  // the box begins with its size
    }
    const NIMBCORE::CComPtr<NimbCrossPlatform::Buffer> store(new NimbCrossPlatform::Buffer(1));
    const auto keep = [&result](const char* line) { result.problem = line; };
    if (NimbCrossPlatform::FindXtraAttributes(tail.data(), tail.size(), store.p, keep)) {
        result.values = Collect(*store.p);
    } else if (result.problem.empty()) {
        result.problem = "an entry of the atom is malformed or cut off";
    }
    return result;
}

}  // namespace Nimb::Authoring
