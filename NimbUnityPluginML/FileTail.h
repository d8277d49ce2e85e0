// The end of a file, where its attribute atom is.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <array>
#include <cstddef>

namespace Nimb::Plugin {

constexpr std::size_t c_FileTailBytes = 1024;
using FileTail = std::array<BYTE, c_FileTailBytes>;

}  // namespace Nimb::Plugin
