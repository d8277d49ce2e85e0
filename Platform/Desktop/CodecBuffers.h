// The buffers between a codec's client and its decoding thread.
//
// Input: a fixed number of buffers that go from the client to the decoding thread and back. Output: decoded buffers,
// of which only a few wait at a time; the decoding thread waits for room, which is what paces it.
//
// Open, Flush and Close begin a new epoch. What was queued, decoded or handed out in an earlier epoch is void: its
// indices are refused, its waits end with a failure, and what is decoded from it late is dropped. Indices are never
// used twice. Memory that a client was given stays as it is until the same side's next dequeue, since the client may
// be reading or writing it when another thread flushes.
#pragma once

#include "Media/Av.h"
#include "Platform/Desktop/Decoder.h"

#include <ml_media_codec.h>

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Nimb::Desktop {

class CodecBuffers {
public:
    // ---- Between the two sides ----

    /// Closed, with other buffers, and counting access units from 0.
    void Configure(size_t inputCount, size_t inputSize);
    void Open();
    void Flush();
    void Close();
    /// Closed until the next Open because decoding failed.
    void Fail() { Close(); }
    bool IsOpen() const;

    // ---- The client's side ----

    MLResult DequeueInput(int64_t timeoutUs, int64_t* outIndex);
    MLResult InputPointer(int64_t index, uint8_t** outBuffer, size_t* outSize);
    MLResult QueueInput(int64_t index, int64_t offset, size_t size, int64_t timeUs, int flags);
    MLResult DequeueOutput(int64_t timeoutUs, MLMediaCodecBufferInfo* outInfo, int64_t* outIndex);
    MLResult OutputPointer(int64_t index, const uint8_t** outBuffer, size_t* outSize);
    /// Takes the buffer back from the client, and out of here.
    MLResult TakeOutput(int64_t index, DecodedBuffer* out);

    // ---- The decoding thread's side ----

    struct Input {
        uint64_t epoch = 0;
        Media::AvPtr<AVPacket> packet;  // null when empty
        uint64_t number = 0;            // of access units, 1 for the first since Configure; 0: not one
        int64_t timeUs = 0;
        bool endOfStream = false;
    };

    /// Waits for input. False: closed.
    bool NextInput(Input* out);
    /// Waits for room and adds a buffer decoded in `epoch`. False: that epoch is over.
    bool Deliver(uint64_t epoch, DecodedBuffer buffer);

private:
    enum class SlotState { Free, Client, Queued, Decoding };
    struct Slot {
        SlotState state = SlotState::Free;
        int64_t index = -1;
        std::unique_ptr<uint8_t[]> memory;  // from the first use on
    };
    struct QueuedInput {
        Slot* slot;
        size_t offset;
        size_t size;
        Input input;  // without its packet
    };

    template <class Ready>
    bool WaitFor(std::unique_lock<std::mutex>& lock, std::condition_variable& change, int64_t timeoutUs, Ready ready);
    Slot* FreeSlot();
    Slot* ClientSlot(int64_t index);
    void BeginEpoch();

    mutable std::mutex m_Mutex;  // guards all below
    std::condition_variable m_InputFree;
    std::condition_variable m_InputQueued;
    std::condition_variable m_OutputReady;
    std::condition_variable m_OutputRoom;

    bool m_Open = false;
    uint64_t m_Epoch = 0;
    int64_t m_LastIndex = -1;
    uint64_t m_UnitCount = 0;

    size_t m_InputSize = 0;
    std::vector<Slot> m_Slots;
    std::deque<QueuedInput> m_Queued;

    std::deque<DecodedBuffer> m_Ready;
    std::map<int64_t, DecodedBuffer> m_Held;    // by the client
    std::map<int64_t, DecodedBuffer> m_Lapsed;  // held by the client when their epoch ended
};

}  // namespace Nimb::Desktop
