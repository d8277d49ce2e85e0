#include "Tools/nimb/JobRun.h"

#include "Clip/Write/OrderedTasks.h"
#include "Tools/nimb/EncodeRun.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/StandardStreams.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <numeric>
#include <vector>

namespace fs = std::filesystem;

namespace Nimb::Tool {
namespace {

using Authoring::JobOrder;
using Authoring::JobPlan;

std::string Tool() {
    return Authoring::ToolIdentity(NIMB_VERSION);
}

std::size_t ThreadsOr(std::size_t threads) {
    return threads == 0 ? Authoring::DefaultThreads() : threads;
}

std::string Absolute(const std::string& path) {
    return path.empty() ? path : fs::absolute(path).lexically_normal().string();
}

std::size_t FramesOf(const JobPlan& plan) {
    return plan.clip.segments.back().first + plan.clip.segments.back().count;
}

double DurationOf(const JobPlan& plan) {
    return static_cast<double>(FramesOf(plan)) / plan.frameRate;
}

/// Without the folder that it lies in: a mistyped path is not to be made.
void MakeJobFolder(const std::string& folder) {
    std::error_code error;
    fs::create_directory(folder, error);
    if (error || !fs::is_directory(folder, error)) {
        throw OutputError(folder + ": cannot be made: " + (error ? error.message() : "there is a file of that name"));
    }
}

std::size_t NumberIn(const std::string& text, const std::string& all, std::size_t count) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw UsageError("--segments " + all + ": not numbers of segments such as 3, 3-5 or 0,3-5");
    }
    if (number >= count) {
        throw UsageError("--segments " + all + ": there is no segment " + std::to_string(number) + "; they are 0 to " +
                         std::to_string(count - 1));
    }
    return number;
}

std::vector<std::size_t> ParseSegments(const std::string& text, std::size_t count) {
    std::vector<std::size_t> segments;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t comma = std::min(text.find(',', at), text.size());
        const std::string part = text.substr(at, comma - at);
        const std::size_t dash = part.find('-');
        const std::size_t first = NumberIn(part.substr(0, dash), text, count);
        const std::size_t last = dash == std::string::npos ? first : NumberIn(part.substr(dash + 1), text, count);
        for (std::size_t segment = first; segment <= last; ++segment) {
            segments.push_back(segment);
        }
        at = comma + 1;
    }
    std::sort(segments.begin(), segments.end());
    segments.erase(std::unique(segments.begin(), segments.end()), segments.end());
    return segments;
}

std::size_t EncodeSegments(const std::string& folder, const JobPlan& plan, const std::vector<std::size_t>& segments,
                           std::size_t threads, RunOutput output) {
    Authoring::Warnings warnings;
    const std::size_t frames = std::accumulate(
        segments.begin(), segments.end(), std::size_t{0},
        [&plan](std::size_t sum, std::size_t segment) { return sum + plan.clip.segments[segment].count; });
    RunProgress progress(frames, &warnings, nullptr, output, plan.order.isStrict);
    const std::size_t encoded =
        Authoring::EncodeJobSegments(folder, plan, segments, Tool(), warnings, ThreadsOr(threads), std::ref(progress));
    progress.Warn();
    return encoded;
}

void Join(const std::string& folder, const JobPlan& plan, const std::string& clip, std::size_t threads,
          RunOutput output) {
    const auto start = std::chrono::steady_clock::now();
    Authoring::EncodeReport report;
    {
        Authoring::Warnings warnings;
        std::optional<Authoring::AudioReader> audio;
        OpenSound(plan.order.audio, plan.order.audioStart, DurationOf(plan), warnings, audio);
        RunProgress progress(FramesOf(plan), &warnings, audio ? &*audio : nullptr, output, plan.order.isStrict);
        report = Authoring::JoinJob(folder, plan, clip, audio ? &*audio : nullptr, Tool(), ThreadsOr(threads),
                                    std::ref(progress));
    }
    if (output != RunOutput::Quiet) {
        PrintSummary(clip, report, std::chrono::steady_clock::now() - start, output);
    }
    TellDamagedSound(plan.order.audio, report);
}

}  // namespace

JobOrder OrderOf(const EncodeArguments& a) {
    JobOrder order{a.source, a.encode, Absolute(a.audio), a.audioStart, a.strict};
    order.source.input = Absolute(order.source.input);
    order.source.texture = Absolute(order.source.texture);
    for (std::vector<std::string>* files : {&order.source.inputFiles, &order.source.textureFiles}) {
        std::transform(files->begin(), files->end(), files->begin(), Absolute);
    }
    return order;
}

JobPlan RunPlan(const JobOrder& order, const std::string& folder, bool overwrite, std::size_t threads,
                RunOutput output) {
    if (Authoring::HasJobPlan(folder) && !overwrite) {
        throw UsageError(folder + ": has a plan already; use -y to begin anew");
    }
    MakeJobFolder(folder);
    Authoring::RemoveJob(folder);
    Authoring::Warnings warnings;
    std::optional<Authoring::AudioReader> audio;  // now, since it would be a pity to learn of its faults from the join
    OpenSound(order.audio, order.audioStart, std::numeric_limits<double>::infinity(), warnings, audio);
    RunProgress progress(0, &warnings, nullptr, output, order.isStrict);
    JobPlan plan = Authoring::PlanJob(order, Tool(), warnings, ThreadsOr(threads), std::ref(progress));
    progress.Warn();
    Authoring::WriteJobPlan(folder, plan);
    return plan;
}

void RunSegments(const std::string& folder, const std::string& segments, std::size_t threads, RunOutput output) {
    if (segments.empty()) {
        throw UsageError("--segment is missing: which to encode, such as 3 or 0-9");
    }
    const JobPlan plan = Authoring::ReadJobPlan(folder);
    const std::vector<std::size_t> wanted = ParseSegments(segments, plan.clip.segments.size());
    const std::size_t encoded = EncodeSegments(folder, plan, wanted, threads, output);
    if (output == RunOutput::Text) {
        std::printf("%s: segments encoded: %zu, done before: %zu\n", folder.c_str(), encoded, wanted.size() - encoded);
    }
}

void RunJoin(const std::string& folder, const std::string& clip, std::size_t threads, RunOutput output) {
    Join(folder, Authoring::ReadJobPlan(folder), clip, threads, output);
}

void RunResumable(const JobOrder& order, const std::string& clip, std::size_t threads, RunOutput output) {
    const std::string folder = clip + ".job";
    std::optional<JobPlan> plan;
    if (Authoring::HasJobPlan(folder)) {
        plan = Authoring::ReadJobPlan(folder);
        if (!Authoring::IsSameOrder(plan->order, order)) {
            throw UsageError(folder + ": was begun with other inputs or options; remove it to begin anew");
        }
    } else {
        plan = RunPlan(order, folder, false, threads, output);
    }
    std::vector<std::size_t> all(plan->clip.segments.size());
    std::iota(all.begin(), all.end(), std::size_t{0});
    const std::size_t encoded = EncodeSegments(folder, *plan, all, threads, output);
    if (output == RunOutput::Text && encoded < all.size()) {
        std::fprintf(stderr, "nimb: %s: segments done before: %zu of %zu\n", folder.c_str(), all.size() - encoded,
                     all.size());
    }
    Join(folder, *plan, clip, threads, output);
    Authoring::RemoveJob(folder);
    std::error_code ignored;
    fs::remove(fs::path(folder) / "segments", ignored);
    fs::remove(folder, ignored);  // unless somebody keeps something there
}

}  // namespace Nimb::Tool
