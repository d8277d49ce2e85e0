#include "Authoring/Scene/ImageScale.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

constexpr std::size_t c_Channels = 4;

/// The source pixels that one pixel covers along an axis, with their shares.
struct Span {
    std::size_t first;
    std::vector<float> weights;
};

std::vector<Span> Spans(std::size_t from, std::size_t to) {
    std::vector<Span> spans(to);
    const double step = static_cast<double>(from) / static_cast<double>(to);
    for (std::size_t i = 0; i < to; ++i) {
        const double begin = static_cast<double>(i) * step;
        const double end = std::min(static_cast<double>(from), static_cast<double>(i + 1) * step);
        Span& span = spans[i];
        span.first = std::min(from - 1, static_cast<std::size_t>(begin));
        for (std::size_t pixel = span.first; pixel < from; ++pixel) {
            const double left = std::max(begin, static_cast<double>(pixel));
            const double covered = std::min(end, static_cast<double>(pixel + 1)) - left;
            if (covered <= 0 && !span.weights.empty()) {
                break;
            }
            span.weights.push_back(static_cast<float>(std::max(covered, 1e-9) / step));
        }
    }
    return spans;
}

/// One row, scaled along x.
void ScaleRow(const BYTE* in, const std::vector<Span>& columns, float* out) {
    for (const Span& span : columns) {
        float sum[c_Channels] = {};
        const BYTE* pixel = in + span.first * c_Channels;
        for (const float weight : span.weights) {
            for (std::size_t c = 0; c < c_Channels; ++c) {
                sum[c] += weight * static_cast<float>(*pixel++);
            }
        }
        out = std::copy(sum, sum + c_Channels, out);
    }
}

}  // namespace

Image ScaleImage(const Image& image, std::size_t width, std::size_t height) {
    if (width == image.width && height == image.height) {
        return image;
    }
    const std::vector<Span> columns = Spans(image.width, width);
    const std::vector<Span> rows = Spans(image.height, height);
    Image out(width, height);
    std::vector<float> scaledRow(width * c_Channels);
    std::vector<float> sum(width * c_Channels);
    for (std::size_t y = 0; y < height; ++y) {
        std::fill(sum.begin(), sum.end(), 0.5f);  // rounds
        for (std::size_t i = 0; i < rows[y].weights.size(); ++i) {
            ScaleRow(image.Pixel(0, rows[y].first + i), columns, scaledRow.data());
            const float weight = rows[y].weights[i];
            std::transform(sum.begin(), sum.end(), scaledRow.begin(), sum.begin(),
                           [weight](float s, float value) { return s + weight * value; });
        }
        std::transform(sum.begin(), sum.end(), out.Pixel(0, y),
                       [](float value) { return static_cast<BYTE>(std::min(value, 255.0f)); });
    }
    return out;
}

}  // namespace Nimb::Authoring
