#include "Clip/Write/BitRatePlan.h"

#include "Clip/Write/OrderedTasks.h"
#include "Clip/Write/PictureConverter.h"
#include "Clip/Write/VideoEncoder.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

constexpr double c_BestQuality = 1;
constexpr double c_WorstQuality = 51;
constexpr double c_FirstQuality = 26;
constexpr double c_Tolerance = 0.03;
constexpr std::size_t c_MostTries = 8;

/// Six steps of quality halve the bytes: the quantiser's step doubles.
constexpr double c_Halving = 6;

/// What the pictures of a segment cost at a constant quality, by a few from its middle.
double CostOf(const AtlasPictures& pictures, const VideoTrackOptions& video, std::size_t keyInterval,
              const ClipSegment& segment) {
    constexpr std::size_t looked = 8;
    VideoTrackOptions options = video;
    options.preset = "ultrafast";
    options.quality = c_FirstQuality;
    VideoEncoder encoder(options);
    PictureConverter converter(options.width, options.height);
    std::vector<double> bytes;
    const auto sink = [&bytes](const AVPacket& packet) { bytes.push_back(packet.size); };
    const std::size_t count = std::min(looked, segment.count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::shared_ptr<const Image> picture = pictures.Picture(segment.first + (segment.count - count) / 2 + i);
        encoder.Encode(*converter.Convert(picture->rgba.data(), picture->width * 4), {}, KeyPicture::Open, sink);
    }
    encoder.Finish(sink);
    double others = 0;
    for (std::size_t i = 1; i < bytes.size(); ++i) {
        others += bytes[i] / static_cast<double>(bytes.size() - 1);
    }
    const std::size_t keys = (segment.count + keyInterval - 1) / keyInterval;
    return bytes.front() * static_cast<double>(keys) + others * static_cast<double>(segment.count - keys);
}

}  // namespace

void PlanPictureBytes(const AtlasPictures& pictures, const VideoTrackOptions& video, std::size_t keyInterval,
                      double bytes, std::size_t threads, std::vector<ClipSegment>& segments,
                      const std::function<void(std::size_t)>& progress) {
    OrderedTasks<double> tasks(
        "nimb look", segments.size(), threads, 2 * threads,
        [&](std::size_t i, const std::atomic<bool>&) { return CostOf(pictures, video, keyInterval, segments[i]); });
    std::vector<double> costs;
    double sum = 0;
    for (const ClipSegment& segment : segments) {
        costs.push_back(tasks.Next([&] { progress(segment.first); }));
        sum += costs.back();
        progress(segment.first + segment.count);
    }
    for (std::size_t i = 0; i < segments.size(); ++i) {
        segments[i].pictureBytes = bytes * costs[i] / sum;
    }
}

std::optional<double> QualitySearch::Next() {
    if (m_Tries.size() == c_MostTries) {
        return std::nullopt;
    }
    const double next = m_Tries.empty() ? c_FirstQuality : std::clamp(Guess(), c_BestQuality, c_WorstQuality);
    if (!m_Tries.empty() &&
        (std::abs(std::exp2(m_Tries.back().surplus) - 1) <= c_Tolerance || std::abs(next - m_Quality) < 0.01)) {
        return std::nullopt;
    }
    m_Quality = next;
    return m_Quality;
}

bool QualitySearch::Tell(double bytes) {
    const Try told{m_Quality, std::log2(std::max(bytes, 1.0) / m_Wanted)};
    const bool isBest = std::all_of(m_Tries.begin(), m_Tries.end(), [&told](const Try& other) {
        return std::abs(told.surplus) < std::abs(other.surplus);
    });
    m_Tries.push_back(told);
    std::optional<Try>& side = told.surplus > 0 ? m_TooLarge : m_TooSmall;
    if (!side || std::abs(told.surplus) < std::abs(side->surplus)) {
        side = told;
    }
    return isBest;
}

/// Between two tries on a straight line, otherwise onwards from the last one.
double QualitySearch::Guess() const {
    if (!m_TooLarge || !m_TooSmall) {
        return m_Tries.back().quality + c_Halving * m_Tries.back().surplus;
    }
    const double share = m_TooLarge->surplus / (m_TooLarge->surplus - m_TooSmall->surplus);
    return m_TooLarge->quality + share * (m_TooSmall->quality - m_TooLarge->quality);
}

}  // namespace Nimb::Authoring
