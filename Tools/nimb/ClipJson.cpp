#include "Tools/nimb/ClipJson.h"

#include <cstdio>

namespace Nimb::Tool {
namespace {

using Json = nlohmann::ordered_json;
using namespace Nimb::Authoring;

template <class Bound>
Json BoxJson(const Bound& min, const Bound& max) {
    return {{"min", {min[0], min[1], min[2]}}, {"max", {max[0], max[1], max[2]}}};
}

Json HeaderJson(const CStreamingMeshHeader& header) {
    return {{"vertices", header.m_numVertices},
            {"faces", header.m_numFaces},
            {"indices", header.m_numIndices},
            {"box", BoxJson(header.m_BBoxMin, header.m_BBoxMax)}};
}

Json SubFrameJson(const SubFrameLayout& sub) {
    const auto& version = sub.header.m_Version.v;
    Json json = {{"subMesh", sub.header.m_SubMeshId},
                 {"kind", sub.isDelta ? "delta" : "key"},
                 {"vertexVersion", version.m_VertexVersion},
                 {"vertexCoding", VertexCodingName(version.m_VertexVersion)},
                 {"indexVersion", nullptr},
                 {"indexCoding", nullptr},
                 {"normals", sub.hasNormals},
                 {"vertexBytes", sub.vertexBytes},
                 {"normalBytes", sub.normalBytes},
                 {"indexBytes", sub.indexBytes}};
    if (!sub.isDelta) {
        json["indexVersion"] = version.m_IndexVersion;
        json["indexCoding"] = IndexCodingName(version.m_IndexVersion, sub.isStrip);
    }
    json.update(HeaderJson(sub.header));
    return json;
}

Json ShareJson(const Share& share) {
    return {{"frames", share.frames}, {"bytes", share.bytes}};
}

Json SharesJson(const std::map<std::string, Share>& shares) {
    Json json = Json::object();
    for (const auto& [name, share] : shares) {
        json[name] = ShareJson(share);
    }
    return json;
}

}  // namespace

Json ToJson(const ClipTrack& track) {
    Json json = {{"kind", track.kind == ClipTrack::Kind::Video   ? "video"
                          : track.kind == ClipTrack::Kind::Audio ? "audio"
                                                                 : "other"},
                 {"codec", track.codec},
                 {"samples", track.sampleCount},
                 {"seconds", track.seconds},
                 {"timeBase", {track.timeBaseNumerator, track.timeBaseDenominator}}};
    if (track.kind == ClipTrack::Kind::Video) {
        json.update({{"width", track.width}, {"height", track.height}, {"frameRate", track.Rate()}});
    } else if (track.kind == ClipTrack::Kind::Audio) {
        json.update({{"sampleRate", track.sampleRate}, {"channels", track.channels}});
    }
    return json;
}

Json ToJson(const ClipAttributes& attributes) {
    if (!attributes.values) {
        return {{"problem", attributes.problem}};
    }
    const FileAttributes& values = *attributes.values;
    Json json = {{"offset", attributes.offset},
                 {"frames", values.frameCount},
                 {"maxVertices", values.maxVertexCount},
                 {"maxIndices", values.maxIndexCount},
                 {"box", BoxJson(values.bboxMin, values.bboxMax)},
                 {"normals", nullptr}};
    if (values.hasVertexNormals) {
        json["normals"] = *values.hasVertexNormals == 1;
    }
    return json;
}

Json ToJson(const FrameFacts& frame) {
    Json json = {{"number", frame.number},
                 {"seconds", frame.seconds},
                 {"kind", FrameKindName(frame.kind)},
                 {"keyPicture", frame.isKeyPicture},
                 {"offset", frame.offset},
                 {"videoBytes", frame.videoBytes},
                 {"meshOffset", nullptr},
                 {"meshBytes", frame.meshBytes}};
    if (frame.meshBytes != 0) {
        json["meshOffset"] = frame.meshOffset;
    }
    if (frame.kind == FrameKind::Damaged) {
        json["problem"] = frame.layout.problem;
    }
    if (frame.HasMesh()) {
        json["frameId"] = frame.layout.header.m_FrameId;
        json.update(HeaderJson(frame.layout.header));
        json["parts"] = Json::array();
        for (const SubFrameLayout& sub : frame.layout.subFrames) {
            json["parts"].push_back(SubFrameJson(sub));
        }
    }
    return json;
}

Json ToJson(const ClipSummary& summary) {
    Json kinds = Json::object();
    for (std::size_t i = 0; i < c_FrameKinds; ++i) {
        kinds[FrameKindName(static_cast<FrameKind>(i))] = ShareJson(summary.kinds[i]);
    }
    Json json = {{"frames", summary.frames},
                 {"keyFrames", summary.keyFrames},
                 {"seconds", summary.seconds},
                 {"bytes",
                  {{"file", summary.fileBytes},
                   {"mesh", summary.meshBytes},
                   {"video", summary.videoBytes},
                   {"audio", summary.audioBytes},
                   {"overhead", summary.OverheadBytes()}}},
                 {"bitsPerVertex", summary.BitsPerVertex()},
                 {"kinds", kinds},
                 {"vertexCodings", SharesJson(summary.vertexCodings)},
                 {"indexCodings", SharesJson(summary.indexCodings)},
                 {"maxVertices", summary.maxVertices},
                 {"maxFaces", summary.maxFaces},
                 {"maxIndices", summary.maxIndices},
                 {"maxSubMeshes", summary.maxSubMeshes},
                 {"box", nullptr}};
    if (summary.box) {
        json["box"] = ToJson(*summary.box);
    }
    return json;
}

Json ToJson(const Box& box) {
    return {{"min", {box.min.x, box.min.y, box.min.z}}, {"max", {box.max.x, box.max.y, box.max.z}}};
}

Json ToJson(const ClipReader& reader, const ClipAttributes& attributes) {
    Json json = {{"file", reader.Path()}, {"tracks", Json::array()}, {"attributes", ToJson(attributes)}};
    for (const ClipTrack& track : reader.Tracks()) {
        json["tracks"].push_back(ToJson(track));
    }
    return json;
}

void Print(const Json& json) {
    // Names of files and codecs are what they are.
    std::printf("%s\n", json.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace Nimb::Tool
