#include "NimbUnityPluginML/FrameIndex.h"

#include "NimbClip/ClipFault.h"
#include "NimbClip/Mp4Index.h"

#include <algorithm>
#include <cstdio>

namespace Nimb::Plugin {
namespace {

constexpr std::int64_t c_Microseconds = 1000000;

/// Without overflow for times of any clip: the seconds apart from the rest.
std::int64_t ToMicroseconds(std::int64_t time, std::int64_t timeScale) {
    return time / timeScale * c_Microseconds + time % timeScale * c_Microseconds / timeScale;
}

std::int64_t ReadFile(void* file, std::uint64_t offset, void* to, std::size_t size) {
    const auto stream = static_cast<std::FILE*>(file);
    if (offset > INT64_MAX || fseeko(stream, static_cast<off_t>(offset), SEEK_SET) != 0) {
        return -1;
    }
    const std::size_t count = std::fread(to, 1, size, stream);
    return count < size && std::ferror(stream) != 0 ? -1 : static_cast<std::int64_t>(count);
}

}  // namespace

std::unique_ptr<const FrameIndex> FrameIndex::Read(const std::string& path, std::string* pWhy) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (file == nullptr || fseeko(file.get(), 0, SEEK_END) != 0) {
        *pWhy = "the file cannot be read";
        return nullptr;
    }
    try {
        const Clip::ByteSource source({&ReadFile, file.get(), static_cast<std::uint64_t>(ftello(file.get()))});
        const Clip::Track video = Clip::ReadMp4Index(source).video;
        auto index = std::make_unique<FrameIndex>();
        index->m_frames.reserve(video.samples.size());
        for (const Clip::Sample& sample : video.samples) {
            index->m_frames.push_back({ToMicroseconds(sample.time, video.timeScale), sample.size, sample.isKey});
            index->m_endUs = ToMicroseconds(sample.time + sample.duration, video.timeScale);
        }
        const auto isEarlier = [](const Frame& a, const Frame& b) { return a.timeUs <= b.timeUs; };
        // Equal times would be one frame to the extractor.
        if (index->m_frames.empty() ||
            std::adjacent_find(index->m_frames.begin(), index->m_frames.end(), [&](const Frame& a, const Frame& b) {
                return isEarlier(b, a);
            }) != index->m_frames.end()) {
            *pWhy = "its frames are not in the order of their times";
            return nullptr;
        }
        return index;
    } catch (const Clip::ClipFault& fault) {
        *pWhy = fault.text;
        return nullptr;
    }
}

std::int64_t FrameIndex::FrameAt(std::int64_t timeUs) const {
    const auto after = std::upper_bound(m_frames.begin(), m_frames.end(), timeUs,
                                        [](std::int64_t time, const Frame& frame) { return time < frame.timeUs; });
    return std::max<std::int64_t>(after - m_frames.begin() - 1, 0);
}

std::int64_t FrameIndex::NearestFrame(std::int64_t timeUs) const {
    const std::int64_t frame = FrameAt(timeUs);
    const bool isNextNearer = frame + 1 < Count() && TimeOf(frame + 1) - timeUs < timeUs - TimeOf(frame);
    return isNextNearer ? frame + 1 : frame;
}

std::int64_t FrameIndex::KeyPicture(std::int64_t frame) const {
    while (frame > 0 && !m_frames[static_cast<std::size_t>(frame)].isKey) {
        --frame;
    }
    return frame;
}

std::int64_t FrameIndex::NearestKeyPicture(std::int64_t frame) const {
    const std::int64_t before = KeyPicture(frame);
    std::int64_t after = frame;
    while (after < Count() && !m_frames[static_cast<std::size_t>(after)].isKey) {
        ++after;
    }
    return after < Count() && after - frame < frame - before ? after : before;
}

}  // namespace Nimb::Plugin
