// The boxes of an MP4 file's top level: what the file consists of, before anyone interprets it.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <string>
#include <vector>

namespace Nimb::Authoring {

struct FileBox {
    std::string type;   ///< four characters, those that are not printable as '?'; empty: the rest of the file is no box
    UINT64 offset = 0;  ///< in the file
    UINT64 size = 0;    ///< as the box says, which may be beyond the end of the file
};

struct FileBoxes {
    UINT64 fileSize = 0;
    std::vector<FileBox> boxes;  ///< one behind the other; the first few thousand

    const FileBox* Find(const std::string& type) const;  ///< the first one; null: none
    bool IsCut(const FileBox& box) const { return box.size > fileSize - box.offset; }
};

/// Throws InputError, naming the file, when it cannot be read.
FileBoxes ReadFileBoxes(const std::string& path);

}  // namespace Nimb::Authoring
