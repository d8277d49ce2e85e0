// A walk over the boxes of a file's top level: 32-bit big-endian size, type, and a 64-bit size where the first is 1.
#include "IndexBox.h"

#include <cstdint>
#include <cstring>
#include <fstream>

namespace Nimb::Desktop {
namespace {

// Files have a handful; one that has more is not walked to its end.
constexpr int c_MaxBoxes = 4096;
constexpr uint64_t c_SizeIsLong = 1;
constexpr uint64_t c_SizeIsToEnd = 0;

uint64_t ReadBigEndian(const unsigned char* bytes, int count) {
    uint64_t value = 0;
    for (int i = 0; i < count; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

}  // namespace

bool IsIndexWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff end = file.tellg();
    uint64_t left = end > 0 ? static_cast<uint64_t>(end) : 0;
    for (int i = 0; i < c_MaxBoxes && left >= 8; ++i) {
        unsigned char head[16] = {};
        file.seekg(end - static_cast<std::streamoff>(left));
        file.read(reinterpret_cast<char*>(head), left >= sizeof head ? sizeof head : 8);
        if (!file.good()) {
            return true;
        }
        uint64_t size = ReadBigEndian(head, 4);
        if (size == c_SizeIsToEnd) {
            size = left;
        } else if (size == c_SizeIsLong) {
            size = ReadBigEndian(head + 8, 8);
        }
        if (std::memcmp(head + 4, "moov", 4) == 0) {
            return size <= left;
        }
        if (size < 8 || size > left) {
            return true;
        }
        left -= size;
    }
    return true;
}

}  // namespace Nimb::Desktop
