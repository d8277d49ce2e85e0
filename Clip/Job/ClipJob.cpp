#include "Clip/Job/ClipJob.h"

#include "Clip/Job/SegmentFile.h"
#include "Clip/Write/ClipAssembly.h"
#include "Clip/Write/ClipSegment.h"
#include "Clip/Write/ClipWork.h"
#include "Clip/Write/OrderedTasks.h"

#include <algorithm>
#include <memory>
#include <numeric>

namespace Nimb::Authoring {
namespace {

void CheckTool(const JobPlan& plan, const std::string& tool) {
    if (plan.tool != tool) {
        throw InputError("the plan was made by " + plan.tool + "; this is " + tool);
    }
}

EncodeOptions OptionsOf(const JobOrder& order, Warnings& warnings, std::size_t threads) {
    EncodeOptions options = order.encode;
    options.pWarnings = &warnings;
    options.threads = threads;
    return options;
}

std::unique_ptr<MeshSource> OpenSource(const JobOrder& order, Warnings& warnings) {
    SourceOptions options = order.source;
    options.pWarnings = &warnings;
    return OpenMeshSource(options);
}

/// "0 to 3, 5"
std::string Ranges(const std::vector<std::size_t>& numbers) {
    std::string text;
    for (std::size_t i = 0; i < numbers.size();) {
        std::size_t end = i + 1;
        while (end < numbers.size() && numbers[end] == numbers[end - 1] + 1) {
            ++end;
        }
        text += (text.empty() ? "" : ", ") + std::to_string(numbers[i]);
        if (end - i > 1) {
            text += " to " + std::to_string(numbers[end - 1]);
        }
        i = end;
    }
    return text;
}

/// Runs `check` for 0 to count - 1, and returns what each threw as InputError.
std::vector<std::string> ProblemsOf(std::size_t count, std::size_t threads,
                                    const std::function<void(std::size_t)>& check,
                                    const std::function<void(std::size_t)>& progress) {
    OrderedTasks<std::string> tasks("nimb check", count, threads, 2 * threads,
                                    [&check](std::size_t i, const std::atomic<bool>&) -> std::string {
                                        try {
                                            check(i);
                                            return "";
                                        } catch (const InputError& error) {
                                            return error.what();
                                        }
                                    });
    std::vector<std::string> problems;
    for (std::size_t i = 0; i < count; ++i) {
        std::string problem = tasks.Next([&] { progress(i); });
        if (!problem.empty()) {
            problems.push_back(std::move(problem));
        }
        progress(i);
    }
    return problems;
}

void CheckAll(const std::string& folder, const JobPlan& plan, std::size_t threads, const EncodeProgress& progress) {
    std::vector<std::size_t> missing, present;
    for (std::size_t i = 0; i < plan.clip.segments.size(); ++i) {
        (HasSegment(folder, i) ? present : missing).push_back(i);
    }
    std::vector<std::string> problems = ProblemsOf(
        plan.files.size(), threads, [&](std::size_t i) { CheckUnchanged(plan.files[i]); },
        [&](std::size_t) { progress(EncodeStep::Check, 0); });
    if (!missing.empty()) {
        problems.push_back(folder + ": segments that are not encoded yet: " + Ranges(missing));
    }
    const std::vector<std::string> damaged = ProblemsOf(
        present.size(), threads, [&](std::size_t i) { ReadSegment(folder, plan, present[i]); },
        [&](std::size_t i) { progress(EncodeStep::Check, plan.clip.segments[present[i]].first); });
    problems.insert(problems.end(), damaged.begin(), damaged.end());
    if (!problems.empty()) {
        throw InputError(std::accumulate(problems.begin() + 1, problems.end(), problems.front(),
                                         [](const std::string& a, const std::string& b) { return a + "\n" + b; }));
    }
}

}  // namespace

JobPlan PlanJob(const JobOrder& order, const std::string& tool, Warnings& warnings, std::size_t threads,
                const EncodeProgress& progress) {
    JobPlan plan;
    plan.tool = tool;
    plan.order = order;
    InputWatch watch;
    const std::unique_ptr<MeshSource> source = OpenSource(order, warnings);
    EncodeOptions options = OptionsOf(order, warnings, threads);
    options.onLoaded = [&](std::size_t frame) {
        for (const std::string& file : source->PictureFiles(frame)) {
            watch.Note(file);
        }
    };
    const ClipWork work(*source, options, progress);
    if (!order.audio.empty()) {
        watch.Note(order.audio);
    }
    plan.files = watch.Files();
    plan.clip = work.plan;
    plan.atlas = work.pictures.Layout().size;
    plan.frameRate = work.rate.Value();
    return plan;
}

std::size_t EncodeJobSegments(const std::string& folder, const JobPlan& plan, const std::vector<std::size_t>& segments,
                              const std::string& tool, Warnings& warnings, std::size_t threads,
                              const EncodeProgress& progress) {
    CheckTool(plan, tool);
    std::vector<std::size_t> pending;
    for (const std::size_t segment : segments) {
        try {
            ReadSegment(folder, plan, segment);
        } catch (const InputError&) {
            pending.push_back(segment);
        }
    }
    if (pending.empty()) {
        return 0;
    }
    const InputWatch watch(plan.files);
    const std::unique_ptr<MeshSource> source = OpenSource(plan.order, warnings);
    const ClipExamination clip = ExaminationOf(plan.clip, plan.order.encode, plan.atlas, plan.frameRate);
    if (source->FrameCount() != clip.frames) {
        throw InputError(source->FrameName(0) + ": the input has " + std::to_string(source->FrameCount()) +
                         " frames now, and had " + std::to_string(clip.frames) + " when the job was planned");
    }
    const ClipWork work(*source, OptionsOf(plan.order, warnings, threads), plan.clip);
    SegmentProgress done;
    const SegmentThreads share = ShareThreads(work, pending.size());
    OrderedTasks<bool> tasks("nimb segment", pending.size(), share.segments, share.segments + 1,
                             [&](std::size_t i, const std::atomic<bool>& stop) {
                                 const std::size_t segment = pending[i];
                                 WriteSegment(folder, plan, segment,
                                              EncodeClipSegment(work, plan.clip.segments[segment], share, done, stop));
                                 return true;
                             });
    std::size_t frames = 0, toTrack = 0;
    for (const std::size_t segment : pending) {
        for (const MeshSegment& meshes : plan.clip.segments[segment].meshes) {
            frames += meshes.count;
            toTrack += meshes.track ? meshes.count : 0;
        }
    }
    const auto tell = [&] { done.Tell(frames, toTrack, progress); };
    for (std::size_t i = 0; i < pending.size(); ++i) {
        tasks.Next(tell);
        tell();
    }
    return pending.size();
}

EncodeReport JoinJob(const std::string& folder, const JobPlan& plan, const std::string& path, SoundSource* audio,
                     const std::string& tool, std::size_t threads, const EncodeProgress& progress) {
    CheckTool(plan, tool);
    CheckAll(folder, plan, threads, progress);
    ClipAssembly clip(path, plan.order.encode, ExaminationOf(plan.clip, plan.order.encode, plan.atlas, plan.frameRate),
                      audio);
    for (std::size_t i = 0; i < plan.clip.segments.size(); ++i) {
        clip.Add(ReadSegment(folder, plan, i));
        progress(EncodeStep::Join, plan.clip.segments[i].first + plan.clip.segments[i].count);
    }
    return clip.Finish();
}

}  // namespace Nimb::Authoring
