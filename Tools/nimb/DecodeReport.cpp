#include "Tools/nimb/DecodeReport.h"

#include <cstdio>

namespace Nimb::Tool {
namespace {

using namespace Nimb::Authoring;
using Json = nlohmann::ordered_json;

constexpr FrameKind c_TimedKinds[] = {FrameKind::Key, FrameKind::Delta, FrameKind::Temporal};
constexpr const char* c_Layout = "float positions, normals and texture coordinates, 32 bytes a vertex";

void PrintLine(const char* name, const TimeSummary& summary) {
    std::printf("  %-10s %7zu %10.3f %10.3f %10.3f %10.3f  %7zu  %14.1f\n", name, summary.frames, summary.median,
                summary.mean, summary.percentile99, summary.slowest, summary.slowestFrame,
                static_cast<double>(summary.bytes) / static_cast<double>(summary.frames));
}

Json SummaryJson(const TimeSummary& summary) {
    return {{"frames", summary.frames},   {"median", summary.median},
            {"mean", summary.mean},       {"percentile99", summary.percentile99},
            {"slowest", summary.slowest}, {"slowestFrame", summary.slowestFrame},
            {"bytes", summary.bytes}};
}

}  // namespace

void PrintDecoding(const std::vector<FrameTime>& times) {
    const TimeSummary all = Summarize(times);
    std::printf("decoding     milliseconds of one thread, once and in order, into the player's layout (%s);\n",
                c_Layout);
    std::printf("             reading the file and finding the mesh in the sample do not count\n");
    if (all.frames != 0) {
        std::printf("  %-10s %7s %10s %10s %10s %10s  %7s  %14s\n", "kind", "frames", "median", "mean", "99 %",
                    "slowest", "(frame)", "bytes a frame");
        PrintLine("all", all);
    }
    for (const FrameKind kind : c_TimedKinds) {
        const TimeSummary summary = Summarize(times, kind);
        if (summary.frames != 0) {
            PrintLine(FrameKindName(kind), summary);
        }
    }
    if (all.frames != times.size()) {
        std::printf("  not decoded %6zu frames, without a mesh or with a damaged one\n", times.size() - all.frames);
    }
}

Json DecodingJson(const std::vector<FrameTime>& times) {
    Json json = {{"unit", "ms"}, {"threads", 1}, {"layout", c_Layout}, {"all", SummaryJson(Summarize(times))}};
    json["kinds"] = Json::object();
    for (const FrameKind kind : c_TimedKinds) {
        json["kinds"][FrameKindName(kind)] = SummaryJson(Summarize(times, kind));
    }
    json["frames"] = Json::array();
    for (const FrameTime& time : times) {
        Json frame = {{"number", time.number},
                      {"kind", FrameKindName(time.kind)},
                      {"meshBytes", time.meshBytes},
                      {"time", nullptr}};
        if (time.problem.empty()) {
            frame["time"] = time.milliseconds;
        } else {
            frame["problem"] = time.problem;
        }
        json["frames"].push_back(frame);
    }
    return json;
}

}  // namespace Nimb::Tool
