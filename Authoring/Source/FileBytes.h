// Whole files in memory.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <string>
#include <string_view>
#include <vector>

namespace Nimb::Authoring {

/// Throws InputError, naming the file, when it cannot be read. `what` says in messages what the file was to be, as in
/// "the mesh". Every input file but sound is read here, so that none can be the output (see OutputGuard) and all can be
/// watched (see InputWatch).
std::vector<BYTE> ReadFileBytes(const std::string& path, const std::string& what);

inline std::string_view AsText(const std::vector<BYTE>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The path of a file that another file names: relative to that one's folder. Backslashes count as slashes.
std::string PathBeside(const std::string& file, std::string name);

}  // namespace Nimb::Authoring
