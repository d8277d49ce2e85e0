#include "Authoring/Source/GltfMaterial.h"

#include "Authoring/Source/Narrow.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

Wrap WrapOf(const Json& sampler, const char* key) {
    const std::size_t mode = IndexIn(sampler, key, 10497);
    return mode == 33071 ? Wrap::Clamp : mode == 33648 ? Wrap::Mirror : Wrap::Repeat;
}

}  // namespace

Vec2 TextureUse::Apply(double u, double v) const {
    const double c = std::cos(rotation), s = std::sin(rotation);
    return {Narrowed(offset[0] + c * scale[0] * u + s * scale[1] * v),
            Narrowed(offset[1] - s * scale[0] * u + c * scale[1] * v)};
}

SourceMaterial ReadGltfMaterial(const GltfFile& file, std::size_t index) {
    SourceMaterial material;
    if (index == file.Count("materials")) {
        material.name = "default";
        return material;
    }
    const Json& object = file.Element("materials", index);
    material.name = object.value("name", "material " + std::to_string(index));
    const bool isOpaque = object.value("alphaMode", "OPAQUE") == "OPAQUE";
    material.transparency = isOpaque ? Transparency::None : Transparency::ByAlpha;
    const Json surface = object.value("pbrMetallicRoughness", Json::object());
    std::array<double, 4> colour{1, 1, 1, 1};
    ReadNumbers(surface, "baseColorFactor", colour);
    std::transform(colour.begin(), colour.end(), material.colour.begin(),
                   [](double value) { return static_cast<float>(std::clamp(value, 0.0, 1.0)); });
    if (surface.contains("baseColorTexture")) {
        const std::size_t texture = IndexIn(surface["baseColorTexture"], "index");
        const Json& source = file.Element("textures", texture);
        if (!source.contains("source")) {
            file.Fail("texture " + std::to_string(texture) +
                      " has no picture in a format that is supported; --texture names another");
        }
        material.picture = file.ImageAt(IndexIn(source, "source"));
    }
    return material;
}

TextureUse ReadTextureUse(const GltfFile& file, std::size_t index) {
    TextureUse use;
    if (index == file.Count("materials")) {
        return use;
    }
    const Json surface = file.Element("materials", index).value("pbrMetallicRoughness", Json::object());
    if (!surface.contains("baseColorTexture")) {
        return use;
    }
    const Json& reference = surface["baseColorTexture"];
    use.set = IndexIn(reference, "texCoord", 0);
    const Json transform = reference.value("extensions", Json::object()).value("KHR_texture_transform", Json::object());
    ReadNumbers(transform, "offset", use.offset);
    ReadNumbers(transform, "scale", use.scale);
    use.rotation = transform.value("rotation", 0.0);
    use.set = IndexIn(transform, "texCoord", use.set);
    const Json& texture = file.Element("textures", IndexIn(reference, "index"));
    if (texture.contains("sampler")) {
        const Json& sampler = file.Element("samplers", IndexIn(texture, "sampler"));
        use.wrap = {WrapOf(sampler, "wrapS"), WrapOf(sampler, "wrapT")};
    }
    return use;
}

}  // namespace Nimb::Authoring
