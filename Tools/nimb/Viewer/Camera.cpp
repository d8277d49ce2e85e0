#include "Tools/nimb/Viewer/Camera.h"

#include "Tools/nimb/ExitStatus.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Nimb::Tool {
namespace {

using Authoring::Vec3;

constexpr float c_Pi = 3.14159265358979f;
constexpr float c_HalfFov = 0.5f * 35 * c_Pi / 180;  // of the picture's height
constexpr float c_Margin = 0.92f;                    // of the picture is filled
constexpr float c_MaxPitch = 0.5f * c_Pi;

float Dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

/// The camera's axes in the world: to the right, up, and backwards, from the target to the eye.
struct Axes {
    Vec3 right, up, back;
};

Axes AxesOf(float yaw, float pitch) {
    const float sy = std::sin(yaw), cy = std::cos(yaw), sp = std::sin(pitch), cp = std::cos(pitch);
    return {{cy, 0, -sy}, {-sy * sp, cp, -cy * sp}, {sy * cp, sp, cy * cp}};
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
    const Vec3 half{(box.max.x - box.min.x) / 2, (box.max.y - box.min.y) / 2, (box.max.z - box.min.z) / 2};
    Camera camera;
    camera.target = {box.min.x + half.x, box.min.y + half.y, box.min.z + half.z};
    camera.reach = std::max(std::sqrt(Dot(half, half)), 1e-4f);
    camera.distance = camera.reach;
    const float tanY = std::tan(c_HalfFov) * c_Margin;
    const float tanX = tanY * aspect;
    for (const View& view : views) {
        const Axes axes = AxesOf(view.yaw, view.pitch);
        for (int corner = 0; corner < 8; ++corner) {
            const Vec3 p{corner & 1 ? half.x : -half.x, corner & 2 ? half.y : -half.y, corner & 4 ? half.z : -half.z};
            const float depth = Dot(p, axes.back);
            camera.distance = std::max({camera.distance, depth + std::fabs(Dot(p, axes.right)) / tanX,
                                        depth + std::fabs(Dot(p, axes.up)) / tanY});
        }
    }
    if (!views.empty()) {
        camera.yaw = views.front().yaw;
        camera.pitch = views.front().pitch;
    }
    return camera;
}

Vec3 EyeOf(const Camera& camera) {
    const Vec3 back = AxesOf(camera.yaw, camera.pitch).back;
    return {camera.target.x + camera.distance * back.x, camera.target.y + camera.distance * back.y,
            camera.target.z + camera.distance * back.z};
}

Matrix ViewProjection(const Camera& camera, float aspect) {
    const Axes axes = AxesOf(camera.yaw, camera.pitch);
    const float nearest = std::max(camera.distance - 4 * camera.reach, camera.distance * 0.01f);
    const float farthest = camera.distance + 4 * camera.reach;
    const float fy = 1 / std::tan(c_HalfFov);
    const float fx = fy / aspect;
    const float a = (farthest + nearest) / (nearest - farthest);
    const float b = 2 * farthest * nearest / (nearest - farthest);
    const float tx = -Dot(axes.right, camera.target), ty = -Dot(axes.up, camera.target);
    const float tz = -Dot(axes.back, camera.target) - camera.distance;
    return {fx * axes.right.x, fy * axes.up.x, a * axes.back.x, -axes.back.x,  //
            fx * axes.right.y, fy * axes.up.y, a * axes.back.y, -axes.back.y,  //
            fx * axes.right.z, fy * axes.up.z, a * axes.back.z, -axes.back.z,  //
            fx * tx,           fy * ty,        a * tz + b,      -tz};
}

void Orbit(Camera& camera, float dx, float dy) {
    camera.yaw = std::remainder(camera.yaw - dx * 2 * c_Pi, 2 * c_Pi);
    camera.pitch = std::clamp(camera.pitch + dy * c_Pi, -c_MaxPitch, c_MaxPitch);
}

void Pan(Camera& camera, float dx, float dy) {
    const Axes axes = AxesOf(camera.yaw, camera.pitch);
    const float scale = 2 * std::tan(c_HalfFov) * camera.distance;
    const auto move = [&](float Vec3::*axis) {
        camera.target.*axis += scale * (dy * axes.up.*axis - dx * axes.right.*axis);
    };
    move(&Vec3::x);
    move(&Vec3::y);
    move(&Vec3::z);
}

void Zoom(Camera& camera, float steps) {
    camera.distance = std::clamp(camera.distance * std::pow(0.9f, steps), camera.reach * 0.05f, camera.reach * 50);
}

}  // namespace Nimb::Tool
