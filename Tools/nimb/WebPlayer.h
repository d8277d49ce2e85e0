// The built files of the web player (Web/), as `nimb web` puts them beside its pages.
#pragma once

#include <initializer_list>
#include <string>

namespace Nimb::Tool {

constexpr const char c_WebPlayer[] = "nimb-player.js";
constexpr const char c_WebWorker[] = "nimb-player-worker.js";
constexpr const char c_WebModule[] = "nimb-clip.wasm";
constexpr const char c_WebInlinePlayer[] = "nimb-player-inline.js";

/// The folder that has them: NIMB_WEB, or where the tool is built or installed. Throws Authoring::InputError, with how
/// to build them, unless it has all of the files that are needed.
std::string FindWebPlayer(std::initializer_list<const char*> needed);

}  // namespace Nimb::Tool
