#include "Tools/nimb/KeyFrameText.h"

#include <algorithm>
#include <array>

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
    }
    return "";
}

std::string Triangles(const KeyFrameReason& reason) {
    return std::to_string(reason.differing) + " of " + std::to_string(reason.faces) + " triangles";
}

}  // namespace

std::string KeyFrameText(const std::vector<KeyFrameNote>& keyFrames, std::size_t frames) {
    std::array<std::size_t, 4> counts{};
    std::vector<const KeyFrameNote*> surfaces;  // those for a new topology
    for (const KeyFrameNote& note : keyFrames) {
        ++counts[static_cast<std::size_t>(note.reason.cause)];
        if (note.reason.cause == Cause::NewTopology && note.reason.faces > 0) {
            surfaces.push_back(&note);
        }
    }
    const auto count = [&](Cause cause) { return counts[static_cast<std::size_t>(cause)]; };
    const auto byShare = [](const KeyFrameNote* a, const KeyFrameNote* b) {
        return a->reason.Share() < b->reason.Share();
    };
    std::string text = std::to_string(keyFrames.size());
    if (frames > 1 && count(Cause::First) + count(Cause::NewTopology) == frames) {
        text += ": no two frames show the same surface";
        if (!surfaces.empty()) {
            const KeyFrameNote& nearest = **std::min_element(surfaces.begin(), surfaces.end(), byShare);
            text += "; the nearest pair, frames " + std::to_string(nearest.frame - 1) + " and " +
                    std::to_string(nearest.frame) + ", differs in " + Triangles(nearest.reason);
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
            text += " (frame " + std::to_string((*least)->frame) + ": " + Triangles((*least)->reason) + " differ";
            if (*least != *most) {
                text += "; frame " + std::to_string((*most)->frame) + ": " + Triangles((*most)->reason);
            }
            text += ")";
        }
    }
    if (count(Cause::ErrorLimit) > 0) {
        text += ", " + std::to_string(count(Cause::ErrorLimit)) + " for the error limit";
    }
    return text;
}

nlohmann::ordered_json ToJson(const std::vector<KeyFrameNote>& keyFrames) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const KeyFrameNote& note : keyFrames) {
        nlohmann::ordered_json entry{{"frame", note.frame}, {"reason", CauseName(note.reason.cause)}};
        if (note.reason.cause == Cause::NewTopology) {
            entry["differing"] = note.reason.differing;
            entry["faces"] = note.reason.faces;
        }
        list.push_back(std::move(entry));
    }
    return list;
}

}  // namespace Nimb::Tool
