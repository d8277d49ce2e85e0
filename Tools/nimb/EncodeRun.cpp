#include "Tools/nimb/EncodeRun.h"

#include "Tools/nimb/ClipJson.h"
#include "Tools/nimb/ClipText.h"
#include "Tools/nimb/KeyFrameText.h"
#include "Tools/nimb/RunProgress.h"
#include "Tools/nimb/StandardStreams.h"
#include "Tools/nimb/TrackText.h"

#include <chrono>
#include <cstdio>
#include <optional>

namespace Nimb::Tool {
namespace {

using Authoring::ClipExamination;
using Authoring::EncodeReport;
using Json = nlohmann::ordered_json;

Json LimitJson(const ClipExamination& clip) {
    Json json{{"limit", clip.errorLimit}};
    if (clip.trackedErrorLimit) {
        json["trackedLimit"] = *clip.trackedErrorLimit;
    }
    return json;
}

Json ErrorJson(const EncodeReport& report) {
    Json json{{"max", report.maxError}, {"frame", report.maxErrorFrame}};
    json.update(LimitJson(report.clip));
    return json;
}

std::string LimitText(const ClipExamination& clip) {
    char text[80];
    if (clip.trackedErrorLimit) {
        std::snprintf(text, sizeof(text), "limit %.3g, of tracked frames %.3g", clip.errorLimit,
                      *clip.trackedErrorLimit);
    } else {
        std::snprintf(text, sizeof(text), "limit %.3g", clip.errorLimit);
    }
    return text;
}

void PrintWelded(const ClipExamination& clip) {
    if (clip.maxWelded > 0) {
        std::printf("welded       %zu vertices a frame at most: equal to others in every attribute\n", clip.maxWelded);
    }
}

void PrintExamination(const std::string& input, const ClipExamination& clip) {
    std::printf("%s: %zu frames, %.5g a second, %.3f s; nothing was written\n", input.c_str(), clip.frames,
                clip.frameRate, static_cast<double>(clip.frames) / clip.frameRate);
    std::printf("surface      %zu faces at most; sub-meshes: %zu\n", clip.maxFaces, clip.subMeshes);
    PrintWelded(clip);
    std::printf("key frames   %s\n", KeyFrameText(clip.keyFrames, clip.frames).c_str());
    if (clip.toTrack > 0) {
        std::printf("to track     %zu frames; where the track is lost, there are more key frames\n", clip.toTrack);
    }
    std::printf("box          (%g, %g, %g) to (%g, %g, %g)\n", static_cast<double>(clip.box.min.x),
                static_cast<double>(clip.box.min.y), static_cast<double>(clip.box.min.z),
                static_cast<double>(clip.box.max.x), static_cast<double>(clip.box.max.y),
                static_cast<double>(clip.box.max.z));
    std::printf("video        %zu x %zu\n", clip.atlas.width, clip.atlas.height);
    std::printf("error        %s\n", LimitText(clip).c_str());
}

Json ExaminationJson(const std::string& input, const ClipExamination& clip) {
    return {{"input", input},
            {"frames", clip.frames},
            {"frameRate", clip.frameRate},
            {"seconds", static_cast<double>(clip.frames) / clip.frameRate},
            {"maxFaces", clip.maxFaces},
            {"maxWelded", clip.maxWelded},
            {"subMeshes", clip.subMeshes},
            {"keyFrames", ToJson(clip.keyFrames)},
            {"toTrack", clip.toTrack},
            {"box", ToJson(clip.box)},
            {"width", clip.atlas.width},
            {"height", clip.atlas.height},
            {"error", LimitJson(clip)}};
}

}  // namespace

void PrintSummary(const std::string& clip, const EncodeReport& report, std::chrono::duration<double> elapsed,
                  RunOutput output) {
    Authoring::ClipReader reader(clip);
    const Authoring::ClipSummary summary = Authoring::InspectClip(reader, [](const Authoring::FrameFacts&) {});
    if (output == RunOutput::Json) {
        Json json = ToJson(reader, Authoring::ReadClipAttributes(clip));
        json["summary"] = ToJson(summary);
        json["maxWelded"] = report.clip.maxWelded;
        json["keyFrames"] = ToJson(report.keyFrames);
        if (report.track) {
            json["tracked"] = ToJson(*report.track);
        }
        json["error"] = ErrorJson(report);
        json["elapsedSeconds"] = elapsed.count();
        Print(json);
        return;
    }
    PrintClip(reader, summary);
    PrintWelded(report.clip);
    std::printf("key frames   %s\n", KeyFrameText(report.keyFrames, summary.frames).c_str());
    if (report.track) {
        std::printf("tracked      %s\n", TrackText(*report.track).c_str());
    }
    std::printf("error        surfaces %.3g apart at most (frame %zu), %s\n", report.maxError, report.maxErrorFrame,
                LimitText(report.clip).c_str());
    std::printf("time         %.1f s, %.1f frames/s\n", elapsed.count(),
                static_cast<double>(summary.frames) / elapsed.count());
    FlushRemarks();
}

void TellDamagedSound(const std::string& audio, const EncodeReport& report) {
    if (report.damagedAudioPackets > 0) {
        std::fprintf(stderr, "nimb: %s: %zu damaged packets of sound were left out\n", audio.c_str(),
                     report.damagedAudioPackets);
    }
}

EncodeReport RunEncoder(const Authoring::MeshSource& source, Authoring::SoundSource* pSound, const std::string& clip,
                        const Authoring::EncodeOptions& options, RunOutput output, bool strict) {
    const auto start = std::chrono::steady_clock::now();
    EncodeReport report;
    {
        RunProgress progress(source.FrameCount(), options.pWarnings, pSound, output, strict);
        report = Authoring::EncodeClip(source, pSound, clip, options, std::ref(progress));
    }
    if (output != RunOutput::Quiet) {
        PrintSummary(clip, report, std::chrono::steady_clock::now() - start, output);
    }
    return report;
}

void RunExamination(const Authoring::MeshSource& source, const std::string& input,
                    const Authoring::EncodeOptions& options, RunOutput output, bool strict) {
    ClipExamination clip;
    {
        RunProgress progress(source.FrameCount(), options.pWarnings, nullptr, output, strict);
        clip = Authoring::ExamineClip(source, options, std::ref(progress));
        progress.Warn();
    }
    if (output == RunOutput::Json) {
        Print(ExaminationJson(input, clip));
    } else if (output == RunOutput::Text) {
        PrintExamination(input, clip);
    }
}

}  // namespace Nimb::Tool
