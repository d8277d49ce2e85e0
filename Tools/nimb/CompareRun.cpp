#include "Tools/nimb/CompareRun.h"

#include "Clip/Read/ClipReader.h"
#include "Clip/Write/OrderedTasks.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/Progress.h"

#include <algorithm>
#include <deque>
#include <future>
#include <numeric>
#include <utility>

namespace Nimb::Tool {
namespace {

/// How much of a sound is compared, from its beginning: enough for no other part to fit as well.
constexpr double c_SoundSeconds = 20;
/// Samples that are further away, as a share of the source's size, say nothing about the texture.
constexpr double c_TextureReach = 1.0 / 200;

/// All that is known of a frame of both sides.
struct FrameMaterial {
    std::size_t number = 0;
    JoinedFrame source;
    Authoring::Mesh clip;
    LumaPicture texture;
    std::shared_ptr<const FrameViews> views;
    std::shared_ptr<const FrameViews> viewsBefore;  ///< null: the frame before was not compared
};

std::vector<LumaView> LumasOf(const std::vector<Authoring::Image>& images) {
    std::vector<LumaView> views;
    for (const Authoring::Image& image : images) {
        views.push_back(LumaOf(image));
    }
    return views;
}

void CompareSurface(const FrameMaterial& material, std::size_t samples, FrameResult& result) {
    const Authoring::SurfaceComparison surface =
        Authoring::CompareSurfaces({material.source.mesh.positions, material.source.mesh.faces},
                                   {material.clip.positions, material.clip.faces}, {samples});
    result.distance = surface.distance;
    result.fromSource = surface.fromSource.distance;
    result.fromClip = surface.fromOther.distance;
    result.pointPsnr = surface.pointPsnr;
    result.planePsnr = surface.planePsnr;
    result.peak = surface.peak;
    result.flippedShare = surface.fromOther.flippedShare;
    result.shift = FindShift(surface);
    result.parts = FindLoneParts(surface);
    result.texture = FindTextureShift(material.clip, material.texture, material.source, surface.fromOther.samples,
                                      c_TextureReach * surface.peak);
}

FrameResult CompareFrame(const FrameMaterial& material, std::size_t samples) {
    FrameResult result;
    result.number = material.number;
    try {
        CompareSurface(material, samples, result);
    } catch (const std::invalid_argument& error) {
        result.problem = std::string("the mesh cannot be compared: ") + error.what();
        return result;
    }
    result.views = CompareViews(*material.views);
    if (material.viewsBefore) {
        result.flicker = Flicker(*material.views, *material.viewsBefore);
    }
    result.sourceSignature = SignatureOf(material.views->source);
    result.clipSignature = SignatureOf(material.views->clip);
    return result;
}

/// Compares frames on other threads while the next ones are drawn. Memory stays bounded: Add waits when every core has
/// something to do.
class FrameTasks {
public:
    FrameTasks(std::size_t samples, std::size_t frames) : m_Samples(samples), m_Progress("Comparing", frames) {}

    void Add(FrameMaterial&& material) {
        while (m_Running.size() >= Authoring::DefaultThreads()) {
            Join();
        }
        m_Running.push_back(std::async(std::launch::async, [material = std::move(material), samples = m_Samples] {
            return CompareFrame(material, samples);
        }));
    }

    void AddProblem(std::size_t number, const std::string& problem) {
        FrameResult result;
        result.number = number;
        result.problem = problem;
        std::promise<FrameResult> promise;
        promise.set_value(std::move(result));
        m_Running.push_back(promise.get_future());
    }

    std::vector<FrameResult> Finish() {
        while (!m_Running.empty()) {
            Join();
        }
        return std::move(m_Results);
    }

private:
    void Join() {
        std::future<FrameResult> oldest = std::move(m_Running.front());
        m_Running.pop_front();
        m_Results.push_back(oldest.get());
        m_Progress.Report(m_Results.size());
    }

    const std::size_t m_Samples;
    Progress m_Progress;
    std::vector<FrameResult> m_Results;
    std::deque<std::future<FrameResult>> m_Running;  // their destructors wait
};

std::vector<FrameResult> CompareFrames(CompareStage& stage, const Authoring::MeshSource& source, std::size_t count,
                                       std::size_t samples) {
    const std::size_t threads = Authoring::DefaultThreads();
    Authoring::OrderedTasks<JoinedFrame> loading(
        "nimb source", count, threads, threads + 1,
        [&](std::size_t number, const std::atomic<bool>&) { return Join(source, number); });
    FrameTasks tasks(samples, count);
    std::shared_ptr<const FrameViews> before;
    std::vector<int> frames(count);
    std::iota(frames.begin(), frames.end(), 0);
    stage.ForFrames(
        frames,
        [&](int number) {
            FrameMaterial material;
            material.number = static_cast<std::size_t>(number);
            material.source = loading.Next(InterruptGuard::Check);
            PlayedFrame played = stage.Played();
            material.clip = std::move(played.mesh);
            material.texture = std::move(played.texture);
            material.viewsBefore = before;
            material.views = before =
                std::make_shared<FrameViews>(FrameViews{LumasOf(stage.Draw(material.source)), LumasOf(played.views)});
            tasks.Add(std::move(material));
            InterruptGuard::Check();
        },
        [&](int number, const std::string& reason) {
            loading.Next(InterruptGuard::Check);
            before.reset();
            tasks.AddProblem(static_cast<std::size_t>(number), "the player cannot show it: " + reason);
        });
    return tasks.Finish();
}

bool HasSound(const std::string& clip) {
    const Authoring::ClipReader reader(clip);
    return std::any_of(reader.Tracks().begin(), reader.Tracks().end(), [](const Authoring::ClipTrack& track) {
        return track.kind == Authoring::ClipTrack::Kind::Audio;
    });
}

SoundResult CompareSounds(const EncodeArguments& arguments, const std::string& clip, double seconds) {
    SoundResult result;
    result.isAsked = !arguments.audio.empty();
    result.hasClipSound = result.isAsked && HasSound(clip);
    if (result.hasClipSound) {
        Authoring::AudioReader source(arguments.audio, arguments.audioStart), shown(clip);
        const double length = std::min(seconds, c_SoundSeconds);
        result.figures = CompareSound(ReadMono(source, length), ReadMono(shown, length));
    }
    return result;
}

}  // namespace

ComparisonResult CompareClip(CompareStage& stage, const Authoring::MeshSource& source, const std::string& clip,
                             const EncodeArguments& arguments, std::size_t samples) {
    ComparisonResult result;
    result.sourceFrames = source.FrameCount();
    result.clipFrames = stage.FrameCount();
    result.frameRate = stage.FrameRate();
    result.sound =
        CompareSounds(arguments, clip, static_cast<double>(result.clipFrames) / std::max(result.frameRate, 1e-3));
    result.frames = CompareFrames(stage, source, std::min(result.sourceFrames, result.clipFrames), samples);
    result.summary = Summarise(result.frames);
    result.faults = FindFaults(result.frames, result.sourceFrames, result.clipFrames, result.sound);
    return result;
}

}  // namespace Nimb::Tool
