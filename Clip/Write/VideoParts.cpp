#include "Clip/Write/VideoParts.h"

#include "Clip/Write/OrderedTasks.h"
#include "Clip/Write/VideoEncoder.h"

#include <pthread.h>

#include <chrono>
#include <iterator>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// An encoder that begins anew has yet to learn what pictures are like, and looks ahead no further than to its last
/// one. With parts of 30 pictures the built-in clip takes 4 to 9 % more bytes for the same PSNR than in one part, and
/// is encoded 10 % sooner on two cores; with 48, half of that.
constexpr std::size_t c_LeastPart = 90;

std::size_t BytesOf(const AVFrame& picture) {
    return static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) * 3 / 2;
}

}  // namespace

VideoParts::VideoParts(const VideoTrackOptions& options, std::size_t threads, std::size_t memory,
                       const std::atomic<bool>& stop)
    : m_Options(options), m_Memory(memory), m_Stop(stop) {
    try {
        for (std::size_t i = 0; i < threads; ++i) {
            m_Threads.emplace_back([this] { Work(); });
            pthread_setname_np(m_Threads.back().native_handle(), "nimb video");
        }
    } catch (...) {
        Stop();
        throw;
    }
}

VideoParts::~VideoParts() {
    Stop();
}

void VideoParts::Stop() {
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_IsOver = true;
        for (Part& part : m_Parts) {
            part.waiting.clear();
            part.isComplete = true;
        }
    }
    m_Changed.notify_all();
    for (std::thread& thread : m_Threads) {
        thread.join();
    }
}

void VideoParts::Add(std::shared_ptr<const AVFrame> picture, Bytes meshUnit, bool isKey) {
    m_Held.push_back({std::move(picture), std::move(meshUnit), KeyPicture::Open, isKey});
    if (m_Held.size() == 3) {
        Decide(m_Held[1]);
        Push(std::move(m_Held.front()));
        m_Held.pop_front();
        if (m_PartLength == 1) {
            EndPart();
        }
    } else if (m_Held.size() == 1) {
        m_Held.front().key = KeyPicture::Here;
        m_PartLength = 1;
    }
}

std::vector<VideoSample> VideoParts::Finish() {
    if (m_Held.size() == 2) {
        m_Held.back().key = KeyPicture::Never;
    }
    for (Item& item : m_Held) {
        Push(std::move(item));
    }
    m_Held.clear();
    EndPart();
    std::vector<VideoSample> samples;
    std::unique_lock<std::mutex> lock(m_Mutex);
    for (Part& part : m_Parts) {
        WaitUntil(lock, [&part] { return part.isDone; });
        if (part.error) {
            std::rethrow_exception(part.error);
        }
        std::move(part.samples.begin(), part.samples.end(), std::back_inserter(samples));
    }
    return samples;
}

/// Whether the second of the held pictures, after which more come, is a key picture, and whether a part begins with it.
void VideoParts::Decide(Item& item) {
    Item& before = m_Held.front();
    ++m_PartLength;
    if (!item.isWanted) {
        return;
    }
    item.key = KeyPicture::Here;
    if (m_PartLength > c_LeastPart && before.key == KeyPicture::Open) {
        before.key = KeyPicture::Never;
        m_PartLength = 1;
    }
}

void VideoParts::Push(Item item) {
    const std::size_t bytes = BytesOf(*item.picture);
    std::unique_lock<std::mutex> lock(m_Mutex);
    WaitUntil(lock, [&] { return m_WaitingBytes == 0 || m_WaitingBytes + bytes <= m_Memory; });
    if (m_Parts.empty() || m_Parts.back().isComplete) {
        m_Parts.emplace_back();
    }
    m_WaitingBytes += bytes;
    m_Parts.back().waiting.push_back(std::move(item));
    lock.unlock();
    m_Changed.notify_all();
}

void VideoParts::EndPart() {
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        if (!m_Parts.empty()) {
            m_Parts.back().isComplete = true;
        }
    }
    m_Changed.notify_all();
}

template <class Condition>
void VideoParts::WaitUntil(std::unique_lock<std::mutex>& lock, Condition&& condition) {
    do {
        if (m_Stop) {
            throw Stopped();
        }
    } while (!m_Changed.wait_for(lock, std::chrono::milliseconds(100), condition));
}

// ---- Any of the threads ----

void VideoParts::Work() {
    for (;;) {
        Part* pPart = nullptr;
        {
            std::unique_lock<std::mutex> lock(m_Mutex);
            m_Changed.wait(lock, [this] { return m_IsOver || m_NextPart < m_Parts.size(); });
            if (m_NextPart >= m_Parts.size()) {
                return;
            }
            pPart = &m_Parts[m_NextPart++];
        }
        std::exception_ptr error;
        try {
            Encode(*pPart);
        } catch (...) {
            error = std::current_exception();
        }
        Item ignored;
        while (error && Take(*pPart, &ignored)) {
            // Whoever adds pictures must not wait for ever for room.
        }
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            pPart->error = error;
            pPart->isDone = true;
        }
        m_Changed.notify_all();
    }
}

void VideoParts::Encode(Part& part) {
    VideoEncoder encoder(m_Options);
    const auto sink = [&part](AVPacket& packet) {
        part.samples.push_back({Bytes(packet.data, packet.data + packet.size), (packet.flags & AV_PKT_FLAG_KEY) != 0});
    };
    for (Item item; Take(part, &item);) {
        encoder.Encode(*item.picture, std::move(item.meshUnit), item.key, sink);
    }
    if (!m_IsOver) {
        encoder.Finish(sink);
    }
}

/// False when the part has no more pictures.
bool VideoParts::Take(Part& part, Item* pItem) {
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Changed.wait(lock, [&part] { return !part.waiting.empty() || part.isComplete; });
        if (part.waiting.empty()) {
            return false;
        }
        *pItem = std::move(part.waiting.front());
        part.waiting.pop_front();
        m_WaitingBytes -= BytesOf(*pItem->picture);
    }
    m_Changed.notify_all();
    return true;
}

}  // namespace Nimb::Authoring
