#include "Tools/nimb/WebPlayer.h"

#include "Authoring/Scene/MeshSource.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace Nimb::Tool {
namespace {

/// Builds and installations have the same layout.
fs::path FolderBesideTool() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return program.parent_path().parent_path() / "share" / "nimb" / "web";
}

}  // namespace

std::string FindWebPlayer(std::initializer_list<const char*> needed) {
    const char* const chosen = std::getenv("NIMB_WEB");
    const fs::path folder = chosen != nullptr && *chosen != '\0' ? fs::path(chosen) : FolderBesideTool();
    for (const char* const name : needed) {
        std::error_code error;
        if (!fs::is_regular_file(folder / name, error)) {
            throw Authoring::InputError(
                (folder / name).string() +
                ": the web player is not there.\n  Build it with `cmake --build --preset release --target web`, which "
                "needs npm, python3, emscripten and node-acorn,\n  or name the folder that has it in NIMB_WEB.");
        }
    }
    return folder.string();
}

}  // namespace Nimb::Tool
