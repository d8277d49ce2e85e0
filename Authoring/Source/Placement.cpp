#include "Authoring/Source/Placement.h"

#include "Authoring/Source/Narrow.h"

#include <cmath>

namespace Nimb::Authoring {

void Place(Mesh& mesh, const SourceOptions& options, const std::string& name) {
    const auto turned = [&](const Vec3& v) { return options.upAxis == UpAxis::Z ? Vec3{v.x, v.z, -v.y} : v; };
    const auto scaled = [&](float value) { return Narrowed(double{value} * options.scale); };
    for (Vec3& p : mesh.positions) {
        p = turned(p);
        p = {scaled(p.x), scaled(p.y), scaled(p.z)};
        if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
            throw InputError(name + ": a position is too large");
        }
    }
    for (Vec3& n : mesh.normals) {
        n = turned(n);
    }
}

}  // namespace Nimb::Authoring
