// The texture atlas: one picture that holds the textures of all materials, so that one video track carries them.
//
// Textures stand apart by a margin that repeats their edge pixels. Bilinear filtering and the video's halved colour
// resolution reach a few pixels beyond an edge, and find the texture's own colour there. Cells of texture and margin
// are whole 8 x 8 blocks, the units that the video is coded in, so coding errors do not spread between textures.
#pragma once

#include "Authoring/Scene/Image.h"

#include <array>
#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

struct PictureSize {
    std::size_t width = 0;
    std::size_t height = 0;
};

inline bool operator==(const PictureSize& a, const PictureSize& b) {
    return a.width == b.width && a.height == b.height;
}

/// Sizes of video pictures: even, since 4:2:0 has no others.
constexpr PictureSize c_SmallestAtlas = {16, 16};
constexpr PictureSize c_LargestAtlas = {4096, 4096};

/// Where a texture is in the atlas, in pixels, margin not included.
struct AtlasSlot {
    std::size_t x = 0;
    std::size_t y = 0;
    std::size_t width = 0;
    std::size_t height = 0;
};

struct AtlasLayout {
    PictureSize size;  ///< even
    std::vector<AtlasSlot> slots;

    /// One texture that fills the atlas; meshes need no texture transform then.
    bool IsWhole() const { return slots.size() == 1; }
};

/// Packs textures of these sizes, at least one, each at least 1 x 1, into the smallest atlas found that is no larger
/// than `limit`; they are scaled down, all by the same factor, when they do not fit otherwise. One texture becomes the
/// atlas itself. std::invalid_argument when `limit` is odd or not between c_SmallestAtlas and c_LargestAtlas, or when
/// there are more textures than it has cells for.
AtlasLayout LayOutAtlas(const std::vector<PictureSize>& textures, const PictureSize& limit = c_LargestAtlas);

/// The atlas's picture. One texture for each slot, of any size.
Image ComposeAtlas(const AtlasLayout& layout, const std::vector<const Image*>& textures);

/// The stored coefficients that move a texture's coordinates to its slot.
std::array<float, 6> SlotTransform(const AtlasLayout& layout, std::size_t slot);

}  // namespace Nimb::Authoring
