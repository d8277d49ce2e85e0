// Scaling pictures.
#pragma once

#include "Authoring/Scene/Image.h"

namespace Nimb::Authoring {

/// Every pixel becomes the mean of the area that it covers in `image`, so that fine patterns do not flicker when a
/// picture shrinks. Both sizes at least 1. The edges of the picture stay its edges.
Image ScaleImage(const Image& image, std::size_t width, std::size_t height);

}  // namespace Nimb::Authoring
