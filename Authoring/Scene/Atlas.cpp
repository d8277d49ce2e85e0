#include "Authoring/Scene/Atlas.h"

#include "Authoring/Codec/TextureTransform.h"
#include "Authoring/Scene/ImageScale.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>

namespace Nimb::Authoring {
namespace {

constexpr std::size_t c_Margin = 4;  // on each side of a texture
constexpr std::size_t c_Block = 8;

std::size_t RoundUp(std::size_t value, std::size_t multiple) {
    return (value + multiple - 1) / multiple * multiple;
}

std::size_t CellSide(std::size_t side) {
    return RoundUp(side + 2 * c_Margin, c_Block);
}

std::size_t Scaled(std::size_t side, double scale) {
    return std::max<std::size_t>(1, static_cast<std::size_t>(std::lround(static_cast<double>(side) * scale)));
}

std::vector<PictureSize> Scaled(std::vector<PictureSize> sizes, double scale) {
    for (PictureSize& size : sizes) {
        size = {Scaled(size.width, scale), Scaled(size.height, scale)};
    }
    return sizes;
}

/// What is filled so far, as a row of plateaus from left to right; everything above them is free.
class Skyline {
public:
    explicit Skyline(std::size_t width) : m_Plateaus{{0, 0, width}} {}

    /// Puts a cell where its far edge is nearest to the start, and returns its place.
    std::optional<AtlasSlot> Add(std::size_t width, std::size_t height) {
        std::size_t best = m_Plateaus.size();
        std::size_t bestY = std::numeric_limits<std::size_t>::max();
        for (std::size_t i = 0; i < m_Plateaus.size(); ++i) {
            const std::optional<std::size_t> y = HeightOver(i, width);
            if (y && *y < bestY) {
                best = i;
                bestY = *y;
            }
        }
        if (best == m_Plateaus.size()) {
            return std::nullopt;
        }
        const AtlasSlot cell{m_Plateaus[best].x, bestY, width, height};
        Cover(best, cell);
        return cell;
    }

private:
    struct Plateau {
        std::size_t x, y, width;
    };

    /// The height at which a cell comes to rest when its left side is that of a plateau; none where it would stick out
    /// on the right.
    std::optional<std::size_t> HeightOver(std::size_t first, std::size_t width) const {
        std::size_t y = 0;
        std::size_t covered = 0;
        for (std::size_t i = first; covered < width; ++i) {
            if (i == m_Plateaus.size()) {
                return std::nullopt;
            }
            y = std::max(y, m_Plateaus[i].y);
            covered += m_Plateaus[i].width;
        }
        return y;
    }

    void Cover(std::size_t first, const AtlasSlot& cell) {
        const std::size_t right = cell.x + cell.width;
        std::size_t last = first;
        while (last < m_Plateaus.size() && m_Plateaus[last].x + m_Plateaus[last].width <= right) {
            ++last;
        }
        if (last < m_Plateaus.size() && m_Plateaus[last].x < right) {
            m_Plateaus[last].width -= right - m_Plateaus[last].x;
            m_Plateaus[last].x = right;
        }
        const auto begin = m_Plateaus.begin() + static_cast<std::ptrdiff_t>(first);
        const auto end = m_Plateaus.begin() + static_cast<std::ptrdiff_t>(last);
        m_Plateaus.insert(m_Plateaus.erase(begin, end), {cell.x, cell.y + cell.height, cell.width});
    }

    std::vector<Plateau> m_Plateaus;
};

/// The layout for one width of the atlas; none when it would be higher than the limit.
std::optional<AtlasLayout> Pack(const std::vector<PictureSize>& textures, std::size_t width, std::size_t maxHeight) {
    std::vector<std::size_t> order(textures.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return textures[a].height > textures[b].height; });
    AtlasLayout layout{{width, c_SmallestAtlas.height}, std::vector<AtlasSlot>(textures.size())};
    Skyline skyline(width);
    for (const std::size_t i : order) {
        const std::optional<AtlasSlot> cell = skyline.Add(CellSide(textures[i].width), CellSide(textures[i].height));
        if (!cell || cell->y + cell->height > maxHeight) {
            return std::nullopt;
        }
        layout.slots[i] = {cell->x + c_Margin, cell->y + c_Margin, textures[i].width, textures[i].height};
        layout.size.height = std::max(layout.size.height, cell->y + cell->height);
    }
    return layout;
}

/// The layout with the smallest area; of two equal ones, the one nearer to a square.
std::optional<AtlasLayout> Pack(const std::vector<PictureSize>& textures, const PictureSize& limit) {
    std::optional<AtlasLayout> best;
    const auto cost = [](const AtlasLayout& layout) {
        return std::pair(layout.size.width * layout.size.height, layout.size.width + layout.size.height);
    };
    for (std::size_t width = c_SmallestAtlas.width; width <= limit.width; width += c_Block) {
        std::optional<AtlasLayout> layout = Pack(textures, width, limit.height);
        if (layout && (!best || cost(*layout) < cost(*best))) {
            best = std::move(layout);
        }
    }
    return best;
}

std::size_t EvenWithin(double side, std::size_t smallest, std::size_t largest) {
    return std::clamp(2 * static_cast<std::size_t>(std::lround(side / 2)), smallest, largest);
}

AtlasLayout WholeAtlas(const PictureSize& texture, const PictureSize& limit) {
    const double width = static_cast<double>(texture.width), height = static_cast<double>(texture.height);
    const double scale =
        std::min({1.0, static_cast<double>(limit.width) / width, static_cast<double>(limit.height) / height});
    const PictureSize size = {EvenWithin(width * scale, c_SmallestAtlas.width, limit.width),
                              EvenWithin(height * scale, c_SmallestAtlas.height, limit.height)};
    return {size, {{0, 0, size.width, size.height}}};
}

void CheckLimit(const PictureSize& limit) {
    if (limit.width % 2 != 0 || limit.height % 2 != 0 || limit.width < c_SmallestAtlas.width ||
        limit.height < c_SmallestAtlas.height || limit.width > c_LargestAtlas.width ||
        limit.height > c_LargestAtlas.height) {
        throw std::invalid_argument("the sides of an atlas must be even, from 16 to 4096 pixels");
    }
}

/// Copies a texture into its slot and repeats its edges all around, up to the borders of its cell.
void Place(const Image& texture, const AtlasSlot& slot, Image& atlas) {
    const std::size_t left = slot.x - c_Margin, top = slot.y - c_Margin;
    const std::size_t right = left + CellSide(slot.width), bottom = top + CellSide(slot.height);
    for (std::size_t y = top; y < bottom; ++y) {
        const std::size_t row = std::clamp(y, slot.y, slot.y + slot.height - 1) - slot.y;
        for (std::size_t x = left; x < right; ++x) {
            const std::size_t column = std::clamp(x, slot.x, slot.x + slot.width - 1) - slot.x;
            std::memcpy(atlas.Pixel(x, y), texture.Pixel(column, row), 4);
        }
    }
}

}  // namespace

AtlasLayout LayOutAtlas(const std::vector<PictureSize>& textures, const PictureSize& limit) {
    CheckLimit(limit);
    if (textures.size() == 1) {
        return WholeAtlas(textures.front(), limit);
    }
    if (std::optional<AtlasLayout> layout = Pack(textures, limit)) {
        return *layout;
    }
    std::optional<AtlasLayout> best = Pack(Scaled(textures, 0), limit);
    if (!best) {
        throw std::invalid_argument("an atlas of " + std::to_string(limit.width) + " x " +
                                    std::to_string(limit.height) + " has no room for " +
                                    std::to_string(textures.size()) + " textures");
    }
    double fits = 0, tooLarge = 1;
    for (int step = 0; step < 12; ++step) {
        const double scale = (fits + tooLarge) / 2;
        if (std::optional<AtlasLayout> layout = Pack(Scaled(textures, scale), limit)) {
            best = std::move(layout);
            fits = scale;
        } else {
            tooLarge = scale;
        }
    }
    return *best;
}

Image ComposeAtlas(const AtlasLayout& layout, const std::vector<const Image*>& textures) {
    if (layout.IsWhole()) {
        return ScaleImage(*textures.front(), layout.size.width, layout.size.height);
    }
    Image atlas(layout.size.width, layout.size.height);
    for (std::size_t i = 0; i < textures.size(); ++i) {
        const AtlasSlot& slot = layout.slots[i];
        Place(ScaleImage(*textures[i], slot.width, slot.height), slot, atlas);
    }
    return atlas;
}

std::array<float, 6> SlotTransform(const AtlasLayout& layout, std::size_t slot) {
    const double width = static_cast<double>(layout.size.width), height = static_cast<double>(layout.size.height);
    const AtlasSlot& s = layout.slots[slot];
    const Nimb::STransform wanted = PlaceInAtlas(static_cast<float>(static_cast<double>(s.width) / width),
                                                 static_cast<float>(static_cast<double>(s.height) / height),
                                                 static_cast<float>(static_cast<double>(s.x) / width),
                                                 static_cast<float>(static_cast<double>(s.y) / height));
    // Slots are not rotated and have an area, so the coefficients exist.
    return SolveTransform(wanted).value();
}

}  // namespace Nimb::Authoring
