// A bit rate that many may work on at once: each segment has its share of the bytes from the start, and finds the
// quality that uses them.
#pragma once

#include "Clip/Write/AtlasPictures.h"
#include "Clip/Write/ClipPlan.h"
#include "Clip/Write/TrackOptions.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

/// Shares `bytes` among the pictures of the segments, so that those that need more get more: a few pictures of each are
/// encoded fast and compared. `keyInterval`: from one key picture to the next. `progress`: see PlanClip. Throws
/// InputError for pictures.
void PlanPictureBytes(const AtlasPictures& pictures, const VideoTrackOptions& video, std::size_t keyInterval,
                      double bytes, std::size_t threads, std::vector<ClipSegment>& segments,
                      const std::function<void(std::size_t)>& progress);

/// Finds the constant quality that gives a number of bytes, within three of a hundred, in a few tries. What it asks for
/// depends on nothing but what it is told.
class QualitySearch {
public:
    explicit QualitySearch(double bytes) : m_Wanted(bytes) {}

    /// The quality to try next; none when it is found, or cannot be: flat pictures need less than there is.
    std::optional<double> Next();

    /// How many bytes the last one gave. Returns whether that is the best so far.
    bool Tell(double bytes);

private:
    struct Try {
        double quality = 0;
        double surplus = 0;  // binary logarithm of bytes over those wanted
    };

    double Guess() const;

    const double m_Wanted;
    double m_Quality = 0;
    std::vector<Try> m_Tries;
    std::optional<Try> m_TooLarge;  // the one that is least so
    std::optional<Try> m_TooSmall;
};

}  // namespace Nimb::Authoring
