// Reads the samples of an MP4 file in file order.
//
// libavformat's order is the file's as long as the tracks run within a second of each other; tracks that are further
// apart are brought together. Edit lists are ignored, so every sample of the file is delivered, from time 0 on, and the
// same ones after each seek to the start.
#pragma once

#include "Media/Av.h"
#include "Platform/Desktop/HandleTable.h"
#include "Platform/Desktop/MediaFormat.h"

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include <ml_media_extractor.h>

namespace Nimb::Desktop {

class MediaExtractor final : public Object {
public:
    /// Ends whatever waits for the file, for good.
    void Abort() { m_Aborted = true; }

    MLResult SetDataSource(const std::string& uri);
    size_t TrackCount();
    std::shared_ptr<MediaFormat> TrackFormat(size_t track);  // null: no such track
    MLResult SelectTrack(size_t track);
    MLResult SeekTo(int64_t timeUs, MLMediaSeekMode mode);
    MLResult Advance();
    int64_t SampleTrack();
    int64_t SampleTimeUs();
    MLResult ReadSample(uint8_t* buffer, size_t bufferSize, size_t offset, int64_t* outSize);

private:
    struct Track {
        AVStream* stream = nullptr;  // the context's
        bool usable = true;
        bool selected = false;
        Media::AvPtr<AVBSFContext> filter;  // to byte streams, where samples are none
    };
    enum class Position { Unread, AtSample, AtEnd };

    static int IsAborted(void* self);
    Media::AvPtr<AVFormatContext> OpenContext(const std::string& path);
    static Track OpenTrack(AVStream* stream);
    size_t MaxSampleSize(const Track& track) const;
    const Track* SeekReference() const;

    bool ReachSample();
    bool ReadNext();
    Track* TrackOfPacket();

    std::atomic<bool> m_Aborted{false};

    std::mutex m_Mutex;  // guards all below
    Media::AvPtr<AVFormatContext> m_Context;
    std::vector<Track> m_Tracks;
    Media::AvPtr<AVPacket> m_Packet;  // the current sample when m_Position is AtSample
    Position m_Position = Position::Unread;
};

}  // namespace Nimb::Desktop
