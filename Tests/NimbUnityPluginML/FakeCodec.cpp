// The fake platform's codecs. Each decodes on a thread of its own, which also fires on_frame_available.
#include "Tests/NimbUnityPluginML/FakeHandles.h"

#include <ml_media_codec.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <set>
#include <thread>
#include <utility>

namespace {

using Fake::Bytes;
using Fake::Enter;
using Fake::HandleTable;
using Fake::Media;
using Fake::With;
using Clock = std::chrono::steady_clock;
using Lock = std::unique_lock<std::mutex>;

constexpr std::int64_t c_InputBuffers = 8;
constexpr std::size_t c_MaxOutputs = 6;
constexpr std::chrono::milliseconds c_LookAround{1};  // the script changes without notice

class NativeBuffer : public Fake::Object {
public:
    explicit NativeBuffer(std::uint32_t picture) : Object(Fake::Kind::NativeBuffer), m_Picture(picture) {}

    const std::uint32_t m_Picture;
};

std::uint32_t ReadPicture(const Bytes& sample) {
    std::uint32_t picture = 0;
    for (std::size_t i = 5; i < 13 && i < sample.size(); ++i) {
        picture = (picture << 4) | (sample[i] & 15u);
    }
    return picture;
}

class Codec : public Fake::Object {
public:
    explicit Codec(Media media) : Object(Fake::Kind::Codec, media) {
        m_Thread = std::thread([this] { Run(); });
    }
    ~Codec() override { End(); }

    // ---- The platform's functions ----

    MLResult SetCallbacks(const MLMediaCodecCallbacks& callbacks, void* userData) {
        const Lock lock(m_Mutex);
        m_Callbacks = callbacks;
        m_UserData = userData;
        return MLResult_Ok;
    }

    MLResult Configure(std::size_t largestSample) {
        const Lock lock(m_Mutex);
        m_Configured = true;
        m_UnitsQueued = 0;
        m_UnitsRendered = 0;
        m_Inputs.assign(c_InputBuffers, Bytes(largestSample));
        return MLResult_Ok;
    }

    MLResult Start() {
        const Lock lock(m_Mutex);
        if (!m_Configured || m_Started) {
            return MLResult_UnspecifiedFailure;
        }
        m_Started = true;
        ForgetBuffers();
        return MLResult_Ok;
    }

    MLResult Flush(bool stop) {
        {
            const Lock lock(m_Mutex);
            if (!m_Started) {
                return MLResult_UnspecifiedFailure;
            }
            ForgetBuffers();
            m_Started = !stop;
            if (Fake::TheScript().dropFramesOnFlush) {
                m_Rendered.clear();
            }
        }
        m_Changed.notify_all();
        return MLResult_Ok;
    }

    /// No callback comes after this.
    void End() {
        {
            const Lock lock(m_Mutex);
            if (m_Dead) {
                return;
            }
            m_Dead = true;
            ++m_Epoch;
        }
        m_Changed.notify_all();
        m_Thread.join();
        const Lock lock(m_Mutex);
        if (!m_Acquired.empty()) {
            Fake::CountCodecDestroyedUnderAFrame();
        }
        for (const MLHandle frame : std::exchange(m_Acquired, {})) {
            HandleTable::Instance().Remove<NativeBuffer>(frame);
        }
    }

    MLResult DequeueInput(std::int64_t timeoutUs, std::int64_t* pIndex) {
        Lock lock(m_Mutex);
        const auto isReady = [this] { return !m_FreeInputs.empty() && !HoldsInput(); };
        if (!WaitFor(lock, timeoutUs, isReady)) {
            return MLResult_UnspecifiedFailure;
        }
        if (!isReady()) {
            *pIndex = MLMediaCodec_TryAgainLater;
            return MLResult_Ok;
        }
        *pIndex = m_FreeInputs.front();
        m_FreeInputs.pop_front();
        m_InputsInHand.insert(*pIndex);
        return MLResult_Ok;
    }

    MLResult InputPointer(std::int64_t index, std::uint8_t** ppBuffer, std::size_t* pSize) {
        const Lock lock(m_Mutex);
        if (m_InputsInHand.count(index) == 0) {
            return MLResult_InvalidParam;
        }
        *ppBuffer = m_Inputs[static_cast<std::size_t>(index)].data();
        *pSize = m_Inputs[static_cast<std::size_t>(index)].size();
        return MLResult_Ok;
    }

    MLResult QueueInput(std::int64_t index, std::int64_t offset, std::size_t size, std::uint64_t timeUs, int flags) {
        {
            const Lock lock(m_Mutex);
            if (m_InputsInHand.erase(index) == 0) {
                return MLResult_InvalidParam;
            }
            const Bytes& buffer = m_Inputs[static_cast<std::size_t>(index)];
            Unit unit{index, size > 0 ? ++m_UnitsQueued : 0, static_cast<std::int64_t>(timeUs), flags, {}};
            unit.bytes.assign(buffer.begin() + offset, buffer.begin() + offset + static_cast<std::ptrdiff_t>(size));
            m_Queued.push_back(std::move(unit));
        }
        m_Changed.notify_all();
        return MLResult_Ok;
    }

    MLResult DequeueOutput(std::int64_t timeoutUs, MLMediaCodecBufferInfo* pInfo, std::int64_t* pIndex) {
        Lock lock(m_Mutex);
        const auto isReady = [this] { return !m_Outputs.empty(); };
        if (!WaitFor(lock, timeoutUs, isReady)) {
            return MLResult_UnspecifiedFailure;
        }
        if (!isReady()) {
            *pIndex = MLMediaCodec_TryAgainLater;
            return MLResult_Ok;
        }
        Output output = std::move(m_Outputs.front());
        m_Outputs.pop_front();
        const bool hasData = m_Media == Media::Video ? output.number != 0 : !output.bytes.empty();
        *pInfo = {m_Media == Media::Audio ? c_AudioOffset : 0,
                  hasData ? std::max<std::size_t>(output.bytes.size(), 1) : 0, static_cast<std::size_t>(output.flags),
                  output.timeUs};
        *pIndex = m_NextOutput++;
        output.bytes.insert(output.bytes.begin(), c_AudioOffset, 0xBB);  // what is before the offset is not sound
        m_OutputsInHand.emplace(*pIndex, std::move(output));
        return MLResult_Ok;
    }

    MLResult OutputPointer(std::int64_t index, const std::uint8_t** ppBuffer, std::size_t* pSize) {
        const Lock lock(m_Mutex);
        const auto it = m_OutputsInHand.find(index);
        if (it == m_OutputsInHand.end()) {
            return MLResult_InvalidParam;
        }
        // A flush makes the index invalid; the bytes stay readable for whoever is still at it.
        m_LastPointer = std::make_shared<Bytes>(it->second.bytes);
        *ppBuffer = m_LastPointer->data();
        *pSize = m_LastPointer->size();
        return MLResult_Ok;
    }

    MLResult ReleaseOutput(std::int64_t index, bool render) {
        {
            const Lock gate(Fake::PictureGate());
            const Lock lock(m_Mutex);
            const auto it = m_OutputsInHand.find(index);
            if (it == m_OutputsInHand.end()) {
                return MLResult_InvalidParam;
            }
            if (render) {
                ++m_UnitsRendered;
                m_Rendered.push_back(
                    {Fake::TheScript().countRendered ? m_UnitsRendered : it->second.number, it->second.picture});
                m_Due.push_back(Clock::now() + std::chrono::microseconds(Fake::TheScript().callbackDelayUs));
            }
            m_OutputsInHand.erase(it);
        }
        m_Changed.notify_all();
        return MLResult_Ok;
    }

    MLResult Acquire(MLHandle* pFrame) {
        const Lock lock(m_Mutex);
        if (m_Rendered.empty() || m_Dead) {
            return MLResult_UnspecifiedFailure;
        }
        const auto [number, picture] = m_Rendered.front();
        m_Rendered.pop_front();
        if (!Fake::TheScript().repeatFrameNumber || m_AcquiredNumber == 0) {
            m_AcquiredNumber = number;
        }
        *pFrame = HandleTable::Instance().Add(std::make_shared<NativeBuffer>(picture));
        m_Acquired.insert(*pFrame);
        return MLResult_Ok;
    }

    MLResult ReleaseFrame(MLHandle frame) {
        const Lock lock(m_Mutex);
        if (m_Acquired.erase(frame) == 0) {
            return MLResult_InvalidParam;
        }
        HandleTable::Instance().Remove<NativeBuffer>(frame);
        return MLResult_Ok;
    }

    MLResult FrameNumber(std::uint64_t* pNumber) {
        const Lock lock(m_Mutex);
        *pNumber = m_AcquiredNumber;
        return MLResult_Ok;
    }

private:
    static constexpr std::size_t c_AudioOffset = 3;

    struct Unit {
        std::int64_t input;
        std::uint64_t number;  ///< from 1 since Configure; 0: no access unit
        std::int64_t timeUs;
        int flags;
        Bytes bytes;
    };
    struct Output {
        std::uint64_t number;
        std::uint32_t picture;
        std::int64_t timeUs;
        int flags;
        Bytes bytes;
    };

    bool HoldsInput() const {
        return m_Media == Media::Video ? Fake::TheScript().holdVideoInput : Fake::TheScript().holdAudioInput;
    }
    bool HoldsOutput() const {
        return m_Media == Media::Video ? Fake::TheScript().holdVideoOutput : Fake::TheScript().holdAudioOutput;
    }

    /// Everything that a flush takes away. Under m_Mutex.
    void ForgetBuffers() {
        ++m_Epoch;
        m_FreeInputs.clear();
        for (std::int64_t i = 0; i < c_InputBuffers; ++i) {
            m_FreeInputs.push_back(i);
        }
        m_InputsInHand.clear();
        m_Queued.clear();
        m_NextPicture = Fake::c_BrokenPicture;
        m_Outputs.clear();
        m_OutputsInHand.clear();
        m_Pcm.clear();
    }

    /// False when a flush or an end came in between, or there is nothing to wait for. True with nothing ready: too
    /// late.
    template <class Ready>
    bool WaitFor(Lock& lock, std::int64_t timeoutUs, Ready&& isReady) {
        const std::uint64_t epoch = m_Epoch;
        const auto end = Clock::now() + std::chrono::microseconds(timeoutUs);
        while (m_Started && !m_Dead && m_Epoch == epoch) {
            if (isReady() || (timeoutUs >= 0 && Clock::now() >= end)) {
                return true;
            }
            m_Changed.wait_for(lock, c_LookAround);
        }
        return false;
    }

    void Run() {
        const Fake::Inside inside;
        Lock lock(m_Mutex);
        while (!m_Dead) {
            if (!m_Due.empty() && m_Due.front() <= Clock::now()) {
                m_Due.pop_front();
                const MLMediaCodecCallbacks callbacks = m_Callbacks;
                void* const userData = m_UserData;
                lock.unlock();
                if (callbacks.on_frame_available != nullptr) {
                    callbacks.on_frame_available(ML_INVALID_HANDLE, userData);  // the player does not look at it
                }
                lock.lock();
            } else if (!m_Queued.empty() && !HoldsOutput() &&
                       m_Outputs.size() + m_OutputsInHand.size() < c_MaxOutputs) {
                Unit unit = std::move(m_Queued.front());
                m_Queued.pop_front();
                m_FreeInputs.push_back(unit.input);
                Decode(std::move(unit));
                m_Changed.notify_all();
            } else {
                m_Changed.wait_for(lock, c_LookAround);
            }
        }
    }

    void Decode(Unit unit) {
        if ((unit.flags & MLMediaCodecBufferFlag_EOS) != 0) {
            EmitSound(unit.timeUs, 1);
            m_Outputs.push_back({0, 0, unit.timeUs, MLMediaCodecBufferFlag_EOS, {}});
        } else if (m_Media == Media::Audio) {
            m_Pcm.insert(m_Pcm.end(), unit.bytes.begin(), unit.bytes.end());
            EmitSound(unit.timeUs, Fake::TheScript().audioChunk);
        } else if (const std::uint32_t picture = ReadPicture(unit.bytes); picture >= Fake::TheScript().undecodable) {
            const bool isKey = unit.bytes.size() > 4 && unit.bytes[4] == 0x65;
            const bool isDecoded = isKey || picture == m_NextPicture;
            m_NextPicture = isDecoded ? picture + 1 : Fake::c_BrokenPicture;
            m_Outputs.push_back({unit.number, isDecoded ? picture : Fake::c_BrokenPicture, unit.timeUs, 0, {}});
        }
    }

    /// Buffers of as many bytes as the script says, for as long as there are `atLeast`.
    void EmitSound(std::int64_t timeUs, std::size_t atLeast) {
        while (!m_Pcm.empty() && m_Pcm.size() >= atLeast) {
            const std::size_t chunk = Fake::TheScript().audioChunk;
            const std::size_t size = chunk == 0 ? m_Pcm.size() : std::min(chunk, m_Pcm.size());
            const auto cut = m_Pcm.begin() + static_cast<std::ptrdiff_t>(size);
            m_Outputs.push_back({0, 0, timeUs, 0, Bytes(m_Pcm.begin(), cut)});
            m_Pcm.erase(m_Pcm.begin(), cut);
        }
    }

    std::condition_variable m_Changed;
    std::thread m_Thread;
    MLMediaCodecCallbacks m_Callbacks{};
    void* m_UserData = nullptr;
    bool m_Configured = false;
    bool m_Started = false;
    bool m_Dead = false;
    std::uint64_t m_Epoch = 0;  ///< counts flushes: a dequeue that waited across one fails

    std::vector<Bytes> m_Inputs;
    std::deque<std::int64_t> m_FreeInputs;
    std::set<std::int64_t> m_InputsInHand;
    std::uint64_t m_UnitsQueued = 0;
    std::uint64_t m_UnitsRendered = 0;
    std::uint32_t m_NextPicture = Fake::c_BrokenPicture;  ///< that can be decoded without being a key picture
    std::deque<Unit> m_Queued;

    std::deque<Output> m_Outputs;
    std::map<std::int64_t, Output> m_OutputsInHand;
    std::int64_t m_NextOutput = 0;
    Bytes m_Pcm;
    std::shared_ptr<Bytes> m_LastPointer;

    std::deque<std::pair<std::uint64_t, std::uint32_t>> m_Rendered;  ///< number, picture
    std::deque<Clock::time_point> m_Due;
    std::set<MLHandle> m_Acquired;
    std::uint64_t m_AcquiredNumber = 0;
};

/// `With` for a dequeue, which can also succeed without a buffer.
template <class Operation>
MLResult Dequeue(const char* function, MLHandle handle, std::int64_t* pIndex, Operation&& operation) {
    return With<Codec>(function, handle, [&](Codec& codec) {
        if (const auto status = Fake::TakeRefusal(function, codec.m_Media)) {
            *pIndex = *status;
            return MLResult{MLResult_Ok};
        }
        return operation(codec);
    });
}

}  // namespace

std::optional<std::uint32_t> Fake::PictureOf(MLHandle nativeBuffer) {
    const auto buffer = HandleTable::Instance().Find<NativeBuffer>(nativeBuffer);
    return buffer != nullptr ? std::optional<std::uint32_t>(buffer->m_Picture) : std::nullopt;
}

MLResult MLMediaCodecCreateCodec(MLMediaCodecCreation creation, MLMediaCodecType type, const char* name,
                                 MLHandle* out) {
    const Fake::Inside inside;
    const Media media = std::strncmp(name, "audio/", 6) == 0 ? Media::Audio : Media::Video;
    if (const auto scripted = Enter(__func__, media)) {
        return *scripted;
    }
    if (creation != MLMediaCodecCreation_ByType || type != MLMediaCodecType_Decoder) {
        return MLResult_InvalidParam;
    }
    *out = HandleTable::Instance().Add(std::make_shared<Codec>(media));
    return MLResult_Ok;
}

MLResult MLMediaCodecSetCallbacks(MLHandle handle, MLMediaCodecCallbacks* callbacks, void* userData) {
    return With<Codec>(__func__, handle, [=](Codec& codec) { return codec.SetCallbacks(*callbacks, userData); });
}

MLResult MLMediaCodecSetSurfaceHint(MLHandle handle, MLMediaCodecSurfaceHint hint) {
    return With<Codec>(__func__, handle, [=](Codec&) {
        return hint == MLMediaCodecSurfaceHint_Hardware ? MLResult_Ok : MLResult_InvalidParam;
    });
}

MLResult MLMediaCodecConfigure(MLHandle handle, MLHandle format, MLHandle crypto) {
    const Fake::Inside inside;
    const auto track = HandleTable::Instance().Find<Fake::Format>(format);
    return With<Codec>(__func__, handle, [&](Codec& codec) {
        return track != nullptr && crypto == 0 ? codec.Configure(track->m_LargestSample)
                                               : MLResult{MLResult_InvalidParam};
    });
}

MLResult MLMediaCodecStart(MLHandle handle) {
    return With<Codec>(__func__, handle, [](Codec& codec) { return codec.Start(); });
}

MLResult MLMediaCodecStop(MLHandle handle) {
    return With<Codec>(__func__, handle, [](Codec& codec) { return codec.Flush(true); });
}

MLResult MLMediaCodecFlush(MLHandle handle) {
    return With<Codec>(__func__, handle, [](Codec& codec) { return codec.Flush(false); });
}

MLResult MLMediaCodecDestroy(MLHandle handle) {
    const Fake::Inside inside;
    const auto codec = HandleTable::Instance().Remove<Codec>(handle);
    if (codec == nullptr) {
        return MLResult_InvalidParam;
    }
    Enter(__func__, codec->m_Media);
    codec->End();
    return MLResult_Ok;
}

MLResult MLMediaCodecDequeueInputBuffer(MLHandle handle, int64_t timeoutUs, int64_t* out) {
    return Dequeue(__func__, handle, out, [=](Codec& codec) { return codec.DequeueInput(timeoutUs, out); });
}

MLResult MLMediaCodecGetInputBufferPointer(MLHandle handle, int64_t index, uint8_t** out, size_t* outSize) {
    return With<Codec>(__func__, handle, [=](Codec& codec) { return codec.InputPointer(index, out, outSize); });
}

MLResult MLMediaCodecQueueInputBuffer(MLHandle handle, int64_t index, int64_t offset, size_t size, uint64_t timeUs,
                                      int flags) {
    return With<Codec>(__func__, handle,
                       [=](Codec& codec) { return codec.QueueInput(index, offset, size, timeUs, flags); });
}

MLResult MLMediaCodecDequeueOutputBuffer(MLHandle handle, MLMediaCodecBufferInfo* info, int64_t timeoutUs,
                                         int64_t* out) {
    return Dequeue(__func__, handle, out, [=](Codec& codec) { return codec.DequeueOutput(timeoutUs, info, out); });
}

MLResult MLMediaCodecGetOutputBufferPointer(MLHandle handle, int64_t index, const uint8_t** out, size_t* outSize) {
    return With<Codec>(__func__, handle, [=](Codec& codec) { return codec.OutputPointer(index, out, outSize); });
}

MLResult MLMediaCodecReleaseOutputBuffer(MLHandle handle, int64_t index, bool render) {
    return With<Codec>(__func__, handle, [=](Codec& codec) { return codec.ReleaseOutput(index, render); });
}

MLResult MLMediaCodecAcquireNextAvailableFrame(MLHandle handle, MLHandle* out) {
    return With<Codec>(__func__, handle, [=](Codec& codec) { return codec.Acquire(out); });
}

MLResult MLMediaCodecReleaseFrame(MLHandle handle, MLHandle frame) {
    return With<Codec>(__func__, handle, [=](Codec& codec) { return codec.ReleaseFrame(frame); });
}

MLResult MLMediaCodecGetFrameNumber(MLHandle handle, uint64_t* out) {
    return With<Codec>(__func__, handle, [=](Codec& codec) { return codec.FrameNumber(out); });
}
