#include "Tools/nimb/Compare/ViewFigures.h"

#include "Authoring/Surface/SurfaceComparison.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Nimb::Tool {
namespace {

constexpr float c_Grey = 128;
constexpr double c_White = 255;
constexpr std::size_t c_BlocksHigh = 32;  // of signatures

// SSIM.
constexpr std::ptrdiff_t c_Radius = 5;
constexpr float c_Deviation = 1.5f;
constexpr float c_C1 = 0.01f * 255 * 0.01f * 255;
constexpr float c_C2 = 0.03f * 255 * 0.03f * 255;

using Window = std::array<float, 2 * c_Radius + 1>;

Window GaussianWindow() {
    Window window{};
    float sum = 0;
    for (std::ptrdiff_t i = -c_Radius; i <= c_Radius; ++i) {
        const float x = static_cast<float>(i) / c_Deviation;
        sum += window[static_cast<std::size_t>(i + c_Radius)] = std::exp(-x * x / 2);
    }
    for (float& weight : window) {
        weight /= sum;
    }
    return window;
}

/// Pixels of the smallest rectangle that holds all that either view covers, and the window around them.
struct Crop {
    std::size_t left = 0, top = 0, width = 0, height = 0;
};

Crop CropOf(const LumaView& a, const LumaView& b) {
    std::size_t left = a.width, top = a.height, right = 0, bottom = 0;
    for (std::size_t y = 0; y < a.height; ++y) {
        for (std::size_t x = 0; x < a.width; ++x) {
            const std::size_t at = y * a.width + x;
            if (a.isCovered[at] != 0 || b.isCovered[at] != 0) {
                left = std::min(left, x);
                right = std::max(right, x + 1);
                top = std::min(top, y);
                bottom = std::max(bottom, y + 1);
            }
        }
    }
    return right > left ? Crop{left, top, right - left, bottom - top} : Crop{};
}

/// A rectangle of numbers, and its convolution with the window; beyond the picture its edge goes on.
class Plane {
public:
    Plane(std::size_t width, std::size_t height) : m_Width(width), m_Height(height), m_Values(width * height) {}

    float& At(std::size_t x, std::size_t y) { return m_Values[y * m_Width + x]; }
    float At(std::size_t x, std::size_t y) const { return m_Values[y * m_Width + x]; }

    Plane Blurred(const Window& window) const { return Along(window, true).Along(window, false); }

private:
    Plane Along(const Window& window, bool isHorizontal) const {
        Plane out(m_Width, m_Height);
        const std::ptrdiff_t step = isHorizontal ? 1 : static_cast<std::ptrdiff_t>(m_Width);
        for (std::size_t y = 0; y < m_Height; ++y) {
            for (std::size_t x = 0; x < m_Width; ++x) {
                const auto at = static_cast<std::ptrdiff_t>(isHorizontal ? x : y);
                const auto last = static_cast<std::ptrdiff_t>(isHorizontal ? m_Width : m_Height) - 1;
                const float* const here = &m_Values[y * m_Width + x];
                float sum = 0;
                for (std::ptrdiff_t i = -c_Radius; i <= c_Radius; ++i) {
                    const std::ptrdiff_t place = std::clamp(at + i, std::ptrdiff_t{0}, last);
                    sum += window[static_cast<std::size_t>(i + c_Radius)] * here[(place - at) * step];
                }
                out.At(x, y) = sum;
            }
        }
        return out;
    }

    std::size_t m_Width;
    std::size_t m_Height;
    std::vector<float> m_Values;
};

struct Sum {
    double value = 0;
    std::size_t pixels = 0;
};

void AddSsim(const LumaView& a, const LumaView& b, Sum& sum) {
    static const Window s_Window = GaussianWindow();
    const Crop crop = CropOf(a, b);
    if (crop.width == 0) {
        return;
    }
    Plane first(crop.width, crop.height), second = first, squares = first, otherSquares = first, products = first;
    for (std::size_t y = 0; y < crop.height; ++y) {
        for (std::size_t x = 0; x < crop.width; ++x) {
            const std::size_t at = (y + crop.top) * a.width + x + crop.left;
            const float p = a.luma[at], q = b.luma[at];
            first.At(x, y) = p;
            second.At(x, y) = q;
            squares.At(x, y) = p * p;
            otherSquares.At(x, y) = q * q;
            products.At(x, y) = p * q;
        }
    }
    const Plane means = first.Blurred(s_Window), otherMeans = second.Blurred(s_Window);
    const Plane moments = squares.Blurred(s_Window), otherMoments = otherSquares.Blurred(s_Window);
    const Plane mixed = products.Blurred(s_Window);
    for (std::size_t y = 0; y < crop.height; ++y) {
        for (std::size_t x = 0; x < crop.width; ++x) {
            const std::size_t at = (y + crop.top) * a.width + x + crop.left;
            if (a.isCovered[at] == 0 && b.isCovered[at] == 0) {
                continue;
            }
            const float p = means.At(x, y), q = otherMeans.At(x, y);
            const float variances = moments.At(x, y) - p * p + otherMoments.At(x, y) - q * q;
            const float covariance = mixed.At(x, y) - p * q;
            const float ssim =
                (2 * p * q + c_C1) * (2 * covariance + c_C2) / ((p * p + q * q + c_C1) * (variances + c_C2));
            sum.value += static_cast<double>(ssim);
            ++sum.pixels;
        }
    }
}

}  // namespace

LumaView LumaOf(const Authoring::Image& image) {
    LumaView view;
    view.width = image.width;
    view.height = image.height;
    const std::size_t count = image.width * image.height;
    view.luma.resize(count);
    view.isCovered.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const BYTE* const p = &image.rgba[i * 4];
        const float luma = Authoring::Luma<float>(p[0], p[1], p[2]);
        const float alpha = static_cast<float>(p[3]) / 255;
        view.luma[i] = alpha * luma + (1 - alpha) * c_Grey;
        view.isCovered[i] = p[3] >= 128 ? 1 : 0;
    }
    return view;
}

ViewFigures CompareViews(const FrameViews& views) {
    double squares = 0;
    std::size_t either = 0, one = 0;
    Sum ssim;
    for (std::size_t v = 0; v < views.source.size(); ++v) {
        const LumaView &a = views.source[v], &b = views.clip[v];
        for (std::size_t i = 0; i < a.luma.size(); ++i) {
            if (a.isCovered[i] != 0 || b.isCovered[i] != 0) {
                const double difference = static_cast<double>(b.luma[i]) - static_cast<double>(a.luma[i]);
                squares += difference * difference;
                ++either;
                one += a.isCovered[i] != b.isCovered[i] ? 1 : 0;
            }
        }
        AddSsim(a, b, ssim);
    }
    const auto pixels = static_cast<double>(std::max<std::size_t>(either, 1));
    ViewFigures figures;
    figures.psnr = Authoring::Psnr(c_White, squares / pixels);
    figures.ssim = ssim.pixels != 0 ? ssim.value / static_cast<double>(ssim.pixels) : 1;
    figures.silhouette = static_cast<double>(one) / pixels;
    return figures;
}

double Flicker(const FrameViews& views, const FrameViews& before) {
    double squares = 0;
    std::size_t pixels = 0;
    for (std::size_t v = 0; v < views.source.size(); ++v) {
        const LumaView &a = views.source[v], &b = views.clip[v], &c = before.source[v], &d = before.clip[v];
        for (std::size_t i = 0; i < a.luma.size(); ++i) {
            if ((a.isCovered[i] | b.isCovered[i] | c.isCovered[i] | d.isCovered[i]) != 0) {
                const double change = static_cast<double>((b.luma[i] - a.luma[i]) - (d.luma[i] - c.luma[i]));
                squares += change * change;
                ++pixels;
            }
        }
    }
    return std::sqrt(squares / static_cast<double>(std::max<std::size_t>(pixels, 1)));
}

std::vector<float> SignatureOf(const std::vector<LumaView>& views) {
    std::vector<float> signature;
    for (const LumaView& view : views) {
        const std::size_t size = std::max<std::size_t>(view.height / c_BlocksHigh, 1);
        for (std::size_t top = 0; top < view.height; top += size) {
            for (std::size_t left = 0; left < view.width; left += size) {
                const std::size_t right = std::min(left + size, view.width);
                const std::size_t bottom = std::min(top + size, view.height);
                float sum = 0;
                for (std::size_t y = top; y < bottom; ++y) {
                    for (std::size_t x = left; x < right; ++x) {
                        sum += view.luma[y * view.width + x];
                    }
                }
                signature.push_back(sum / static_cast<float>((right - left) * (bottom - top)));
            }
        }
    }
    return signature;
}

}  // namespace Nimb::Tool
