// The tracked stretches of a segment: made where its meshes are encoded, needed there and where its pictures are.
#pragma once

#include "Clip/Write/ClipPlan.h"
#include "Clip/Write/OrderedTasks.h"
#include "Clip/Write/TrackedStretch.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <future>
#include <memory>
#include <vector>

namespace Nimb::Authoring {

/// Any thread may call the methods. Keeps a reference to the segment.
class SegmentTracks {
public:
    explicit SegmentTracks(const ClipSegment& segment) : m_Segment(segment), m_Stretches(segment.meshes.size()) {
        for (std::promise<Pointer>& stretch : m_Stretches) {
            m_Known.push_back(stretch.get_future().share());
        }
    }

    /// The stretch that is one of the segment's mesh segments, which `track` makes. Once for each.
    template <class Track>
    TrackedStretch& Make(std::size_t mesh, const Track& track) {
        try {
            Pointer stretch = track();
            m_Stretches[mesh].set_value(stretch);
            return *stretch;
        } catch (...) {
            m_Stretches[mesh].set_exception(std::current_exception());
            throw;
        }
    }

    /// The stretch that a frame of the clip belongs to; null when the frame is not to be tracked. Waits for Make, and
    /// rethrows what it threw. Throws Stopped when `stop` is set.
    TrackedStretch* Of(std::size_t frame, const std::atomic<bool>& stop) const {
        std::size_t mesh = 0;
        while (frame >= m_Segment.meshes[mesh].first + m_Segment.meshes[mesh].count) {
            ++mesh;
        }
        if (!m_Segment.meshes[mesh].track) {
            return nullptr;
        }
        while (m_Known[mesh].wait_for(std::chrono::milliseconds(100)) != std::future_status::ready) {
            if (stop) {
                throw Stopped();
            }
        }
        return m_Known[mesh].get().get();
    }

private:
    using Pointer = std::shared_ptr<TrackedStretch>;

    const ClipSegment& m_Segment;
    std::vector<std::promise<Pointer>> m_Stretches;  // by mesh segment
    std::vector<std::shared_future<Pointer>> m_Known;
};

}  // namespace Nimb::Authoring
