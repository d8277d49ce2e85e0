// What the parts of the fake platform know of each other's clips.
#pragma once

#include "FakePlatform.h"

#include <memory>

namespace Fake {

std::shared_ptr<const Clip> FindClip(const std::string& uri);

}  // namespace Fake
