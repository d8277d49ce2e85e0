// The pictures of a segment to H.264 samples, in parts that are encoded side by side.
//
// A part begins with a key picture and has an encoder of its own with one thread, so that the same bytes come out
// however many parts are encoded at a time. No part ends with a key picture: two of them in a row would have to be told
// apart by a number that each encoder counts for itself.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Clip/Write/TrackOptions.h"
#include "Media/Av.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Nimb::Authoring {

/// A picture and the mesh of its frame, as they stand in the file.
struct VideoSample {
    Bytes bytes;
    bool isKeyPicture = false;
};

/// Belongs to one thread.
class VideoParts {
public:
    /// At most `threads` parts are encoded at a time, and about `memory` bytes of pictures wait; both at least 1.
    /// When `stop` is set, methods throw Stopped.
    VideoParts(const VideoTrackOptions& options, std::size_t threads, std::size_t memory,
               const std::atomic<bool>& stop);
    ~VideoParts();
    VideoParts(const VideoParts&) = delete;
    VideoParts& operator=(const VideoParts&) = delete;

    /// The next picture, with its mesh unit in bare framing. Waits while there is no memory. `isKey`: a key picture is
    /// wanted here; the first gets to be one anyway, and the last one does not.
    void Add(std::shared_ptr<const AVFrame> picture, Bytes meshUnit, bool isKey);

    /// The samples of all pictures, in order. Throws what an encoder threw.
    std::vector<VideoSample> Finish();

private:
    struct Item {
        std::shared_ptr<const AVFrame> picture;
        Bytes meshUnit;
        KeyPicture key = KeyPicture::Open;
        bool isWanted = false;
    };
    struct Part {
        std::deque<Item> waiting;
        bool isComplete = false;
        bool isDone = false;
        std::vector<VideoSample> samples;
        std::exception_ptr error;
    };

    void Stop();
    void Decide(Item& item);
    void Push(Item item);
    void EndPart();
    void Work();
    void Encode(Part& part);
    bool Take(Part& part, Item* pItem);
    template <class Condition>
    void WaitUntil(std::unique_lock<std::mutex>& lock, Condition&& condition);

    const VideoTrackOptions m_Options;
    const std::size_t m_Memory;
    const std::atomic<bool>& m_Stop;

    std::deque<Item> m_Held;            // the last two: what becomes of a picture depends on the one after the next
    std::atomic<bool> m_IsOver{false};  // nobody wants the samples; set under the mutex
    std::size_t m_PartLength = 0;       // of the part that grows, with what is held of it

    std::mutex m_Mutex;  // guards what follows
    std::condition_variable m_Changed;
    std::deque<Part> m_Parts;
    std::size_t m_NextPart = 0;
    std::size_t m_WaitingBytes = 0;

    std::vector<std::thread> m_Threads;
};

}  // namespace Nimb::Authoring
