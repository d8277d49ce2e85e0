#include "Tools/nimb/Compare/ErrorColours.h"

#include "Authoring/Scene/Triangle.h"

#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Nimb::Tool {
namespace {

using Authoring::Image;
using Authoring::Mesh;

constexpr std::size_t c_Width = 256;
constexpr std::size_t c_Height = 64;
constexpr double c_Darkest = 0.3;

/// Told apart in grey and by those who confuse red and green: dark blue, blue, green, yellow (after viridis, by
/// Smith and van der Walt).
constexpr double c_Stops[][3] = {{59, 28, 110}, {59, 82, 160}, {33, 145, 140}, {94, 201, 98}, {253, 231, 37}};
constexpr std::size_t c_Spans = std::size(c_Stops) - 1;

double ChannelAt(double place, std::size_t channel) {
    const double scaled = place * c_Spans;
    const auto span = std::min(static_cast<std::size_t>(scaled), c_Spans - 1);
    const double part = scaled - static_cast<double>(span);
    return (1 - part) * c_Stops[span][channel] + part * c_Stops[span + 1][channel];
}

std::vector<glm::dvec3> NormalsOf(const Mesh& mesh) {
    std::vector<glm::dvec3> normals(mesh.positions.size(), glm::dvec3(0));
    for (const TarnMeshFace& face : mesh.faces) {
        const glm::dvec3 area = Authoring::AreaVector(Authoring::TriangleOf(mesh.positions, face));
        for (const UINT32 vertex : face.v) {
            normals[vertex] += area;
        }
    }
    return normals;
}

/// Of a picture's row or column: from the middle of the first pixel to that of the last.
float Within(double place, std::size_t pixels) {
    return static_cast<float>((0.5 + std::clamp(place, 0.0, 1.0) * static_cast<double>(pixels - 1)) /
                              static_cast<double>(pixels));
}

}  // namespace

Image ErrorColours() {
    Image image(c_Width, c_Height);
    for (std::size_t y = 0; y < c_Height; ++y) {
        const double light = c_Darkest + (1 - c_Darkest) * static_cast<double>(y) / (c_Height - 1);
        for (std::size_t x = 0; x < c_Width; ++x) {
            BYTE* const pixel = image.Pixel(x, y);
            for (std::size_t channel = 0; channel < 3; ++channel) {
                pixel[channel] =
                    static_cast<BYTE>(std::lround(light * ChannelAt(static_cast<double>(x) / (c_Width - 1), channel)));
            }
            pixel[3] = 255;
        }
    }
    return image;
}

std::string ErrorGradient() {
    std::string css = "linear-gradient(to right";
    for (const auto& stop : c_Stops) {
        char text[32];
        std::snprintf(text, sizeof text, ", rgb(%.0f %.0f %.0f)", stop[0], stop[1], stop[2]);
        css += text;
    }
    return css + ")";
}

Mesh PaintErrors(const Mesh& mesh, const std::vector<float>& distances, double most) {
    const glm::dvec3 towardsLight = glm::normalize(glm::dvec3(0.35, 0.6, 0.8));
    const std::vector<glm::dvec3> normals = NormalsOf(mesh);
    Mesh painted;
    painted.positions = mesh.positions;
    painted.faces = mesh.faces;
    for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
        const double length = glm::length(normals[i]);
        const double light = length > 0 ? 0.5 + 0.5 * glm::dot(normals[i], towardsLight) / length : 1;
        painted.texCoords.push_back(
            {Within(static_cast<double>(distances[i]) / most, c_Width), Within(light, c_Height)});
    }
    return painted;
}

}  // namespace Nimb::Tool
