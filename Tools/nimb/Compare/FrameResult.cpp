#include "Tools/nimb/Compare/FrameResult.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Nimb::Tool {
namespace {

using Unit = Figure::Unit;
using Value = std::optional<double>;

double Averaged(Unit unit, const std::vector<double>& values) {
    double sum = 0;
    for (const double value : values) {
        sum += unit == Unit::Decibels ? std::pow(10, -value / 10) : value;
    }
    const double mean = sum / static_cast<double>(values.size());
    return unit == Unit::Decibels ? -10 * std::log10(mean) : mean;
}

}  // namespace

const std::vector<Figure>& Figures() {
    static const std::vector<Figure> s_Figures = {
        {"mean", "distance, mean", Unit::Metres, true, [](const FrameResult& r) { return Value(r.distance.mean); }},
        {"rms", "distance, root mean square", Unit::Metres, true,
         [](const FrameResult& r) { return Value(r.distance.rms); }},
        {"p95", "distance, 95 of 100", Unit::Metres, true,
         [](const FrameResult& r) { return Value(r.distance.percentile95); }},
        {"p99", "distance, 99 of 100", Unit::Metres, true,
         [](const FrameResult& r) { return Value(r.distance.percentile99); }},
        {"max", "distance, largest", Unit::Metres, true,
         [](const FrameResult& r) { return Value(r.distance.largest); }},
        {"pointpsnr", "PSNR, point to point", Unit::Decibels, false,
         [](const FrameResult& r) { return Value(r.pointPsnr); }},
        {"planepsnr", "PSNR, point to plane", Unit::Decibels, false,
         [](const FrameResult& r) { return Value(r.planePsnr); }},
        {"psnr", "views, PSNR of luma", Unit::Decibels, false,
         [](const FrameResult& r) { return Value(r.views.psnr); }},
        {"ssim", "views, SSIM", Unit::Index, false, [](const FrameResult& r) { return Value(r.views.ssim); }},
        {"silhouette", "views, silhouette", Unit::Share, true,
         [](const FrameResult& r) { return Value(r.views.silhouette); }},
        {"flicker", "views, flicker", Unit::Levels, true, [](const FrameResult& r) { return r.flicker; }},
        {"flipped", "flipped faces", Unit::Share, true, [](const FrameResult& r) { return Value(r.flippedShare); }},
    };
    return s_Figures;
}

const Figure* FindFigure(const std::string& name) {
    const std::vector<Figure>& figures = Figures();
    const auto found =
        std::find_if(figures.begin(), figures.end(), [&](const Figure& figure) { return name == figure.name; });
    return found == figures.end() ? nullptr : &*found;
}

double ShownValue(Unit unit, double value) {
    return unit == Unit::Metres ? value * 1000 : unit == Unit::Share ? value * 100 : value;
}

std::string FigureText(Unit unit, double value) {
    static const char* const s_Formats[] = {"%.3f mm", "%.2f dB", "%.2f %%", "%.4f", "%.2f"};
    if (std::isinf(value)) {
        return value > 0 ? "infinite" : "none";
    }
    char text[64];
    std::snprintf(text, sizeof text, s_Formats[static_cast<std::size_t>(unit)], ShownValue(unit, value));
    return text;
}

std::vector<FigureSummary> Summarise(const std::vector<FrameResult>& results) {
    std::vector<FigureSummary> summaries;
    for (const Figure& figure : Figures()) {
        FigureSummary summary{&figure};
        std::vector<double> values;
        for (const FrameResult& result : results) {
            const Value value = result.problem.empty() ? figure.of(result) : std::nullopt;
            if (!value) {
                continue;
            }
            if (values.empty() || (figure.isWorseAbove ? *value > summary.worst : *value < summary.worst)) {
                summary.worst = *value;
                summary.worstFrame = result.number;
            }
            values.push_back(*value);
        }
        if (!values.empty()) {
            summary.average = Averaged(figure.unit, values);
            summaries.push_back(summary);
        }
    }
    return summaries;
}

}  // namespace Nimb::Tool
