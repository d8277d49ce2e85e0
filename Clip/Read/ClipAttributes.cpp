#include "Clip/Read/ClipAttributes.h"

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Scene/MeshSource.h"
#include "Clip/Read/AssertionCapture.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string_view>

namespace Nimb::Authoring {
namespace {

/// While it lives, standard output goes to a file without a name.
class OutputCapture {
public:
    OutputCapture() : m_File(std::tmpfile()) {
        if (m_File != nullptr) {
            std::fflush(stdout);
            m_Saved = dup(STDOUT_FILENO);
            dup2(fileno(m_File), STDOUT_FILENO);
        }
    }
    ~OutputCapture() {
        Restore();
        if (m_File != nullptr) {
            std::fclose(m_File);
        }
    }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /// What was printed, without the end of its last line.
    std::string Finish() {
        Restore();
        std::string text;
        if (m_File != nullptr) {
            std::rewind(m_File);
            for (int c = std::fgetc(m_File); c != EOF; c = std::fgetc(m_File)) {
                text.push_back(static_cast<char>(c));
            }
        }
        while (!text.empty() && text.back() == '\n') {
            text.pop_back();
        }
        return text;
    }

private:
    void Restore() {
        if (m_Saved >= 0) {
            std::fflush(stdout);
            dup2(m_Saved, STDOUT_FILENO);
            close(m_Saved);
            m_Saved = -1;
        }
    }

    std::FILE* m_File;
    int m_Saved = -1;
};

/// The last bytes of a file; empty when it has fewer, as players then look no further.
Bytes ReadTail(const std::string& path, UINT64* pOffset) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    if (size < 0) {
        throw InputError(path + ": cannot be opened");
    }
    constexpr auto window = static_cast<std::streamoff>(c_AttributeAtomWindow);
    *pOffset = static_cast<UINT64>(std::max<std::streamoff>(size - window, 0));
    if (size < window) {
        return {};
    }
    Bytes tail(c_AttributeAtomWindow);
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
        result.problem = "the file is shorter than the " + std::to_string(c_AttributeAtomWindow) +
                         " bytes at its end in which players look for the atom";
        return result;
    }
    const std::string_view text(reinterpret_cast<const char*>(tail.data()), tail.size());
    const std::size_t atom = text.find("Xtra");
    if (atom != std::string_view::npos) {
        result.offset += atom >= 4 ? atom - 4 : 0;  // the box begins with its size
    }
    const NIMBCORE::CComPtr<NimbCrossPlatform::Buffer> store(new NimbCrossPlatform::Buffer(1));
    const AssertionCapture assertions;
    OutputCapture output;
    const bool isRead = NimbCrossPlatform::ReadXtraAttributes(tail.data(), tail.size(), store.p);
    const std::string printed = output.Finish();
    if (isRead) {
        result.values = Collect(*store.p);
    } else {
        result.problem = !printed.empty()             ? printed
                         : !assertions.Text().empty() ? assertions.Text()
                                                      : "an entry of the atom is malformed or cut off";
    }
    return result;
}

}  // namespace Nimb::Authoring
