// Colours for the pixels of a picture that have none.
#pragma once

#include "Authoring/Scene/Image.h"

#include <vector>

namespace Nimb::Authoring {

/// Gives colours to all pixels but the `known` ones (one byte for each pixel, not 0): up to four pixels away those of
/// the nearest, further away a smooth mixture of what is around. A picture without any known pixel stays as it is.
void FillUnknown(Image& image, std::vector<BYTE> known);

}  // namespace Nimb::Authoring
