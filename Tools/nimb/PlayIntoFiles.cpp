// Snapshot, contact sheet and recording.
#include "Authoring/Source/FileIdentity.h"
#include "Authoring/Source/ImageFile.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/OutputFile.h"
#include "Tools/nimb/PlayModes.h"
#include "Tools/nimb/PlaySession.h"
#include "Tools/nimb/Progress.h"
#include "Tools/nimb/StandardStreams.h"
#include "Tools/nimb/Studio.h"
#include "Tools/nimb/Viewer/Capture.h"
#include "Tools/nimb/Viewer/ContactSheet.h"
#include "Tools/nimb/Viewer/Recorder.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

namespace Nimb::Tool {
namespace {

using Authoring::Image;

/// Reports what is wrong with the clip as it turns up.
class Problems {
public:
    void AddMissing(int number, const std::string& reason) {
        std::fprintf(stderr, "nimb: frame %d cannot be shown: %s\n", number, reason.c_str());
        m_SaidMissing = true;
    }
    void CheckSizes(const Playback& playback) {
        if (playback.HasOversizedFrames() && !m_SaidOversized) {
            std::fprintf(stderr, "nimb: meshes are larger than the clip says, and are shown in part\n");
            m_SaidOversized = true;
        }
    }
    int Status() const { return m_SaidMissing || m_SaidOversized ? c_ExitProblem : c_ExitOk; }

private:
    bool m_SaidMissing = false;
    bool m_SaidOversized = false;
};

void SavePng(const std::string& path, bool overwrite, const Image& image) {
    OutputFile file(path, overwrite);
    try {
        Authoring::WritePng(file.TemporaryPath(), image);
    } catch (const std::runtime_error& error) {
        throw OutputError(path + ": " + error.what());
    }
    file.Commit();
}

void Snapshot(PlaySession& session, Problems& problems) {
    const PlayOptions& options = session.Options();
    const int frame = ParseMoment(session.Index(), options.moment.empty() ? "50%" : options.moment);
    const std::unique_ptr<Playback> playback = session.Open(1, false);
    Studio studio(session, options.width, options.height);
    CaptureFrames(
        *playback, {frame},
        [&](int number) {
            SavePng(options.snapshot, options.overwrite, studio.Draw(*playback, number, options.views, 0));
            std::printf("%s: frame %d, %d x %d\n", options.snapshot.c_str(), number, options.width, options.height);
            problems.CheckSizes(*playback);
        },
        [&](int number, const std::string& reason) { problems.AddMissing(number, reason); });
}

void MakeContactSheet(PlaySession& session, Problems& problems) {
    const PlayOptions& options = session.Options();
    const std::vector<int> frames = SpreadFrames(session.Index().FrameCount(), options.sheetColumns);
    ContactSheet sheet(frames, options.views, static_cast<std::size_t>(options.cellWidth),
                       static_cast<std::size_t>(options.cellHeight), session.Index().FrameRate());
    const std::unique_ptr<Playback> playback = session.Open(1, false);
    Studio studio(session, options.cellWidth, options.cellHeight);
    Progress progress("Drawing", frames.size());
    std::size_t column = 0;
    CaptureFrames(
        *playback, frames,
        [&](int number) {
            for (std::size_t row = 0; row < options.views.size(); ++row) {
                sheet.SetCell(row, column, studio.Draw(*playback, number, options.views, row));
            }
            problems.CheckSizes(*playback);
            InterruptGuard::Check();
            progress.Report(++column);
        },
        [&](int number, const std::string& reason) {
            problems.AddMissing(number, reason);
            sheet.SetMissing(column++);
        });
    SavePng(options.contactSheet, options.overwrite, sheet.Picture());
    std::printf("%s: %zu frames from %zu views\n", options.contactSheet.c_str(), frames.size(), options.views.size());
}

Recorder::Options RecorderOptions(const PlayOptions& options, const ClipIndex& index) {
    Recorder::Options recorder;
    recorder.width = options.width;
    recorder.height = options.height;
    const auto numerator =
        static_cast<int>(std::lround(index.rateNumerator * static_cast<double>(options.speed) * 1000));
    const int denominator = index.rateDenominator * 1000;
    const int divisor = std::gcd(numerator, denominator);
    recorder.rateNumerator = numerator / divisor;
    recorder.rateDenominator = denominator / divisor;
    if (index.hasSound && options.sound && options.speed == 1) {
        recorder.soundFrom = options.clip;
    }
    return recorder;
}

void Record(PlaySession& session, Problems& problems) {
    const PlayOptions& options = session.Options();
    Recorder recorder(options.recording, RecorderOptions(options, session.Index()));
    std::vector<int> frames(session.Index().times.size());
    std::iota(frames.begin(), frames.end(), 0);
    const std::unique_ptr<Playback> playback = session.Open(1, false);
    Studio studio(session, options.width, options.height);
    Progress progress("Recording", frames.size());
    Image last(static_cast<std::size_t>(options.width), static_cast<std::size_t>(options.height));
    std::size_t count = 0;
    const auto add = [&] {
        recorder.AddFrame(last);
        InterruptGuard::Check();
        progress.Report(++count);
    };
    CaptureFrames(
        *playback, frames,
        [&](int number) {
            last = studio.Draw(*playback, number, options.views, 0);
            problems.CheckSizes(*playback);
            add();
        },
        [&](int number, const std::string& reason) {
            problems.AddMissing(number, reason);
            add();  // as an engine goes on showing the previous frame
        });
    recorder.Finish();
    std::printf("%s: %zu frames, %d x %d\n", options.recording.c_str(), count, options.width, options.height);
}

void CheckOutputs(const PlayOptions& options) {
    std::vector<std::optional<Authoring::FileIdentity>> taken;
    for (const auto& [output, kind] : {std::pair(options.snapshot, OutputKind::Picture),
                                       {options.contactSheet, OutputKind::Picture},
                                       {options.recording, OutputKind::Video}}) {
        if (output.empty()) {
            continue;
        }
        CheckOutput(output, kind, options.overwrite, {options.clip});
        const auto identity = Authoring::IdentityOf(output);
        if (std::find(taken.begin(), taken.end(), identity) != taken.end()) {
            throw UsageError(output + ": is named for two outputs");
        }
        taken.push_back(identity);
    }
}

}  // namespace

int PlayIntoFiles(const PlayOptions& options) {
    CheckOutputs(options);
    // What goes wrong with a frame is reported here.
    setenv("NIMB_LOG_LEVEL", "error", 0);
    const InterruptGuard interrupt;
    PlaySession session(options, EngineStandIn::MakeSurfacelessContext);
    Problems problems;
    if (!options.snapshot.empty()) {
        Snapshot(session, problems);
    }
    if (!options.contactSheet.empty()) {
        MakeContactSheet(session, problems);
    }
    if (!options.recording.empty()) {
        Record(session, problems);
    }
    FlushRemarks();
    return problems.Status();
}

}  // namespace Nimb::Tool
