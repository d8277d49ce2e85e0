#include "Tools/nimb/CompareWorst.h"

#include "Authoring/Source/FileBytes.h"
#include "Clip/Write/ClipEncoder.h"
#include "Tools/nimb/Compare/ErrorColours.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/RoundUp.h"
#include "Tools/nimb/Viewer/Text.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>
#include <utility>

namespace Nimb::Tool {
namespace {

using Authoring::Image;
using Authoring::Mesh;

constexpr std::size_t c_MostFrames = 8;
constexpr double c_SmallestScale = 1e-5;  // a hundredth of a millimetre
constexpr float c_Amplified = 4;
constexpr Colour c_Grey = {128, 128, 128, 255};

bool IsComparable(const FrameResult& frame) {
    return frame.problem.empty() && !std::isinf(frame.distance.mean);
}

const FrameResult* ResultOf(const ComparisonResult& result, std::size_t frame) {
    const auto found = std::find_if(result.frames.begin(), result.frames.end(),
                                    [&](const FrameResult& r) { return r.number == frame; });
    return found != result.frames.end() && IsComparable(*found) ? &*found : nullptr;
}

/// All views beside each other.
Image Strip(const std::vector<Image>& views) {
    Image strip(views.front().width * views.size(), views.front().height);
    for (std::size_t i = 0; i < views.size(); ++i) {
        Paste(strip, i * views.front().width, 0, views[i]);
    }
    return strip;
}

Image DifferenceOf(const Image& source, const Image& clip) {
    const LumaView a = LumaOf(source), b = LumaOf(clip);
    Image difference(source.width, source.height);
    Fill(difference, c_Grey);
    for (std::size_t i = 0; i < a.luma.size(); ++i) {
        const float level = std::clamp(128 + c_Amplified * (b.luma[i] - a.luma[i]), 0.0f, 255.0f);
        std::fill_n(&difference.rgba[4 * i], 3, static_cast<BYTE>(level));
    }
    return difference;
}

JoinedFrame AsFrame(const Mesh& mesh, const std::shared_ptr<const Image>& picture) {
    return {mesh, {{0, mesh.faces.size(), picture}}};
}

WorstFrame LookAt(CompareStage& stage, const JoinedFrame& source, std::size_t number,
                  const std::shared_ptr<const Image>& colours) {
    const PlayedFrame played = stage.Played();
    const Authoring::SurfaceComparison surface = Authoring::CompareSurfaces({source.mesh.positions, source.mesh.faces},
                                                                            {played.mesh.positions, played.mesh.faces});
    WorstFrame frame;
    frame.number = number;
    frame.scale = RoundUp(std::max(c_SmallestScale, surface.distance.percentile99));
    frame.source = Strip(stage.Draw(source));
    frame.clip = Strip(played.views);
    frame.difference = DifferenceOf(frame.source, frame.clip);
    frame.clipErrors = PaintErrors(played.mesh, surface.fromOther.vertexDistances, frame.scale);
    frame.sourceErrors = PaintErrors(source.mesh, surface.fromSource.vertexDistances, frame.scale);
    frame.error = Strip(stage.Draw(AsFrame(frame.clipErrors, colours)));
    return frame;
}

/// The surfaces as what a clip is made from.
class ErrorSource : public Authoring::MeshSource {
public:
    ErrorSource(const std::vector<WorstFrame>& frames, double rate)
        : m_Frames(frames), m_Rate(rate), m_Colours(std::make_shared<Image>(ErrorColours())) {}

    std::size_t FrameCount() const override { return 2 * m_Frames.size(); }
    double FrameRate() const override { return m_Rate; }
    std::size_t MaterialCount() const override { return 1; }
    std::string MaterialName(std::size_t) const override { return "error"; }
    std::string FrameName(std::size_t frame) const override {
        return "the error of frame " + std::to_string(m_Frames[frame / 2].number);
    }
    Authoring::SourceFrame Frame(std::size_t frame) const override {
        const WorstFrame& from = m_Frames[frame / 2];
        Authoring::SourceFrame out;
        out.meshes.push_back({0, frame % 2 == 0 ? from.clipErrors : from.sourceErrors});
        return out;
    }
    std::shared_ptr<const Image> Texture(std::size_t, std::size_t) const override { return m_Colours; }

private:
    const std::vector<WorstFrame>& m_Frames;
    const double m_Rate;
    const std::shared_ptr<const Image> m_Colours;
};

/// A folder for a file that only this program sees.
class ScratchFolder {
public:
    ScratchFolder() : m_Path((std::filesystem::temp_directory_path() / "nimb-XXXXXX").string()) {
        if (mkdtemp(m_Path.data()) == nullptr) {
            throw OutputError(m_Path + ": cannot be created");
        }
    }
    ~ScratchFolder() {
        std::error_code error;
        std::filesystem::remove_all(m_Path, error);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string File(const char* name) const { return (std::filesystem::path(m_Path) / name).string(); }

private:
    std::string m_Path;
};

}  // namespace

std::vector<std::size_t> ChooseWorst(const ComparisonResult& result) {
    std::vector<std::size_t> wanted;
    for (const char* const name : {"p99", "psnr", "max", "flicker", "silhouette"}) {
        for (const FigureSummary& summary : result.summary) {
            if (summary.figure == FindFigure(name)) {
                wanted.push_back(summary.worstFrame);
            }
        }
    }
    for (const Fault& fault : result.faults) {
        wanted.push_back(fault.first.value_or(SIZE_MAX));
    }
    std::set<std::size_t> chosen;
    for (const std::size_t frame : wanted) {
        if (chosen.size() < c_MostFrames && ResultOf(result, frame) != nullptr) {
            chosen.insert(frame);
        }
    }
    return {chosen.begin(), chosen.end()};
}

std::vector<WorstFrame> LookAtWorst(CompareStage& stage, const Authoring::MeshSource& source,
                                    const std::vector<std::size_t>& frames) {
    const auto colours = std::make_shared<const Image>(ErrorColours());
    std::vector<WorstFrame> looks;
    stage.ForFrames(
        {frames.begin(), frames.end()},
        [&](int number) {
            InterruptGuard::Check();
            const auto frame = static_cast<std::size_t>(number);
            looks.push_back(LookAt(stage, Join(source, frame), frame, colours));
        },
        [](int, const std::string&) {});
    return looks;
}

std::string EncodeErrors(const std::vector<WorstFrame>& frames, double rate) {
    const ScratchFolder folder;
    const std::string path = folder.File("errors.mp4");
    Authoring::EncodeOptions options;
    options.video.quality = 8;  // a picture that stays costs little
    Authoring::EncodeClip(ErrorSource(frames, rate), nullptr, path, options,
                          [](Authoring::EncodeStep, std::size_t) { InterruptGuard::Check(); });
    return std::string(Authoring::AsText(Authoring::ReadFileBytes(path, "the errors")));
}

}  // namespace Nimb::Tool
