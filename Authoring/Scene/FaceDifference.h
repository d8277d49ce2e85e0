// How far the triangles of two meshes are the same.
#pragma once

#include <algorithm>
#include <cstddef>

namespace Nimb::Authoring {

struct FaceDifference {
    std::size_t differing = 0;  ///< without a counterpart, on the side that has more of them
    std::size_t faces = 0;      ///< of the mesh that has more

    double Share() const {
        return static_cast<double>(differing) / static_cast<double>(std::max<std::size_t>(faces, 1));
    }
};

}  // namespace Nimb::Authoring
