#include "Tools/nimb/Compare/TextureShift.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Tool {
namespace {

using Authoring::Image;
using Authoring::Mesh;
using Authoring::SurfaceSample;

constexpr int c_MostTexels = 4;
constexpr std::size_t c_Samples = 12000;  // about so many

/// A texture that differs by less fits as it is, even if another place fits still better.
constexpr double c_LeastError = 9;
constexpr double c_MostErrorLeft = 0.5;

struct Spot {
    double x, y;  // in the clip's texture, in texels
    double luma;  // of the source
};

/// Bilinear, as renderers do it; `at(x, y)` of whole texels. Beyond the picture its edge goes on.
template <class At>
double Sample(std::size_t width, std::size_t height, double x, double y, const At& at) {
    const auto place = [](double value, std::size_t size, double& fraction) {
        const double inside = std::clamp(value - 0.5, 0.0, static_cast<double>(size - 1));
        const auto whole = std::min(static_cast<std::size_t>(inside), size - std::min<std::size_t>(size, 2));
        fraction = inside - static_cast<double>(whole);
        return whole;
    };
    double u = 0, v = 0;
    const std::size_t left = place(x, width, u), top = place(y, height, v);
    const std::size_t right = std::min(left + 1, width - 1), bottom = std::min(top + 1, height - 1);
    return (1 - v) * ((1 - u) * at(left, top) + u * at(right, top)) +
           v * ((1 - u) * at(left, bottom) + u * at(right, bottom));
}

struct Coordinates {
    double u = 0, v = 0;
};

Coordinates CoordinatesAt(const Mesh& mesh, UINT32 face, const glm::dvec3& weights) {
    Coordinates found;
    for (int corner = 0; corner < 3; ++corner) {
        const Authoring::Vec2& t = mesh.texCoords[mesh.faces[face].v[corner]];
        found.u += weights[corner] * static_cast<double>(t.u);
        found.v += weights[corner] * static_cast<double>(t.v);
    }
    return found;
}

std::vector<Spot> FindSpots(const Mesh& clip, const LumaPicture& picture, const JoinedFrame& source,
                            const std::vector<SurfaceSample>& samples, double reach) {
    std::vector<Spot> spots;
    const std::size_t step = std::max<std::size_t>(samples.size() / c_Samples, 1);
    for (std::size_t i = 0; i < samples.size(); i += step) {
        const SurfaceSample& sample = samples[i];
        if (!sample.nearest || sample.nearest.squaredDistance > reach * reach) {
            continue;
        }
        const Coordinates here = CoordinatesAt(clip, sample.face, sample.weights);
        if (!std::isfinite(here.u) || !std::isfinite(here.v)) {
            continue;  // as damaged clips have them
        }
        const Coordinates there = CoordinatesAt(source.mesh, sample.nearest.face, sample.nearest.weights);
        const Image& image = source.PictureOf(sample.nearest.face);
        const double luma = Sample(image.width, image.height, there.u * static_cast<double>(image.width),
                                   there.v * static_cast<double>(image.height), [&](std::size_t x, std::size_t y) {
                                       const BYTE* const p = image.Pixel(x, y);
                                       return Authoring::Luma<double>(p[0], p[1], p[2]);
                                   });
        spots.push_back(
            {here.u * static_cast<double>(picture.width), here.v * static_cast<double>(picture.height), luma});
    }
    return spots;
}

double MeanSquare(const std::vector<Spot>& spots, const LumaPicture& picture, int x, int y) {
    double sum = 0;
    for (const Spot& spot : spots) {
        const double luma =
            Sample(picture.width, picture.height, spot.x + x, spot.y + y, [&](std::size_t column, std::size_t row) {
                return static_cast<double>(picture.luma[row * picture.width + column]);
            });
        sum += (luma - spot.luma) * (luma - spot.luma);
    }
    return sum / static_cast<double>(spots.size());
}

}  // namespace

const Image& JoinedFrame::PictureOf(UINT32 face) const {
    const auto behind = std::upper_bound(parts.begin(), parts.end(), face, [](UINT32 number, const PictureFaces& part) {
        return number < part.first + part.count;
    });
    return *behind->picture;
}

bool TextureShift::IsFault() const {
    return (x != 0 || y != 0) && before > c_LeastError && after < c_MostErrorLeft * before;
}

LumaPicture LumaPictureOf(std::size_t width, std::size_t height, const BYTE* rgba) {
    LumaPicture picture{width, height, std::vector<BYTE>(width * height)};
    for (std::size_t i = 0; i < picture.luma.size(); ++i) {
        const BYTE* const p = rgba + 4 * i;
        picture.luma[i] = static_cast<BYTE>(Authoring::Luma<float>(p[0], p[1], p[2]) + 0.5F);
    }
    return picture;
}

TextureShift FindTextureShift(const Mesh& clip, const LumaPicture& picture, const JoinedFrame& source,
                              const std::vector<SurfaceSample>& samples, double reach) {
    const std::vector<Spot> spots = FindSpots(clip, picture, source, samples, reach);
    TextureShift shift;
    if (spots.empty()) {
        return shift;
    }
    shift.before = shift.after = MeanSquare(spots, picture, 0, 0);
    if (shift.before <= c_LeastError) {
        return shift;
    }
    for (int y = -c_MostTexels; y <= c_MostTexels; ++y) {
        for (int x = -c_MostTexels; x <= c_MostTexels; ++x) {
            const double error = MeanSquare(spots, picture, x, y);
            if (error < shift.after) {
                shift.x = x;
                shift.y = y;
                shift.after = error;
            }
        }
    }
    return shift;
}

}  // namespace Nimb::Tool
