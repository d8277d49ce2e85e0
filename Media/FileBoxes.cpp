// A box is a 32-bit big-endian size, a type, and a 64-bit size where the first is 1; size 0 reaches to the file's end.
#include "Media/FileBoxes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace Nimb::Media {
namespace {

constexpr std::size_t c_MaxBoxes = 4096;
constexpr std::uint64_t c_SizeIsToEnd = 0;
constexpr std::uint64_t c_SizeIsLong = 1;
constexpr std::uint64_t c_HeadBytes = 8;

std::uint64_t ReadBigEndian(const std::uint8_t* bytes, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

std::string TypeText(const std::uint8_t* bytes) {
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

std::optional<FileBoxes> ReadFileBoxes(const std::string& path, std::string* pProblem) {
    const auto fail = [&](const std::string& what) {
        if (pProblem != nullptr) {
            *pProblem = path + ": " + what;
        }
        return std::nullopt;
    };
    if (std::filesystem::is_directory(path)) {
        return fail("is a folder");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff end = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    if (end < 0) {
        return fail(std::string("cannot be opened: ") + std::strerror(errno));
    }
    FileBoxes result;
    result.fileSize = static_cast<std::uint64_t>(end);
    for (std::uint64_t offset = 0; offset < result.fileSize && result.boxes.size() < c_MaxBoxes;) {
        const std::uint64_t left = result.fileSize - offset;
        std::uint8_t head[16] = {};
        file.seekg(static_cast<std::streamoff>(offset));
        file.read(reinterpret_cast<char*>(head),
                  static_cast<std::streamsize>(std::min<std::uint64_t>(left, sizeof(head))));
        if (!file) {
            return fail("cannot be read at byte " + std::to_string(offset));
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

bool IsIndexWhole(const std::string& path) {
    const std::optional<FileBoxes> file = ReadFileBoxes(path, nullptr);
    const FileBox* const index = file ? file->Find("moov") : nullptr;
    return index == nullptr || !file->IsCut(*index);
}

}  // namespace Nimb::Media
