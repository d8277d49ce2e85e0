#include "Clip/Job/JobJson.h"

#include <limits>
#include <optional>

namespace Nimb::Authoring {
namespace {

template <class T>
Json JsonOrNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json();
}

template <class T>
std::optional<T> Optional(const Json& json) {
    return json.is_null() ? std::nullopt : std::optional<T>(json.get<T>());
}

template <class Enum>
Json JsonOrNullOfEnum(const std::optional<Enum>& value) {
    return value ? Json(static_cast<int>(*value)) : Json();
}

template <class Enum>
std::optional<Enum> OptionalEnum(const Json& json) {
    return json.is_null() ? std::nullopt : std::optional<Enum>(static_cast<Enum>(json.get<int>()));
}

Json JsonOf(const Vec3& v) {
    return {v.x, v.y, v.z};
}

Vec3 Vec3From(const Json& json) {
    return {json.at(0).get<float>(), json.at(1).get<float>(), json.at(2).get<float>()};
}

}  // namespace

Json JsonOf(const SourceOptions& options) {
    return {{"input", options.input},
            {"inputFiles", options.inputFiles},
            {"texture", options.texture},
            {"textureFiles", options.textureFiles},
            {"frameRate", options.frameRate},
            {"firstFrame", JsonOrNull(options.firstFrame)},
            {"lastFrame", JsonOrNull(options.lastFrame)},
            {"isZUp", options.upAxis == UpAxis::Z},
            {"scale", options.scale},
            {"animation", options.animation},
            {"skipMeshes", options.skipMeshes}};
}

SourceOptions SourceOptionsFrom(const Json& json) {
    SourceOptions options;
    json.at("input").get_to(options.input);
    json.at("inputFiles").get_to(options.inputFiles);
    json.at("texture").get_to(options.texture);
    json.at("textureFiles").get_to(options.textureFiles);
    json.at("frameRate").get_to(options.frameRate);
    options.firstFrame = Optional<std::size_t>(json.at("firstFrame"));
    options.lastFrame = Optional<std::size_t>(json.at("lastFrame"));
    options.upAxis = json.at("isZUp").get<bool>() ? UpAxis::Z : UpAxis::Y;
    json.at("scale").get_to(options.scale);
    json.at("animation").get_to(options.animation);
    json.at("skipMeshes").get_to(options.skipMeshes);
    return options;
}

Json JsonOf(const TrackQuality& quality) {
    return {quality.mean, quality.p95, quality.largest, quality.patch};
}

/// Infinite numbers, of which JSON makes null, are those of a frame whose triangles have no area.
TrackQuality TrackQualityFrom(const Json& json) {
    const auto at = [&json](std::size_t i) {
        return json.at(i).is_null() ? std::numeric_limits<double>::infinity() : json.at(i).get<double>();
    };
    return {at(0), at(1), at(2), at(3)};
}

Json JsonOfTrack(const std::optional<TrackOptions>& options) {
    return options ? Json{options->p95, options->largest} : Json();
}

std::optional<TrackOptions> TrackOptionsFrom(const Json& json) {
    return json.is_null() ? std::nullopt
                          : std::optional(TrackOptions{json.at(0).get<double>(), json.at(1).get<double>()});
}

Json JsonOf(const EncodeOptions& options) {
    return {{"keyFrameInterval", options.keyFrameInterval},
            {"keyPictureInterval", options.keyPictureInterval},
            {"segmentFrames", options.segmentFrames},
            {"isMatchExact", options.match == MatchRule::Exact},
            {"track", JsonOfTrack(options.track)},
            {"quality", options.video.quality},
            {"bitRate", options.video.bitRate},
            {"preset", options.video.preset},
            {"audioBitRate", options.audio.bitRate},
            {"atlasLimit", {options.atlasLimit.width, options.atlasLimit.height}},
            {"indices", JsonOrNullOfEnum(options.indices)},
            {"delta", JsonOrNullOfEnum(options.delta)},
            {"deltaFrames", options.deltaFrames},
            {"normals", options.normals},
            {"maxError", JsonOrNull(options.maxError)}};
}

EncodeOptions EncodeOptionsFrom(const Json& json) {
    EncodeOptions options;
    json.at("keyFrameInterval").get_to(options.keyFrameInterval);
    json.at("keyPictureInterval").get_to(options.keyPictureInterval);
    json.at("segmentFrames").get_to(options.segmentFrames);
    options.match = json.at("isMatchExact").get<bool>() ? MatchRule::Exact : MatchRule::Surface;
    options.track = TrackOptionsFrom(json.at("track"));
    json.at("quality").get_to(options.video.quality);
    json.at("bitRate").get_to(options.video.bitRate);
    json.at("preset").get_to(options.video.preset);
    json.at("audioBitRate").get_to(options.audio.bitRate);
    options.atlasLimit = {json.at("atlasLimit").at(0).get<std::size_t>(),
                          json.at("atlasLimit").at(1).get<std::size_t>()};
    options.indices = OptionalEnum<IndexCoding>(json.at("indices"));
    options.delta = OptionalEnum<DeltaCoding>(json.at("delta"));
    json.at("deltaFrames").get_to(options.deltaFrames);
    json.at("normals").get_to(options.normals);
    options.maxError = Optional<double>(json.at("maxError"));
    return options;
}

Json JsonOf(const KeyFrameReason& reason) {
    return {static_cast<int>(reason.cause), reason.difference.differing, reason.difference.faces, JsonOf(reason.lost)};
}

KeyFrameReason KeyFrameReasonFrom(const Json& json) {
    return {static_cast<KeyFrameReason::Cause>(json.at(0).get<int>()),
            {json.at(1).get<std::size_t>(), json.at(2).get<std::size_t>()},
            TrackQualityFrom(json.at(3))};
}

Json JsonOf(const TrackNote& note) {
    return {note.frame, note.beginsRun, JsonOf(note.distance), note.lumaError, note.unseenTexels};
}

TrackNote TrackNoteFrom(const Json& json) {
    return {json.at(0).get<std::size_t>(), json.at(1).get<bool>(), TrackQualityFrom(json.at(2)),
            json.at(3).get<double>(), json.at(4).get<double>()};
}

Json JsonOf(const ClipPlan& plan) {
    Json segments = Json::array();
    for (const ClipSegment& segment : plan.segments) {
        Json meshes = Json::array();
        for (const MeshSegment& mesh : segment.meshes) {
            meshes.push_back(
                {{"first", mesh.first}, {"count", mesh.count}, {"reason", JsonOf(mesh.reason)}, {"track", mesh.track}});
        }
        segments.push_back({{"first", segment.first},
                            {"count", segment.count},
                            {"meshes", meshes},
                            {"pictureBytes", segment.pictureBytes}});
    }
    return {{"box", {JsonOf(plan.box.min), JsonOf(plan.box.max)}},
            {"errorLimit", plan.errorLimit},
            {"surfaceLimit", plan.surfaceLimit},
            {"maxFaces", plan.maxFaces},
            {"maxWelded", plan.maxWelded},
            {"subMeshes", plan.subMeshes},
            {"segments", segments}};
}

ClipPlan ClipPlanFrom(const Json& json) {
    ClipPlan plan;
    plan.box = {Vec3From(json.at("box").at(0)), Vec3From(json.at("box").at(1))};
    json.at("errorLimit").get_to(plan.errorLimit);
    json.at("surfaceLimit").get_to(plan.surfaceLimit);
    json.at("maxFaces").get_to(plan.maxFaces);
    json.at("maxWelded").get_to(plan.maxWelded);
    json.at("subMeshes").get_to(plan.subMeshes);
    for (const Json& segment : json.at("segments")) {
        ClipSegment& added = plan.segments.emplace_back();
        segment.at("first").get_to(added.first);
        segment.at("count").get_to(added.count);
        segment.at("pictureBytes").get_to(added.pictureBytes);
        for (const Json& mesh : segment.at("meshes")) {
            added.meshes.push_back({mesh.at("first").get<std::size_t>(), mesh.at("count").get<std::size_t>(),
                                    KeyFrameReasonFrom(mesh.at("reason")), mesh.at("track").get<bool>()});
        }
    }
    return plan;
}

Json JsonOf(const InputFile& file) {
    return {{"path", file.path}, {"size", file.size}, {"changed", file.changed}, {"hash", file.hash}};
}

InputFile InputFileFrom(const Json& json) {
    return {json.at("path").get<std::string>(), json.at("size").get<std::uint64_t>(),
            json.at("changed").get<std::int64_t>(), json.at("hash").get<std::string>()};
}

}  // namespace Nimb::Authoring
