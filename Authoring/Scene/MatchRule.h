// Which frames continue the surface of the frames before.
#pragma once

namespace Nimb::Authoring {

enum class MatchRule {
    Surface,  ///< those for which the topology so far shows their surface within the error limit (SurfaceRun)
    Exact,    ///< those with the same triangles (InTopologyOf)
};

}  // namespace Nimb::Authoring
