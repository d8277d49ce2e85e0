// The boxes of an MP4 file's top level: what the file consists of, before anyone interprets it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Media {

struct FileBox {
    std::string type;  ///< four characters, those that are not printable as '?'; empty: the rest of the file does not
                       ///< form a box
    std::uint64_t offset = 0;  ///< in the file
    std::uint64_t size = 0;    ///< as the box says, which may be beyond the end of the file
};

struct FileBoxes {
    std::uint64_t fileSize = 0;
    std::vector<FileBox> boxes;  ///< one behind the other; the first few thousand

    const FileBox* Find(const std::string& type) const;  ///< the first one; null: none
    bool IsCut(const FileBox& box) const { return box.size > fileSize - box.offset; }
};

/// Null when the file cannot be read: `*pProblem` (may be null) then says why, and names the file.
std::optional<FileBoxes> ReadFileBoxes(const std::string& path, std::string* pProblem);

/// False when the file ends inside its index ("moov"): libavformat would take what is there for everything, and leave
/// out tracks or give samples wrong times. True when there is no index to be seen, which libavformat then says.
bool IsIndexWhole(const std::string& path);

}  // namespace Nimb::Media
