#include "Tools/nimb/CompareOutput.h"

#include <glm/geometric.hpp>

#include <cmath>
#include <cstdio>

namespace Nimb::Tool {
namespace {

using Json = nlohmann::ordered_json;

Json Number(double value) {
    return std::isfinite(value) ? Json(value) : Json(nullptr);
}

Json ToJson(const Authoring::DistanceFigures& figures) {
    return {{"mean", Number(figures.mean * 1000)},
            {"rms", Number(figures.rms * 1000)},
            {"p95", Number(figures.percentile95 * 1000)},
            {"p99", Number(figures.percentile99 * 1000)},
            {"max", Number(figures.largest * 1000)}};
}

Json ToJson(const FrameResult& frame) {
    Json json = {{"number", frame.number}};
    if (!frame.problem.empty()) {
        json["problem"] = frame.problem;
        return json;
    }
    for (const Figure& figure : Figures()) {
        const std::optional<double> value = figure.of(frame);
        json[figure.name] = value ? Number(ShownValue(figure.unit, *value)) : Json(nullptr);
    }
    json["fromSource"] = ToJson(frame.fromSource);
    json["fromClip"] = ToJson(frame.fromClip);
    return json;
}

Json ToJson(const Fault& fault) {
    Json json = {{"kind", fault.kind}, {"first", nullptr}, {"last", nullptr}, {"text", fault.text}};
    if (fault.first) {
        json["first"] = *fault.first;
        json["last"] = *fault.last;
    }
    return json;
}

Json ToJson(const SoundResult& sound) {
    if (!sound.figures) {
        return nullptr;
    }
    return {{"offset", sound.figures->offset * 1000},
            {"likeness", sound.figures->likeness},
            {"level", sound.figures->level}};
}

}  // namespace

void PrintReport(const CompareReport& report) {
    const ComparisonResult& result = report.result;
    std::printf("%s against %s: %zu %s compared\n", report.clip.c_str(), report.source.c_str(), result.frames.size(),
                result.frames.size() == 1 ? "frame" : "frames");
    if (!result.summary.empty()) {
        std::printf("  %-28s %12s %12s  %s\n", "", "average", "worst", "frame");
    }
    for (const FigureSummary& summary : result.summary) {
        const Figure& figure = *summary.figure;
        std::printf("  %-28s %12s %12s  %zu\n", figure.title, FigureText(figure.unit, summary.average).c_str(),
                    FigureText(figure.unit, summary.worst).c_str(), summary.worstFrame);
    }
    if (result.sound.figures) {
        std::printf("  %-28s %+9.1f ms, level %+.1f dB\n", "sound, late by", result.sound.figures->offset * 1000,
                    result.sound.figures->level);
    }
    for (const Fault& fault : result.faults) {
        const std::string place = PlaceOf(fault);
        std::printf("%s: %s%s\n", fault.kind.c_str(), place.empty() ? "" : (place + ": ").c_str(), fault.text.c_str());
    }
    for (const std::string& failed : report.failed) {
        std::printf("failed: %s\n", failed.c_str());
    }
    if (result.faults.empty() && report.failed.empty()) {
        std::printf("ok\n");
    }
}

Json ToJson(const CompareReport& report) {
    const ComparisonResult& result = report.result;
    Json json = {{"source", report.source},
                 {"clip", report.clip},
                 {"ok", result.faults.empty() && report.failed.empty()},
                 {"sourceFrames", result.sourceFrames},
                 {"clipFrames", result.clipFrames},
                 {"frameRate", result.frameRate},
                 {"summary", Json::object()},
                 {"sound", ToJson(result.sound)},
                 {"faults", Json::array()},
                 {"failed", report.failed},
                 {"frames", Json::array()}};
    for (const FigureSummary& summary : result.summary) {
        const Figure::Unit unit = summary.figure->unit;
        json["summary"][summary.figure->name] = {{"average", Number(ShownValue(unit, summary.average))},
                                                 {"worst", Number(ShownValue(unit, summary.worst))},
                                                 {"worstFrame", summary.worstFrame}};
    }
    for (const Fault& fault : result.faults) {
        json["faults"].push_back(ToJson(fault));
    }
    for (const FrameResult& frame : result.frames) {
        json["frames"].push_back(ToJson(frame));
    }
    return json;
}

}  // namespace Nimb::Tool
