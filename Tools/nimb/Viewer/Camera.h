// Where a clip is looked at from. Right-handed, y up; the front of a clip is what is seen from +z.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <string>
#include <vector>

namespace Nimb::Tool {

/// A direction to look from, in radians: 0, 0 is the front; yaw turns towards +x, pitch rises.
struct View {
    std::string name;
    float yaw = 0;
    float pitch = 0;
};

/// "front", "right" (seen from +x; "side" is the same), "back", "left", "top", or a yaw in degrees. Throws UsageError.
View ParseView(const std::string& text);

/// Looks at a point from a distance.
struct Camera {
    glm::vec3 target{};
    float distance = 1;
    float yaw = 0;
    float pitch = 0;
    float reach = 1;  ///< what lies farther than this from the target need not be seen
};

/// The smallest distance from the middle of the box at which all of it is seen from every one of the views, with a
/// margin. `aspect` is width to height.
Camera FrameBox(const Authoring::Box& box, const std::vector<View>& views, float aspect);

/// Where the camera is.
glm::vec3 EyeOf(const Camera& camera);

/// To clip coordinates.
glm::mat4 ViewProjection(const Camera& camera, float aspect);

// What the mouse does; steps are fractions of the picture's height.
void Orbit(Camera& camera, float dx, float dy);
void Pan(Camera& camera, float dx, float dy);
void Zoom(Camera& camera, float steps);

}  // namespace Nimb::Tool
