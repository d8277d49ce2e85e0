#include "Authoring/Source/ScenePaint.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <utility>

namespace Nimb::Authoring {
namespace {

bool HasAlpha(const PaintedSurface& surface) {
    return std::any_of(surface.colours.begin(), surface.colours.end(),
                       [](const Colour& colour) { return colour[3] < 1; });
}

}  // namespace

void PaintScene(Scene& scene, const std::string& name, const PaintSizeOf& sizeOf) {
    for (std::size_t i = 0; i < scene.materials.size(); ++i) {
        SourceMaterial& material = scene.materials[i];
        std::vector<ScenePrimitive*> primitives;
        for (ScenePrimitive& primitive : scene.primitives) {
            if (primitive.material == i) {
                primitives.push_back(&primitive);
            }
        }
        const bool hasColours = std::any_of(primitives.begin(), primitives.end(),
                                            [](const ScenePrimitive* p) { return p->painted.has_value(); });
        if (material.picture) {
            continue;
        }
        const std::optional<PictureSize> size = sizeOf(scene.materials, i, hasColours);
        if (size == c_NotPainted) {
            continue;
        }
        std::deque<PaintedSurface> white;
        std::vector<PaintedSurface*> surfaces;
        for (ScenePrimitive* const primitive : primitives) {
            if (!primitive->painted) {
                white.push_back(
                    SurfaceOf(primitive->surface.faces, std::vector<Colour>(primitive->positions.size(), c_White)));
            } else if (material.transparency == Transparency::ByAlpha && HasAlpha(*primitive->painted)) {
                material.transparency = Transparency::Always;
            }
            surfaces.push_back(primitive->painted ? &*primitive->painted : &white.back());
        }
        material.painting = std::make_shared<const Painting>(
            Paint(surfaces, material.colour, size, name + ": material " + material.name));
        for (std::size_t p = 0; p < primitives.size(); ++p) {
            // All vertices of a white surface are at one point.
            primitives[p]->surface.texCoords =
                primitives[p]->painted
                    ? std::move(surfaces[p]->texCoords)
                    : std::vector<Vec2>(primitives[p]->positions.size(), surfaces[p]->texCoords.front());
            primitives[p]->painted.reset();
        }
    }
}

}  // namespace Nimb::Authoring
