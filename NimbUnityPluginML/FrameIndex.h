// Which frames a file has: when each is shown, and where a decoder can begin.
//
// The platform's extractor goes to times and tells times; it knows no frames. So the file's own index says them, and
// the samples still come from the extractor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Nimb::Plugin {

/// Immutable. Frames are counted from 0, in the order of the file, which is that of their times.
class FrameIndex {
public:
    /// Null when the file has none that can be read, as a fragmented one: `*pWhy` then says so in English. Throws
    /// std::bad_alloc. `path`: of a file, not a URI.
    static std::unique_ptr<const FrameIndex> Read(const std::string& path, std::string* pWhy);

    std::int64_t Count() const noexcept { return static_cast<std::int64_t>(m_frames.size()); }

    /// Microseconds from the first frame's time on, as the extractor has them, but for rounding.
    std::int64_t TimeOf(std::int64_t frame) const { return m_frames[static_cast<std::size_t>(frame)].timeUs; }
    /// Until the next frame's.
    std::int64_t DurationOf(std::int64_t frame) const {
        return (frame + 1 < Count() ? TimeOf(frame + 1) : m_endUs) - TimeOf(frame);
    }

    /// Of the frame's sample in the file. As a byte stream it has a little more, and may have parameter sets.
    std::size_t SampleBytes(std::int64_t frame) const { return m_frames[static_cast<std::size_t>(frame)].bytes; }

    /// The frame that is shown at a time: the last one that begins at or before it, the first one for earlier times.
    std::int64_t FrameAt(std::int64_t timeUs) const;

    /// The frame whose own time is nearest: that of a sample of the extractor.
    std::int64_t NearestFrame(std::int64_t timeUs) const;

    /// The last frame at or before this one whose picture needs no other; 0 when there is none.
    std::int64_t KeyPicture(std::int64_t frame) const;

    /// The frame nearest to this one whose picture needs no other.
    std::int64_t NearestKeyPicture(std::int64_t frame) const;

private:
    struct Frame {
        std::int64_t timeUs;
        std::size_t bytes;
        bool isKey;
    };

    std::vector<Frame> m_frames;
    std::int64_t m_endUs = 0;
};

}  // namespace Nimb::Plugin
