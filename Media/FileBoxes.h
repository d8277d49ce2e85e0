// The boxes of an MP4 file's top level: what the file consists of, before anyone interprets it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Media {

struct FileBox {
    std::string type;          ///< four characters, unprintable ones as '?'; empty: the file's rest is not a box
    std::uint64_t offset = 0;  ///< in the file
    std::uint64_t size = 0;    ///< as the box says, which may be beyond the end of the file
};

struct FileBoxes {
    std::uint64_t fileSize = 0;
    std::vector<FileBox> boxes;  ///< one after the other; the first few thousand

    const FileBox* Find(const std::string& type) const;  ///< the first one; null: none
    bool IsCut(const FileBox& box) const { return box.size > fileSize - box.offset; }
};

/// Null when the file cannot be read: `*pProblem` (may be null) then says why, and names the file.
std::optional<FileBoxes> ReadFileBoxes(const std::string& path, std::string* pProblem);

/// False when the file ends inside its index ("moov"): libavformat would take what is left for the whole index, and
/// drop tracks or give samples wrong times. True when no index is found, which libavformat then reports.
bool IsIndexWhole(const std::string& path);

}  // namespace Nimb::Media
