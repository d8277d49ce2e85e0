// The monitor between a codec's client and its decoding thread.
#include "Platform/Desktop/CodecBuffers.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

namespace Nimb::Desktop {
namespace {

constexpr size_t c_MaxReadyOutputs = 4;
constexpr int64_t c_NoBuffer = -1;
// A day: long enough, and no clock overflows.
constexpr int64_t c_MaxTimeoutUs = int64_t{24} * 3600 * 1000000;

Media::AvPtr<AVPacket> CopyToPacket(const uint8_t* data, size_t size) {
    Media::AvPtr<AVPacket> packet = Media::Owned(av_packet_alloc());
    if (av_new_packet(packet.get(), static_cast<int>(size)) < 0) {
        throw std::bad_alloc();
    }
    std::memcpy(packet->data, data, size);
    return packet;
}

size_t SizeOf(const DecodedBuffer& buffer) {
    return buffer.picture != nullptr ? buffer.picture->RgbaSize() : buffer.samples.size();
}

}  // namespace

void CodecBuffers::Configure(size_t inputCount, size_t inputSize) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Slots.clear();
    m_Slots.resize(inputCount);
    m_InputSize = inputSize;
    m_UnitCount = 0;
}

void CodecBuffers::Open() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Open = true;
    BeginEpoch();
}

void CodecBuffers::Flush() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    BeginEpoch();
}

void CodecBuffers::Close() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Open = false;
    BeginEpoch();
}

bool CodecBuffers::IsOpen() const {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Open;
}

void CodecBuffers::BeginEpoch() {
    ++m_Epoch;
    m_Queued.clear();
    m_Ready.clear();
    m_Lapsed.merge(m_Held);
    for (Slot& slot : m_Slots) {
        slot.index = c_NoBuffer;
        if (slot.state != SlotState::Decoding) {  // which the decoding thread still reads
            slot.state = SlotState::Free;
        }
    }
    m_InputFree.notify_all();
    m_InputQueued.notify_all();
    m_OutputReady.notify_all();
    m_OutputRoom.notify_all();
}

// Waits until `ready()`, for `timeoutUs` at most when that is not negative. False when the epoch ended meanwhile. The
// caller checks again what is ready.
template <class Ready>
bool CodecBuffers::WaitFor(std::unique_lock<std::mutex>& lock, std::condition_variable& change, int64_t timeoutUs,
                           Ready ready) {
    const uint64_t epoch = m_Epoch;
    const auto isOver = [&] { return !m_Open || m_Epoch != epoch || ready(); };
    if (timeoutUs < 0) {
        change.wait(lock, isOver);
    } else {
        change.wait_for(lock, std::chrono::microseconds(std::min(timeoutUs, c_MaxTimeoutUs)), isOver);
    }
    return m_Open && m_Epoch == epoch;
}

CodecBuffers::Slot* CodecBuffers::FreeSlot() {
    const auto slot =
        std::find_if(m_Slots.begin(), m_Slots.end(), [](const Slot& s) { return s.state == SlotState::Free; });
    return slot != m_Slots.end() ? &*slot : nullptr;
}

CodecBuffers::Slot* CodecBuffers::ClientSlot(int64_t index) {
    const auto slot = std::find_if(m_Slots.begin(), m_Slots.end(),
                                   [index](const Slot& s) { return s.state == SlotState::Client && s.index == index; });
    return slot != m_Slots.end() ? &*slot : nullptr;
}

MLResult CodecBuffers::DequeueInput(int64_t timeoutUs, int64_t* outIndex) {
    *outIndex = c_NoBuffer;
    std::unique_lock<std::mutex> lock(m_Mutex);
    if (!WaitFor(lock, m_InputFree, timeoutUs, [this] { return FreeSlot() != nullptr; })) {
        return MLResult_UnspecifiedFailure;
    }
    Slot* const slot = FreeSlot();
    if (slot == nullptr) {
        *outIndex = MLMediaCodec_TryAgainLater;
        return MLResult_Ok;
    }
    if (slot->memory == nullptr) {
        slot->memory.reset(new uint8_t[m_InputSize]);
    }
    slot->state = SlotState::Client;
    slot->index = ++m_LastIndex;
    *outIndex = slot->index;
    return MLResult_Ok;
}

MLResult CodecBuffers::InputPointer(int64_t index, uint8_t** outBuffer, size_t* outSize) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const Slot* const slot = ClientSlot(index);
    if (slot == nullptr) {
        return MLResult_InvalidParam;
    }
    *outBuffer = slot->memory.get();
    *outSize = m_InputSize;
    return MLResult_Ok;
}

MLResult CodecBuffers::QueueInput(int64_t index, int64_t offset, size_t size, int64_t timeUs, int flags) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    Slot* const slot = ClientSlot(index);
    if (slot == nullptr || offset < 0 || static_cast<uint64_t>(offset) > m_InputSize ||
        size > m_InputSize - static_cast<size_t>(offset)) {
        return MLResult_InvalidParam;
    }
    const bool isUnit = size > 0 && (flags & MLMediaCodecBufferFlag_CodecConfig) == 0;
    QueuedInput queued{slot, static_cast<size_t>(offset), size, {}};
    queued.input.epoch = m_Epoch;
    queued.input.number = isUnit ? m_UnitCount + 1 : 0;
    queued.input.timeUs = timeUs;
    queued.input.endOfStream = (flags & MLMediaCodecBufferFlag_EOS) != 0;
    m_Queued.push_back(std::move(queued));
    m_UnitCount += isUnit ? 1 : 0;
    slot->state = SlotState::Queued;
    m_InputQueued.notify_one();
    return MLResult_Ok;
}

MLResult CodecBuffers::DequeueOutput(int64_t timeoutUs, MLMediaCodecBufferInfo* outInfo, int64_t* outIndex) {
    *outIndex = c_NoBuffer;
    *outInfo = {};
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Lapsed.clear();
    if (!WaitFor(lock, m_OutputReady, timeoutUs, [this] { return !m_Ready.empty(); })) {
        return MLResult_UnspecifiedFailure;
    }
    if (m_Ready.empty()) {
        *outIndex = MLMediaCodec_TryAgainLater;
        return MLResult_Ok;
    }
    const auto held = m_Held.emplace(m_LastIndex + 1, std::move(m_Ready.front())).first;
    *outIndex = ++m_LastIndex;
    m_Ready.pop_front();
    outInfo->size = SizeOf(held->second);
    outInfo->flags = held->second.endOfStream ? MLMediaCodecBufferFlag_EOS : 0;
    outInfo->presentation_time_us = held->second.timeUs;
    m_OutputRoom.notify_one();
    return MLResult_Ok;
}

MLResult CodecBuffers::OutputPointer(int64_t index, const uint8_t** outBuffer, size_t* outSize) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const auto held = m_Held.find(index);
    if (held == m_Held.end()) {
        return MLResult_InvalidParam;
    }
    const DecodedBuffer& buffer = held->second;
    *outBuffer = buffer.picture != nullptr ? buffer.picture->Rgba()->pixels.get() : buffer.samples.data();
    *outSize = SizeOf(buffer);
    return MLResult_Ok;
}

MLResult CodecBuffers::TakeOutput(int64_t index, DecodedBuffer* out) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const auto held = m_Held.find(index);
    if (held == m_Held.end()) {
        return MLResult_InvalidParam;
    }
    *out = std::move(held->second);
    m_Held.erase(held);
    return MLResult_Ok;
}

bool CodecBuffers::NextInput(Input* out) {
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_InputQueued.wait(lock, [this] { return !m_Open || !m_Queued.empty(); });
    if (!m_Open) {
        return false;
    }
    const QueuedInput queued = std::move(m_Queued.front());
    m_Queued.pop_front();
    queued.slot->state = SlotState::Decoding;
    lock.unlock();
    const auto release = [&] {
        lock.lock();
        queued.slot->state = SlotState::Free;
        m_InputFree.notify_one();
    };

    out->epoch = queued.input.epoch;
    out->number = queued.input.number;
    out->timeUs = queued.input.timeUs;
    out->endOfStream = queued.input.endOfStream;
    try {
        out->packet = queued.size > 0 ? CopyToPacket(queued.slot->memory.get() + queued.offset, queued.size) : nullptr;
    } catch (...) {
        release();
        throw;
    }
    release();
    return true;
}

bool CodecBuffers::Deliver(uint64_t epoch, DecodedBuffer buffer) {
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_OutputRoom.wait(lock, [&] { return !m_Open || m_Epoch != epoch || m_Ready.size() < c_MaxReadyOutputs; });
    if (!m_Open || m_Epoch != epoch) {
        return false;
    }
    m_Ready.push_back(std::move(buffer));
    m_OutputReady.notify_one();
    return true;
}

}  // namespace Nimb::Desktop
