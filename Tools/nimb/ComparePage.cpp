#include "Tools/nimb/ComparePage.h"

#include "Authoring/Source/FileBytes.h"
#include "Authoring/Source/ImageFile.h"
#include "Tools/nimb/Compare/ErrorColours.h"
#include "Tools/nimb/CompareWorst.h"
#include "Tools/nimb/HtmlText.h"
#include "Tools/nimb/PageFile.h"
#include "Tools/nimb/WebPlayer.h"
#include "Tools/nimb/WebTemplates.h"

#include <cstdio>
#include <filesystem>
#include <optional>

namespace Nimb::Tool {
namespace {

using Authoring::Image;

constexpr double c_ErrorRate = 10;  // of the clip of errors, frames a second

std::string AsText(const std::vector<BYTE>& bytes) {
    return std::string(Authoring::AsText(bytes));
}

std::string Cell(const std::string& text) {
    return "<td>" + EscapeHtml(text) + "</td>";
}

std::string FigureRows(const std::vector<FigureSummary>& summaries) {
    std::string rows;
    for (const FigureSummary& summary : summaries) {
        const Figure& figure = *summary.figure;
        rows += "<tr>" + Cell(figure.title) + Cell(FigureText(figure.unit, summary.average)) +
                Cell(FigureText(figure.unit, summary.worst)) + Cell(std::to_string(summary.worstFrame)) + "</tr>\n";
    }
    return rows;
}

std::string SoundText(const SoundResult& sound) {
    if (!sound.figures) {
        return "";
    }
    char text[160];
    std::snprintf(text, sizeof text, "<p>Sound: %+.1f ms late, %+.1f dB, correlation %.2f</p>",
                  sound.figures->offset * 1000, sound.figures->level, sound.figures->likeness);
    return text;
}

std::string FaultList(const CompareReport& report) {
    std::string items;
    for (const std::string& failed : report.failed) {
        items += "<li>failed: " + EscapeHtml(failed) + "</li>\n";
    }
    for (const Fault& fault : report.result.faults) {
        const std::string place = PlaceOf(fault);
        items += "<li><strong>" + EscapeHtml(fault.kind) + "</strong>" + (place.empty() ? "" : ", " + place) + ": " +
                 EscapeHtml(fault.text) + "</li>\n";
    }
    return items.empty() ? "" : "<ul>\n" + items + "</ul>";
}

std::string Verdict(const CompareReport& report) {
    const std::size_t count = report.result.faults.size() + report.failed.size();
    return count == 0   ? "No fault found in " + std::to_string(report.result.frames.size()) + " frames."
           : count == 1 ? "One finding:"
                        : std::to_string(count) + " findings:";
}

std::string Picture(const Image& image, const char* caption) {
    return std::string("<figure><img alt=\"") + caption + "\" src=\"data:image/png;base64," +
           Base64(AsText(Authoring::EncodePng(image))) + "\"><figcaption>" + caption + "</figcaption></figure>\n";
}

std::string ScaleText(const WorstFrame& frame) {
    char text[32];
    std::snprintf(text, sizeof text, "%g mm", frame.scale * 1000);
    return text;
}

std::string FrameSection(const WorstFrame& frame, const ComparisonResult& result) {
    std::string text;
    for (const FrameResult& r : result.frames) {
        for (const char* const name : {"p99", "max", "psnr", "ssim", "flicker"}) {
            const Figure& figure = *FindFigure(name);
            const std::optional<double> value = r.number == frame.number ? figure.of(r) : std::nullopt;
            text += value ? std::string(text.empty() ? "" : ", ") + name + " " + FigureText(figure.unit, *value) : "";
        }
    }
    return "<h3>Frame " + std::to_string(frame.number) + "</h3>\n<p class=\"faint\">" + text +
           "</p>\n<div class=\"frame\">\n" + Picture(frame.source, "source") + Picture(frame.clip, "clip") +
           Picture(frame.difference, "difference") + Picture(frame.error, ("error, 0 to " + ScaleText(frame)).c_str()) +
           "</div>\n";
}

/// The web player's module; none when it has not been built.
std::optional<std::string> PlayerModule() {
    try {
        const std::string folder = FindWebPlayer({c_WebInlinePlayer});
        return AsText(
            Authoring::ReadFileBytes((std::filesystem::path(folder) / c_WebInlinePlayer).string(), "the web player"));
    } catch (const Authoring::InputError&) {
        return std::nullopt;
    }
}

std::string PlayerSection(const std::vector<WorstFrame>& frames) {
    std::string buttons;
    for (const WorstFrame& frame : frames) {
        const std::string begin =
            "<button type=\"button\" data-scale=\"" + ScaleText(frame) + "\">" + std::to_string(frame.number);
        buttons += begin + ": clip</button>" + begin + ": source</button>\n";
    }
    char rate[16];
    std::snprintf(rate, sizeof rate, "%g", c_ErrorRate);
    return "<p>Distance to the other surface. What the clip lacks shows on the source, what only the clip has on the "
           "clip. Drag to turn.</p>\n<p class=\"choices\">\n" +
           buttons + "</p>\n<div class=\"legend\"><span>0 mm</span><span></span><span><span id=\"scale\">" +
           ScaleText(frames.front()) + "</span> and more</span></div>\n<nimb-player preload=\"auto\" data-rate=\"" +
           rate +
           "\" aria-label=\"Error on the surface\"></nimb-player>\n"
           "<script type=\"application/octet-stream\" id=\"error-clip\">" +
           Base64(EncodeErrors(frames, c_ErrorRate)) + "</script>\n";
}

std::string SurfaceSection(const std::vector<WorstFrame>& frames, bool hasPlayer) {
    if (frames.empty()) {
        return "<p>No frame could be compared.</p>";
    }
    return hasPlayer ? PlayerSection(frames)
                     : "<p>A surface that can be turned needs the web player, which was not there "
                       "when this page was written: <code>cmake --build --preset release --target "
                       "web</code>. The pictures below have the same colours.</p>";
}

/// JSON within a script element.
std::string InlineJson(const CompareReport& report) {
    std::string text;
    for (const char c : ToJson(report).dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace)) {
        text += c == '<' ? std::string("\\u003c") : std::string(1, c);
    }
    return text;
}

}  // namespace

void WriteComparePage(const std::string& path, bool overwrite, const CompareReport& report, CompareStage& stage,
                      const Authoring::MeshSource& source) {
    const std::vector<std::size_t> worst = ChooseWorst(report.result);
    const std::vector<WorstFrame> frames = LookAtWorst(stage, source, worst);
    const std::optional<std::string> player = frames.empty() ? std::nullopt : PlayerModule();
    std::string sections;
    for (const WorstFrame& frame : frames) {
        sections += FrameSection(frame, report.result);
    }
    const bool isBad = !report.result.faults.empty() || !report.failed.empty();
    const std::string page = FillTemplate(
        c_WebCompareHtml, {{"title", EscapeHtml(report.clip + " against " + report.source)},
                           {"style", FillTemplate(c_WebCompareCss, {{"ramp", ErrorGradient()}})},
                           {"player", player ? "<script type=\"module\">\n" + InlineScript(*player) + "</script>" : ""},
                           {"verdictClass", isBad ? "bad" : "good"},
                           {"verdict", Verdict(report)},
                           {"faults", FaultList(report)},
                           {"figures", FigureRows(report.result.summary)},
                           {"sound", SoundText(report.result.sound)},
                           {"surface", SurfaceSection(frames, player.has_value())},
                           {"frames", sections},
                           {"report", InlineJson(report)},
                           {"script", InlineScript(c_WebCompareJs)}});
    PageFile file(path, overwrite);
    file.Write(page);
    file.Close();
    file.Commit();
}

}  // namespace Nimb::Tool
