// Plays a clip of 30,000 vertices at 30 frames a second and tells, in microseconds for a frame, what each stage takes
// between the file and the engine's buffers, and what a render event takes. Reports and judges nothing.
//
// The stages are run one by one on the classes of the player; the render events are those of the library, driven as the
// engine drives it. Software rendering: the times of texture copies say nothing about a headset.
#include "Authoring/Frame/FrameEncoder.h"
#include "Bench/BodyMesh.h"
#include "Clip/Write/Mp4Writer.h"
#include "EngineStandIn/Player.h"
#include "NimbCore/NimbCrossPlatform.h"
#include "NimbCore/NimbMeshReader.h"
#include "NimbUnityPluginML/FrameQueue.h"

#include <ml_media_extractor.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

using namespace Nimb::Plugin;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int c_FrameCount = 90;
constexpr int c_FrameRate = 30;
constexpr int c_AtlasSize = 1024;

class Times {
public:
    template <class Work>
    auto Measure(Work&& work) {
        const Clock::time_point start = Clock::now();
        struct Stopper {
            Times& times;
            Clock::time_point start;
            ~Stopper() { times.Add(Clock::now() - start); }
        } const stopper{*this, start};
        return work();
    }
    void Add(Clock::duration time) {
        m_Microseconds.push_back(std::chrono::duration<double, std::micro>(time).count());
    }
    void Print(const char* name) {
        if (m_Microseconds.empty()) {
            std::printf("| %s | - | - | - |\n", name);
            return;
        }
        std::sort(m_Microseconds.begin(), m_Microseconds.end());
        const auto at = [this](double part) {
            return m_Microseconds[static_cast<std::size_t>(part * static_cast<double>(m_Microseconds.size() - 1))];
        };
        std::printf("| %s | %.1f | %.1f | %.1f |\n", name, at(0.5), at(0.95), at(1));
    }

private:
    std::vector<double> m_Microseconds;
};

void MakeClip(const std::string& path) {
    Nimb::Authoring::VideoTrackOptions video;
    video.width = video.height = c_AtlasSize;
    video.frameRateNumerator = c_FrameRate;
    video.preset = "veryfast";
    Nimb::Authoring::Mp4Writer writer(path, video);
    Nimb::Authoring::FrameEncoder encoder;
    Nimb::Authoring::CodingOptions options;
    options.maxError = 0.0005;
    Nimb::Authoring::FileAttributes attributes;
    std::vector<BYTE> picture(static_cast<std::size_t>(c_AtlasSize) * c_AtlasSize * 4, 128);
    std::size_t meshBytes = 0;
    int keyFrames = 0;
    for (const Nimb::Authoring::Mesh& mesh : Bench::MakeBodyClip(c_FrameCount)) {
        const Nimb::Authoring::EncodedFrame frame = encoder.NextFrame(mesh, options);
        for (std::size_t i = 0; i < picture.size(); i += 61) {
            picture[i] = static_cast<BYTE>(picture[i] * 5 + 1);
        }
        writer.AddFrame(picture.data(), static_cast<std::size_t>(c_AtlasSize) * 4, frame.bytes);
        meshBytes += frame.bytes.size();
        keyFrames += frame.isKeyFrame ? 1 : 0;
        ++attributes.frameCount;
        attributes.maxVertexCount = std::max(attributes.maxVertexCount, frame.numVertices);
        attributes.maxIndexCount = std::max(attributes.maxIndexCount, frame.numIndices);
    }
    writer.Finish(attributes);
    std::printf("%d frames, %d of them key frames; %u vertices, %u triangles; meshes %zu bytes a frame\n\n",
                c_FrameCount, keyFrames, attributes.maxVertexCount, attributes.maxIndexCount / 3,
                meshBytes / c_FrameCount);
}

/// The stages between file and upload. `upload` is called with each frame.
template <class Upload>
void RunStages(const std::string& path, UINT32 vertexFormat, bool isPrinted, Upload&& upload) {
    MLHandle extractor = ML_INVALID_HANDLE;
    MLMediaExtractorCreate(&extractor);
    if (MLMediaExtractorSetDataSourceForURI(extractor, path.c_str()) != MLResult_Ok) {
        throw std::runtime_error("the clip cannot be read");
    }
    MLMediaExtractorSelectTrack(extractor, 0);

    Times extract, locate, decode, queue, match;
    Nimb::CNimbMeshReader reader;
    const NIMBCORE::CComPtr<INimbBufferAllocator> allocator(new NimbCrossPlatform::BufferAllocator);
    reader.Initialize(allocator, vertexFormat);
    FrameQueue frames;
    std::atomic<bool> pendingRestart{false};
    std::vector<BYTE> sample(8u << 20);
    for (std::int64_t number = 0;; ++number) {
        std::int64_t size = -1;
        extract.Measure([&] {
            MLMediaExtractorReadSampleData(extractor, sample.data(), sample.size(), 0, &size);
            MLMediaExtractorAdvance(extractor);
        });
        if (size < 0) {
            break;
        }
        const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> stream(locate.Measure(
            [&] { return NimbCrossPlatform::FindCompressedMesh(sample.data(), static_cast<std::size_t>(size)); }));
        NIMBCORE::CComPtr<INimbBuffer> vertices, indices;
        const HRESULT result = decode.Measure([&] { return reader.ReadMesh(stream, 0, &vertices, &indices); });
        if (Failed(result)) {
            throw std::runtime_error("a mesh cannot be decoded");
        }
        queue.Measure([&] {
            auto frame = std::make_shared<MeshFrame>(vertices, indices, 0);
            frames.TakeSlot([] { return true; });
            frame->m_frameNumber = *frames.TakeNumber(frames.CurrentTicket());
            frames.Push(std::move(frame), frames.CurrentTicket());
        });
        vertices.Release();
        indices.Release();
        const FrameQueue::Matched matched = match.Measure([&] { return frames.Match(number, &pendingRestart); });
        upload(*matched.frame);
    }
    MLMediaExtractorDestroy(extractor);
    if (isPrinted) {
        extract.Print("extract: sample from the file");
        locate.Print("locate: payload in the sample");
        decode.Print("decode: payload to buffers");
        queue.Print("queue: frame into the queue");
        match.Print("match: frame for the picture");
    }
}

void BenchStages(const std::string& path, Nimb::EngineStandIn::RenderThread& renderThread,
                 const Nimb::EngineStandIn::Player& player) {
    renderThread.Run([&] {
        const auto& gl = player.GlObjects();
        const auto vertexCount = static_cast<unsigned int>(player.Sizes().vertexCount);
        const auto indexCount = static_cast<unsigned int>(player.Sizes().indexCount);
        for (const bool computeNormals : {true, false}) {
            Times upload;
            INimbBuffer* lastIndices = nullptr;  // compared, never used
            RunStages(path, computeNormals ? 0x0D : 0x0F, computeNormals, [&](MeshFrame& frame) {
                const bool copyIndices = frame.IndexBuffer() != lastIndices;
                lastIndices = frame.IndexBuffer();
                upload.Measure([&] {
                    frame.CopyToGLBuffers(gl.vertexBuffer, gl.indexBuffer, indexCount, vertexCount, computeNormals,
                                          copyIndices);
                });
            });
            upload.Print(computeNormals ? "upload, computing normals" : "upload of stored normals");
        }
    });
}

/// Plays the clip once, with a render event every few milliseconds, and times the events that brought a new frame.
void BenchEvents(const Nimb::EngineStandIn::PluginLibrary& plugin, Nimb::EngineStandIn::RenderThread& renderThread,
                 const std::string& path, bool hasTexture, bool computeNormals, const char* name) {
    Nimb::EngineStandIn::Player player(plugin, renderThread);
    plugin->SetComputeNormals(player.Id(), computeNormals);
    if (!player.Open(path)) {
        throw std::runtime_error("the clip cannot be opened");
    }
    Nimb::EngineStandIn::BufferSizes sizes = Nimb::EngineStandIn::Player::SizesFor(player.FileInfo());
    player.CreateBuffers(sizes);
    if (!hasTexture) {
        const auto pointer = [](unsigned int glName) { return reinterpret_cast<void*>(std::uintptr_t{glName}); };
        plugin->SetUnityBuffers(player.Id(), nullptr, 0, 0, pointer(player.GlObjects().vertexBuffer), sizes.vertexCount,
                                pointer(player.GlObjects().indexBuffer), sizes.indexCount);
    }
    Times times;
    std::mutex mutex;
    std::condition_variable ended;
    bool hasEnded = false;
    std::int64_t lastTimestamp = -1;
    renderThread.SetFrame(
        [&] {
            const Clock::time_point start = Clock::now();
            player.OnRender();
            const Clock::duration time = Clock::now() - start;
            const NimbFrameInfo info = player.FrameInfo();
            if (info.vertexCount != 0 && info.timestamp != lastTimestamp) {
                lastTimestamp = info.timestamp;
                times.Add(time);
            }
            if (info.endOfStream != 0) {
                const std::lock_guard<std::mutex> lock(mutex);
                hasEnded = true;
                ended.notify_one();
            }
        },
        std::chrono::milliseconds(5));
    plugin->PlayQuorObject(player.Id());
    {
        std::unique_lock<std::mutex> lock(mutex);
        ended.wait_for(lock, std::chrono::seconds(60), [&] { return hasEnded; });
    }
    renderThread.SetFrame(nullptr);
    times.Print(name);
}

void Run() {
    setenv("SDL_AUDIODRIVER", "dummy", 0);
    std::string folder = (std::filesystem::temp_directory_path() / "nimb-bench-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    const std::string path = folder + "/clip.mp4";
    MakeClip(path);

    const Nimb::EngineStandIn::PluginLibrary plugin(NIMB_PLUGIN_FILE);
    Nimb::EngineStandIn::RenderThread renderThread;
    Nimb::EngineStandIn::StartPlugin(plugin, renderThread);
    std::printf("| Microseconds a frame | Median | 95th of 100 | Largest |\n|---|---:|---:|---:|\n");
    {
        Nimb::EngineStandIn::Player player(plugin, renderThread);
        player.Open(path);
        player.CreateBuffers();
        BenchStages(path, renderThread, player);
    }
    BenchEvents(plugin, renderThread, path, false, false, "render event without texture copy, stored normals");
    BenchEvents(plugin, renderThread, path, false, true, "render event without texture copy, computing normals");
    BenchEvents(plugin, renderThread, path, true, true, "render event, computing normals");
    std::filesystem::remove_all(folder);
}

}  // namespace

int main() {
    try {
        Run();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
