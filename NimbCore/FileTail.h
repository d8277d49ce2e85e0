// The end of a file, where its attribute atom is: writers put it there, readers look for it nowhere else.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <array>
#include <cstddef>

namespace Nimb {

constexpr std::size_t c_FileTailBytes = 1024;
using FileTail = std::array<BYTE, c_FileTailBytes>;

}  // namespace Nimb
