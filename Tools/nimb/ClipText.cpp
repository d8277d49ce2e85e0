#include "Tools/nimb/ClipText.h"

#include <cstdio>
#include <string>

namespace Nimb::Tool {

using namespace Nimb::Authoring;

namespace {

void PrintTrack(std::size_t number, const ClipTrack& track) {
    const char* const codec = track.codec.c_str();
    const auto timeBase = std::to_string(track.timeBaseNumerator) + "/" + std::to_string(track.timeBaseDenominator);
    if (track.kind == ClipTrack::Kind::Video) {
        std::printf("track %zu      video, %s, %d x %d, %.5g frames/s, %zu samples, time base %s s\n", number, codec,
                    track.width, track.height, track.Rate(), track.sampleCount, timeBase.c_str());
    } else if (track.kind == ClipTrack::Kind::Audio) {
        std::printf("track %zu      audio, %s, %d Hz, %d channels, %zu samples, time base %s s\n", number, codec,
                    track.sampleRate, track.channels, track.sampleCount, timeBase.c_str());
    } else {
        std::printf("track %zu      other, %s\n", number, codec);
    }
}

/// A line of the form "name  count  bytes  share".
void PrintShare(const char* heading, const std::string& name, const Share& share, UINT64 whole) {
    std::printf("%-12s %-14s %7zu  %12llu bytes  %5.1f %%\n", heading, name.c_str(), share.frames,
                static_cast<unsigned long long>(share.bytes), Percent(share.bytes, whole));
}

void PrintShares(const char* heading, const std::map<std::string, Share>& shares, UINT64 whole) {
    for (const auto& [name, share] : shares) {
        PrintShare(heading, name, share, whole);
        heading = "";
    }
}

void PrintSummary(const ClipSummary& summary) {
    const char* heading = "file";
    const auto part = [&](const char* name, UINT64 bytes) {
        std::printf("%-12s %-14s %7s  %12llu bytes  %5.1f %%\n", heading, name, "",
                    static_cast<unsigned long long>(bytes), Percent(bytes, summary.fileBytes));
        heading = "";
    };
    part("meshes", summary.meshBytes);
    part("video", summary.videoBytes);
    part("audio", summary.audioBytes);
    part("overhead", summary.OverheadBytes());
    heading = "meshes";
    for (std::size_t i = 0; i < c_FrameKinds; ++i) {
        if (summary.kinds[i].frames != 0) {
            PrintShare(heading, FrameKindName(static_cast<FrameKind>(i)), summary.kinds[i], summary.meshBytes);
            heading = "";
        }
    }
    PrintShares("vertices", summary.vertexCodings, summary.meshBytes);
    PrintShares("indices", summary.indexCodings, summary.meshBytes);
    if (summary.vertices != 0) {
        std::printf("per vertex   %.2f bits of mesh\n", summary.BitsPerVertex());
        std::printf("largest      %u vertices, %u faces, %u indices; sub-meshes: %zu\n", summary.maxVertices,
                    summary.maxFaces, summary.maxIndices, summary.maxSubMeshes);
        const Box& box = *summary.box;
        std::printf("box          (%g, %g, %g) to (%g, %g, %g)\n", static_cast<double>(box.min.x),
                    static_cast<double>(box.min.y), static_cast<double>(box.min.z), static_cast<double>(box.max.x),
                    static_cast<double>(box.max.y), static_cast<double>(box.max.z));
    }
}

}  // namespace

double Percent(UINT64 part, UINT64 whole) {
    return whole != 0 ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 0;
}

void PrintClip(const ClipReader& reader, const ClipSummary& summary) {
    const auto bytes = static_cast<double>(summary.fileBytes);
    std::printf("%s: %.0f bytes, %zu frames (%zu key), %.3f s", reader.Path().c_str(), bytes, summary.frames,
                summary.keyFrames, summary.seconds);
    if (summary.seconds > 0) {
        std::printf(", %.0f kbit/s", bytes * 8 / 1000 / summary.seconds);
    }
    std::puts("");
    for (std::size_t i = 0; i < reader.Tracks().size(); ++i) {
        PrintTrack(i, reader.Tracks()[i]);
    }
    PrintSummary(summary);
}

void PrintAttributes(const ClipAttributes& attributes) {
    if (!attributes.values) {
        std::printf("attributes   none: %s (`nimb remux` writes them)\n", attributes.problem.c_str());
        return;
    }
    const FileAttributes& v = *attributes.values;
    std::printf("attributes   %u frames, at most %u vertices and %u indices, normals: %s\n", v.frameCount,
                v.maxVertexCount, v.maxIndexCount,
                !v.hasVertexNormals        ? "not said"
                : *v.hasVertexNormals == 1 ? "yes"
                                           : "no");
    std::printf("             box (%g, %g, %g) to (%g, %g, %g)\n", v.bboxMin[0], v.bboxMin[1], v.bboxMin[2],
                v.bboxMax[0], v.bboxMax[1], v.bboxMax[2]);
}

}  // namespace Nimb::Tool
