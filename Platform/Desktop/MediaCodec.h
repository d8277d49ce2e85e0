// A codec: its states, its decoding thread, and what connects buffers, decoder and surface.
#pragma once

#include "Platform/Desktop/CallbackThread.h"
#include "Platform/Desktop/CodecBuffers.h"
#include "Platform/Desktop/Decoder.h"
#include "Platform/Desktop/HandleTable.h"
#include "Platform/Desktop/MediaFormat.h"
#include "Platform/Desktop/SurfaceQueue.h"

#include <ml_media_codec.h>

#include <memory>
#include <mutex>
#include <thread>

namespace Nimb::Desktop {

class MediaCodec final : public Object {
public:
    explicit MediaCodec(const AVCodec& codec) : m_Codec(codec) {}
    ~MediaCodec() override { Destroy(); }

    void SetHandle(MLHandle handle) { m_Handle = handle; }
    /// Null: none. Only the callbacks for errors and frames are ever called, since buffers are dequeued.
    void SetCallbacks(const MLMediaCodecCallbacks* callbacks, void* userData);

    MLResult Configure(const MediaFormat& format);
    MLResult Start();
    MLResult Stop();
    MLResult Flush();
    /// As Stop, and for good. After it no callback begins.
    void Destroy();

    CodecBuffers& Buffers() { return m_Buffers; }
    SurfaceQueue& Surface() { return m_Surface; }
    MLResult ReleaseOutput(int64_t index, bool render);

private:
    enum class State { Created, Configured, Running, Destroyed };

    void StopThread();
    void Run();
    void DecodeAll();
    void DecodeOne(CodecBuffers::Input& input);
    template <class Call>
    void PostCallback(Call call);

    const AVCodec& m_Codec;
    MLHandle m_Handle = ML_INVALID_HANDLE;

    CodecBuffers m_Buffers;
    SurfaceQueue m_Surface;

    // Makes moving a frame from the buffers to the surface one step: a stop comes before it or after it.
    std::mutex m_RenderMutex;

    std::mutex m_CallbacksMutex;  // guards the two below
    MLMediaCodecCallbacks m_Callbacks = {};
    void* m_UserData = nullptr;

    std::unique_ptr<Decoder> m_Decoder;  // the decoding thread's while it runs

    // Guards the state and the thread; held while the decoding thread is joined, which therefore never takes it. The
    // other mutexes are taken inside it, never around it.
    std::mutex m_StateMutex;
    State m_State = State::Created;
    std::thread m_Thread;

    CallbackThread m_CallbackThread;
};

}  // namespace Nimb::Desktop
