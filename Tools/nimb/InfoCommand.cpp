// `nimb info`: what a clip consists of.
#include "Authoring/Source/ImageFile.h"
#include "Tools/nimb/ClipJson.h"
#include "Tools/nimb/ClipText.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/DecodeReport.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/OutputFile.h"
#include "Tools/nimb/Progress.h"
#include "Tools/nimb/SizePlot.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace Nimb::Tool {
namespace {

using namespace Nimb::Authoring;
using Json = nlohmann::ordered_json;

constexpr const char* c_Examples =
    "Examples:\n"
    "  nimb info dancer.mp4\n"
    "      tracks, attributes, codings, and what takes how much of the file\n"
    "  nimb info --frames dancer.mp4\n"
    "      also a line for each frame\n"
    "  nimb info --plot sizes.png dancer.mp4\n"
    "      also a picture of the frames' sizes over time\n"
    "  nimb info --decode dancer.mp4\n"
    "      also how long meshes take to decode\n"
    "  nimb info --json --frames dancer.mp4 | jq '[.frames[] | select(.kind == \"key\") | .meshBytes] | add'\n"
    "      the bytes of all key frames";

struct Arguments {
    std::string path;
    bool frames = false;
    bool json = false;
    bool decode = false;
    std::string plot;
    bool overwrite = false;
};

void PrintFrameHeading() {
    std::printf("%6s %9s %10s %-9s %-13s %-13s %9s %9s %9s %9s %9s %7s  %s\n", "frame", "seconds", "offset", "kind",
                "vertices", "indices", "vertices", "faces", "indices", "mesh", "video", "bits/v", "box");
}

void PrintHeader(const CStreamingMeshHeader& header, const char* meshBytes, const char* videoBytes,
                 const char* bitsPerVertex) {
    std::printf(" %9u %9u %9u %9s %9s %7s  (%.4g, %.4g, %.4g) to (%.4g, %.4g, %.4g)\n", header.m_numVertices,
                header.m_numFaces, header.m_numIndices, meshBytes, videoBytes, bitsPerVertex,
                static_cast<double>(header.m_BBoxMin[0]), static_cast<double>(header.m_BBoxMin[1]),
                static_cast<double>(header.m_BBoxMin[2]), static_cast<double>(header.m_BBoxMax[0]),
                static_cast<double>(header.m_BBoxMax[1]), static_cast<double>(header.m_BBoxMax[2]));
}

std::string IndexColumn(const SubFrameLayout& sub) {
    return sub.isDelta ? "-" : IndexCodingName(sub.header.m_Version.v.m_IndexVersion, sub.isStrip);
}

void PrintFrame(const FrameFacts& frame) {
    std::printf("%6zu %9.3f %10llu %-9s", frame.number, frame.seconds, static_cast<unsigned long long>(frame.offset),
                FrameKindName(frame.kind));
    const std::string meshBytes = std::to_string(frame.meshBytes);
    const std::string videoBytes = std::to_string(frame.videoBytes);
    if (!frame.HasMesh()) {
        std::printf(" %-13s %-13s %9s %9s %9s %9s %9s %7s  %s\n", "-", "-", "-", "-", "-", meshBytes.c_str(),
                    videoBytes.c_str(), "-", frame.layout.problem.c_str());
        return;
    }
    const std::vector<SubFrameLayout>& subFrames = frame.layout.subFrames;
    const std::string subMeshCount = std::to_string(subFrames.size()) + " sub-meshes";
    const std::string vertexColumn =
        frame.layout.isTemporal ? subMeshCount : VertexCodingName(subFrames[0].header.m_Version.v.m_VertexVersion);
    const std::string indexColumn = frame.layout.isTemporal ? "-" : IndexColumn(subFrames[0]);
    const CStreamingMeshHeader& header = frame.layout.header;
    char bits[32] = "-";
    if (header.m_numVertices != 0) {
        std::snprintf(bits, sizeof(bits), "%.2f", 8.0 * static_cast<double>(frame.meshBytes) / header.m_numVertices);
    }
    std::printf(" %-13s %-13s", vertexColumn.c_str(), indexColumn.c_str());
    PrintHeader(header, meshBytes.c_str(), videoBytes.c_str(), bits);
    for (std::size_t i = 0; frame.layout.isTemporal && i < subFrames.size(); ++i) {
        const SubFrameLayout& sub = subFrames[i];
        const std::string name = "sub-mesh " + std::to_string(sub.header.m_SubMeshId);
        const std::string bytes = std::to_string(sub.vertexBytes + sub.normalBytes + sub.indexBytes);
        std::printf("%6s %20s %-9s %-13s %-13s", "", name.c_str(), sub.isDelta ? "delta" : "key",
                    VertexCodingName(sub.header.m_Version.v.m_VertexVersion).c_str(), IndexColumn(sub).c_str());
        PrintHeader(sub.header, bytes.c_str(), "", "");
    }
}

void WritePlot(const Arguments& arguments, const ClipSummary& summary, const std::vector<PlotFrame>& frames) {
    char title[200];
    std::snprintf(title, sizeof(title), "%s: %zu frames, %.1f kB; meshes %.1f %%, video %.1f %%",
                  std::filesystem::path(arguments.path).filename().c_str(), summary.frames,
                  static_cast<double>(summary.fileBytes) / 1000, Percent(summary.meshBytes, summary.fileBytes),
                  Percent(summary.videoBytes, summary.fileBytes));
    OutputFile output(arguments.plot, arguments.overwrite);
    try {
        WritePng(output.TemporaryPath(), PlotFrameSizes(title, frames));
    } catch (const std::runtime_error& error) {
        throw OutputError(error.what());
    }
    output.Commit();
}

std::vector<FrameTime> TimeFrames(const Arguments& arguments, std::size_t total) {
    Progress progress("Decoding", total);
    return TimeDecoding(arguments.path, [&](std::size_t done) { progress.Report(done); });
}

int Run(const Arguments& arguments) {
    if (!arguments.plot.empty()) {
        CheckOutput(arguments.plot, OutputKind::Picture, arguments.overwrite, {arguments.path});
    }
    ClipReader reader(arguments.path);
    const ClipAttributes attributes = ReadClipAttributes(arguments.path);
    Json json = ToJson(reader, attributes);
    if (arguments.frames && arguments.json) {
        json["frames"] = Json::array();
    }
    std::vector<PlotFrame> plot;
    const ClipSummary summary = InspectClip(reader, [&](const FrameFacts& frame) {
        if (!arguments.plot.empty()) {
            plot.push_back({frame.seconds, frame.kind, frame.isKeyPicture, static_cast<double>(frame.meshBytes),
                            static_cast<double>(frame.videoBytes)});
        }
        if (arguments.frames && arguments.json) {
            json["frames"].push_back(ToJson(frame));
        } else if (arguments.frames) {
            if (frame.number == 0) {
                PrintFrameHeading();
            }
            PrintFrame(frame);
        }
    });
    if (!arguments.plot.empty()) {
        WritePlot(arguments, summary, plot);
    }
    std::vector<FrameTime> times;
    if (arguments.decode) {
        times = TimeFrames(arguments, summary.frames);
    }
    if (arguments.json) {
        json["summary"] = ToJson(summary);
        if (arguments.decode) {
            json["decode"] = DecodingJson(times);
        }
        Print(json);
        return c_ExitOk;
    }
    if (arguments.frames) {
        std::puts("");
    }
    PrintClip(reader, summary);
    PrintAttributes(attributes);
    if (arguments.decode) {
        PrintDecoding(times);
    }
    return c_ExitOk;
}

}  // namespace

Command AddInfo(CLI::App& app) {
    CLI::App* const sub = app.add_subcommand("info", "show what a clip consists of");
    const auto arguments = std::make_shared<Arguments>();
    sub->add_option("clip", arguments->path, "the clip, an .mp4 file")->required();
    sub->add_flag("--frames", arguments->frames, "show every frame too");
    sub->add_flag("--decode", arguments->decode, "decode the meshes and show how long that takes");
    sub->add_flag("--json", arguments->json, "print as JSON; with --decode, also the time of each frame");
    sub->add_option("--plot", arguments->plot, "write a picture (PNG) of the frames' sizes over time")
        ->type_name("FILE");
    AddOverwrite(*sub, arguments->overwrite);
    sub->footer(c_Examples);
    return {sub, [arguments] { return Run(*arguments); }};
}

}  // namespace Nimb::Tool
