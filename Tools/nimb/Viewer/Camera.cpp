#include "Tools/nimb/Viewer/Camera.h"

#include "Authoring/Codec/Vectors.h"
#include "Tools/nimb/ExitStatus.h"

#include <glm/gtc/constants.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtx/euler_angles.hpp>
#include <glm/gtx/transform.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Nimb::Tool {
namespace {

constexpr float c_Pi = glm::pi<float>();
constexpr float c_HalfFov = 0.5f * 35 * c_Pi / 180;  // of the picture's height
constexpr float c_Margin = 0.92f;                    // of the picture is filled
constexpr float c_MaxPitch = 0.5f * c_Pi;

/// The camera's axes in the world: to the right, up, and backwards, from the target to the eye.
glm::mat3 AxesOf(float yaw, float pitch) {
    return glm::mat3(glm::eulerAngleYX(yaw, -pitch));
}

}  // namespace

View ParseView(const std::string& text) {
    const View known[] = {{"front", 0, 0},   {"right", c_Pi / 2, 0}, {"side", c_Pi / 2, 0},
                          {"back", c_Pi, 0}, {"left", -c_Pi / 2, 0}, {"top", 0, c_MaxPitch}};
    for (const View& view : known) {
        if (text == view.name) {
            return view;
        }
    }
    char* end = nullptr;
    const float degrees = std::strtof(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(degrees)) {
        throw UsageError("--views: '" + text + "' is neither front, right, back, left, top nor an angle in degrees");
    }
    return {text, degrees * c_Pi / 180, 0};
}

Camera FrameBox(const Authoring::Box& box, const std::vector<View>& views, float aspect) {
    const glm::vec3 low(Authoring::VectorOf(box.min)), high(Authoring::VectorOf(box.max));
    const glm::vec3 half = (high - low) / 2.0f;
    Camera camera;
    camera.target = low + half;
    camera.reach = std::max(glm::length(half), 1e-4f);
    camera.distance = camera.reach;
    const float tanY = std::tan(c_HalfFov) * c_Margin;
    const float tanX = tanY * aspect;
    for (const View& view : views) {
        const glm::mat3 axes = AxesOf(view.yaw, view.pitch);
        for (int corner = 0; corner < 8; ++corner) {
            const glm::vec3 signs(corner & 1 ? 1 : -1, corner & 2 ? 1 : -1, corner & 4 ? 1 : -1);
            const glm::vec3 p = (half * signs) * axes;  // seen from the camera
            camera.distance = std::max({camera.distance, p.z + std::fabs(p.x) / tanX, p.z + std::fabs(p.y) / tanY});
        }
    }
    if (!views.empty()) {
        camera.yaw = views.front().yaw;
        camera.pitch = views.front().pitch;
    }
    return camera;
}

glm::vec3 EyeOf(const Camera& camera) {
    return camera.target + camera.distance * AxesOf(camera.yaw, camera.pitch)[2];
}

glm::mat4 ViewProjection(const Camera& camera, float aspect) {
    const float nearest = std::max(camera.distance - 4 * camera.reach, camera.distance * 0.01f);
    const float farthest = camera.distance + 4 * camera.reach;
    const glm::mat4 turn(glm::transpose(AxesOf(camera.yaw, camera.pitch)));
    return glm::perspective(2 * c_HalfFov, aspect, nearest, farthest) *
           glm::translate(glm::vec3(0, 0, -camera.distance)) * turn * glm::translate(-camera.target);
}

void Orbit(Camera& camera, float dx, float dy) {
    camera.yaw = std::remainder(camera.yaw - dx * 2 * c_Pi, 2 * c_Pi);
    camera.pitch = std::clamp(camera.pitch + dy * c_Pi, -c_MaxPitch, c_MaxPitch);
}

void Pan(Camera& camera, float dx, float dy) {
    const glm::mat3 axes = AxesOf(camera.yaw, camera.pitch);
    const float scale = 2 * std::tan(c_HalfFov) * camera.distance;
    camera.target += scale * (dy * axes[1] - dx * axes[0]);
}

void Zoom(Camera& camera, float steps) {
    camera.distance = std::clamp(camera.distance * std::pow(0.9f, steps), camera.reach * 0.05f, camera.reach * 50);
}

}  // namespace Nimb::Tool
