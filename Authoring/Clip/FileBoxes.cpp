// A box is a 32-bit big-endian size, a type, and a 64-bit size where the first is 1; size 0 reaches to the file's end.
#include "Authoring/Clip/FileBoxes.h"

#include "Authoring/MeshSource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace Nimb::Authoring {
namespace {

constexpr std::size_t c_MaxBoxes = 4096;
constexpr UINT64 c_SizeIsToEnd = 0;
constexpr UINT64 c_SizeIsLong = 1;
constexpr UINT64 c_HeadBytes = 8;

UINT64 ReadBigEndian(const BYTE* bytes, std::size_t count) {
    UINT64 value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

std::string TypeText(const BYTE* bytes) {
    std::string text(bytes, bytes + 4);
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
    return text;
}

}  // namespace

const FileBox* FileBoxes::Find(const std::string& type) const {
    const auto it = std::find_if(boxes.begin(), boxes.end(), [&](const FileBox& box) { return box.type == type; });
    return it != boxes.end() ? &*it : nullptr;
}

FileBoxes ReadFileBoxes(const std::string& path) {
    if (std::filesystem::is_directory(path)) {
        throw InputError(path + ": is a folder");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff end = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    if (end < 0) {
        throw InputError(path + ": cannot be opened: " + std::strerror(errno));
    }
    FileBoxes result;
    result.fileSize = static_cast<UINT64>(end);
    for (UINT64 offset = 0; offset < result.fileSize && result.boxes.size() < c_MaxBoxes;) {
        const UINT64 left = result.fileSize - offset;
        BYTE head[16] = {};
        file.seekg(static_cast<std::streamoff>(offset));
        file.read(reinterpret_cast<char*>(head), static_cast<std::streamsize>(std::min<UINT64>(left, sizeof(head))));
        if (!file) {
            throw InputError(path + ": cannot be read at byte " + std::to_string(offset));
        }
        FileBox box{TypeText(head + 4), offset, ReadBigEndian(head, 4)};
        if (box.size == c_SizeIsToEnd) {
            box.size = left;
        } else if (box.size == c_SizeIsLong) {
            box.size = ReadBigEndian(head + 8, 8);
        }
        if (left < c_HeadBytes || box.size < c_HeadBytes) {
            result.boxes.push_back({"", offset, left});
            break;
        }
        result.boxes.push_back(box);
        if (box.size > left) {
            break;
        }
        offset += box.size;
    }
    return result;
}

}  // namespace Nimb::Authoring
