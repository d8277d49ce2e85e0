#include "Tools/nimb/KeyFrameText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace Nimb::Tool {
namespace {

using Authoring::KeyFrameNote;
using Authoring::KeyFrameReason;
using Cause = KeyFrameReason::Cause;

const char* CauseName(Cause cause) {
    switch (cause) {
        case Cause::First:
            return "first";
        case Cause::Interval:
            return "interval";
        case Cause::NewTopology:
            return "topology";
        case Cause::ErrorLimit:
            return "error";
        case Cause::TrackLost:
            return "track";
    }
    return "";
}

std::string Differ(const KeyFrameNote& note) {
    const Authoring::FaceDifference& d = note.reason.difference;
    return d.differing == 0 ? "the same triangles in the texture, but elsewhere, or in an order that stays unclear"
                            : std::to_string(d.differing) + " of " + std::to_string(d.faces) + " triangles differ";
}

/// The first few frames where the track is lost, and how far surfaces would be apart if it went on.
std::string LossText(const std::vector<KeyFrameNote>& keyFrames) {
    constexpr int c_Most = 3;
    std::string text;
    int count = 0;
    for (const KeyFrameNote& note : keyFrames) {
        if (note.reason.cause != Cause::TrackLost || note.reason.lost.largest == 0) {
            continue;
        }
        if (count++ == c_Most) {
            return text + "; ...)";
        }
        char distances[100] = "nothing to follow";
        if (std::isfinite(note.reason.lost.largest)) {
            std::snprintf(distances, sizeof distances, "%.3g mm at the 95th of 100, patches %.3g mm",
                          note.reason.lost.p95 * 1000, note.reason.lost.patch * 1000);
        }
        text += (text.empty() ? " (frame " : "; frame ") + std::to_string(note.frame) + ": " + distances;
    }
    return text.empty() ? text : text + ")";
}

}  // namespace

std::string KeyFrameText(const std::vector<KeyFrameNote>& keyFrames, std::size_t frames) {
    std::array<std::size_t, 5> counts{};
    std::vector<const KeyFrameNote*> surfaces;  // those for a new topology
    for (const KeyFrameNote& note : keyFrames) {
        ++counts[static_cast<std::size_t>(note.reason.cause)];
        if (note.reason.cause == Cause::NewTopology && note.reason.difference.faces > 0) {
            surfaces.push_back(&note);
        }
    }
    const auto count = [&](Cause cause) { return counts[static_cast<std::size_t>(cause)]; };
    const auto byShare = [](const KeyFrameNote* a, const KeyFrameNote* b) {
        return a->reason.difference.Share() < b->reason.difference.Share();
    };
    std::string text = std::to_string(keyFrames.size());
    if (frames > 1 && count(Cause::First) + count(Cause::NewTopology) == frames) {
        text += ": no two frames show the same surface";
        if (!surfaces.empty()) {
            const KeyFrameNote& nearest = **std::min_element(surfaces.begin(), surfaces.end(), byShare);
            text += "; the nearest pair, frames " + std::to_string(nearest.frame - 1) + " and " +
                    std::to_string(nearest.frame) + ": " + Differ(nearest);
        }
        return text;
    }
    text += ": the first";
    if (count(Cause::Interval) > 0) {
        text += ", " + std::to_string(count(Cause::Interval)) + " for the interval";
    }
    if (count(Cause::NewTopology) > 0) {
        text += ", " + std::to_string(count(Cause::NewTopology)) + " for a new topology";
        if (!surfaces.empty()) {
            const auto [least, most] = std::minmax_element(surfaces.begin(), surfaces.end(), byShare);
            text += " (frame " + std::to_string((*least)->frame) + ": " + Differ(**least);
            if (*least != *most) {
                text += "; frame " + std::to_string((*most)->frame) + ": " + Differ(**most);
            }
            text += ")";
        }
    }
    if (count(Cause::ErrorLimit) > 0) {
        text += ", " + std::to_string(count(Cause::ErrorLimit)) + " for the error limit";
    }
    if (count(Cause::TrackLost) > 0) {
        text += ", " + std::to_string(count(Cause::TrackLost)) + " where the track is lost" + LossText(keyFrames);
    }
    return text;
}

nlohmann::ordered_json ToJson(const std::vector<KeyFrameNote>& keyFrames) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const KeyFrameNote& note : keyFrames) {
        nlohmann::ordered_json entry{{"frame", note.frame}, {"reason", CauseName(note.reason.cause)}};
        if (note.reason.cause == Cause::NewTopology) {
            entry["differing"] = note.reason.difference.differing;
            entry["faces"] = note.reason.difference.faces;
        }
        if (note.reason.cause == Cause::TrackLost) {
            entry["p95"] = note.reason.lost.p95;
            entry["patch"] = note.reason.lost.patch;
        }
        list.push_back(std::move(entry));
    }
    return list;
}

}  // namespace Nimb::Tool
