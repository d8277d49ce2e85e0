// The codec's life and its decoding thread.
#include "Platform/Desktop/MediaCodec.h"

#include "Platform/Desktop/AvLog.h"
#include "Platform/Desktop/Log.h"
#include "Platform/Desktop/ThreadName.h"

#include <chrono>
#include <exception>
#include <utility>

namespace Nimb::Desktop {
namespace {

// Enough for the interleaving of common files, where a second of one track may come before the other one's next sample.
constexpr size_t c_VideoInputs = 8;
constexpr size_t c_AudioInputs = 32;

int64_t MonotonicNanoseconds() {
    using std::chrono::nanoseconds;
    return std::chrono::duration_cast<nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

void MediaCodec::SetCallbacks(const MLMediaCodecCallbacks* callbacks, void* userData) {
    const std::lock_guard<std::mutex> lock(m_CallbacksMutex);
    m_Callbacks = callbacks != nullptr ? *callbacks : MLMediaCodecCallbacks{};
    m_UserData = userData;
}

// `call(callbacks, userData)` later, on the callback thread, with the callbacks that are set then.
template <class Call>
void MediaCodec::PostCallback(Call call) {
    m_CallbackThread.Post([this, call] {
        MLMediaCodecCallbacks callbacks;
        void* userData = nullptr;
        {
            const std::lock_guard<std::mutex> lock(m_CallbacksMutex);
            callbacks = m_Callbacks;
            userData = m_UserData;
        }
        call(callbacks, userData);
    });
}

MLResult MediaCodec::Configure(const MediaFormat& format) {
    const std::lock_guard<std::mutex> lock(m_StateMutex);
    if (m_State != State::Created && m_State != State::Configured) {
        return MLResult_UnspecifiedFailure;
    }
    RouteAvLog();
    std::unique_ptr<Decoder> decoder = Decoder::Create(m_Codec, format);
    if (decoder == nullptr) {
        return MLResult_UnspecifiedFailure;
    }
    m_Buffers.Configure(m_Codec.type == AVMEDIA_TYPE_VIDEO ? c_VideoInputs : c_AudioInputs, format.maxSampleSize);
    m_Surface.Configure();
    m_Decoder = std::move(decoder);
    m_State = State::Configured;
    return MLResult_Ok;
}

MLResult MediaCodec::Start() {
    const std::lock_guard<std::mutex> lock(m_StateMutex);
    if (m_State != State::Configured) {
        return MLResult_UnspecifiedFailure;
    }
    m_Buffers.Open();
    try {
        m_Thread = std::thread([this] { Run(); });
    } catch (...) {
        m_Buffers.Close();
        throw;
    }
    m_State = State::Running;
    return MLResult_Ok;
}

void MediaCodec::StopThread() {
    {
        const std::lock_guard<std::mutex> lock(m_RenderMutex);
        m_Buffers.Close();
        m_Surface.DropRendered();
        m_CallbackThread.Cancel();
    }
    if (m_Thread.joinable()) {
        m_Thread.join();
    }
}

MLResult MediaCodec::Stop() {
    const std::lock_guard<std::mutex> lock(m_StateMutex);
    if (m_State != State::Running) {
        return MLResult_UnspecifiedFailure;
    }
    StopThread();
    m_State = State::Configured;
    return MLResult_Ok;
}

MLResult MediaCodec::Flush() {
    const std::lock_guard<std::mutex> lock(m_StateMutex);
    if (m_State != State::Running) {
        return MLResult_UnspecifiedFailure;
    }
    m_Buffers.Flush();  // rendered frames belong to the surface and can still be acquired
    return MLResult_Ok;
}

void MediaCodec::Destroy() {
    {
        const std::lock_guard<std::mutex> lock(m_StateMutex);
        if (m_State == State::Destroyed) {
            return;
        }
        StopThread();
        m_Surface.Close();
        m_Decoder.reset();
        m_State = State::Destroyed;
    }
    // A callback that runs may itself be waiting for m_StateMutex.
    m_CallbackThread.Stop();
}

MLResult MediaCodec::ReleaseOutput(int64_t index, bool render) {
    DecodedBuffer buffer;
    const std::lock_guard<std::mutex> lock(m_RenderMutex);
    const MLResult result = m_Buffers.TakeOutput(index, &buffer);
    if (result != MLResult_Ok || !render || buffer.picture == nullptr) {
        return result;
    }
    m_Surface.Push(buffer.picture->Rgba());
    const MLHandle handle = m_Handle;
    const int64_t timeUs = buffer.timeUs;
    const int64_t renderedNs = MonotonicNanoseconds();
    PostCallback([handle, timeUs, renderedNs](const MLMediaCodecCallbacks& callbacks, void* userData) {
        if (callbacks.on_frame_rendered != nullptr) {
            callbacks.on_frame_rendered(handle, timeUs, renderedNs, userData);
        }
        if (callbacks.on_frame_available != nullptr) {
            callbacks.on_frame_available(handle, userData);
        }
    });
    return MLResult_Ok;
}

void MediaCodec::Run() {
    NameThisThread(m_Codec.type == AVMEDIA_TYPE_VIDEO ? "nimb-video-dec" : "nimb-audio-dec");
    try {
        DecodeAll();
    } catch (const std::exception& e) {
        NIMB_PLATFORM_LOG(MLLogLevel_Error, "decoding ended: %s", e.what());
        m_Buffers.Fail();
        const MLHandle handle = m_Handle;
        PostCallback([handle](const MLMediaCodecCallbacks& callbacks, void* userData) {
            if (callbacks.on_error != nullptr) {
                callbacks.on_error(handle, MLResult_AllocFailed, userData);
            }
        });
    }
}

void MediaCodec::DecodeAll() {
    CodecBuffers::Input input;
    uint64_t epoch = 0;
    while (m_Buffers.NextInput(&input)) {
        if (input.epoch != epoch) {
            m_Decoder->Reset();
            epoch = input.epoch;
        }
        DecodeOne(input);
        input.packet.reset();
    }
}

void MediaCodec::DecodeOne(CodecBuffers::Input& input) {
    const uint64_t epoch = input.epoch;
    const auto sink = [this, epoch](DecodedBuffer buffer) { return m_Buffers.Deliver(epoch, std::move(buffer)); };
    if (input.packet != nullptr && input.number != 0) {
        m_Decoder->Decode(*input.packet, input.number, input.timeUs, sink);
    } else if (input.packet != nullptr) {
        m_Decoder->Configure(*input.packet);
    }
    if (input.endOfStream) {
        m_Decoder->Drain(sink);
        DecodedBuffer end;
        end.timeUs = input.timeUs;
        end.endOfStream = true;
        sink(std::move(end));
    }
}

}  // namespace Nimb::Desktop
