#include "Tools/nimb/EncodeArguments.h"

#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/ExitStatus.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>

namespace Nimb::Tool {
namespace {

using Authoring::DeltaCoding;
using Authoring::IndexCoding;

std::map<std::string, DeltaCoding> DeltasByName() {
    std::map<std::string, DeltaCoding> codings;
    for (const Authoring::DeltaCoder& coder : Authoring::DeltaCoders()) {
        codings[coder.name] = coder.coding;
    }
    return codings;
}

std::vector<std::string> DeltaChoices() {
    std::vector<std::string> choices{"auto"};
    for (const Authoring::DeltaCoder& coder : Authoring::DeltaCoders()) {
        choices.emplace_back(coder.name);
    }
    choices.emplace_back("none");
    return choices;
}

const std::map<std::string, IndexCoding> c_Indices = {{"list1", IndexCoding::List1},
                                                      {"list2", IndexCoding::List2},
                                                      {"edgebreaker", IndexCoding::EdgeBreaker},
                                                      {"strips1", IndexCoding::Strips1},
                                                      {"strips2", IndexCoding::Strips2}};

template <class T>
std::optional<T> Chosen(const std::map<std::string, T>& choices, const std::string& name) {
    const auto found = choices.find(name);
    return found == choices.end() ? std::nullopt : std::optional<T>(found->second);
}

/// "1024" or "2048x1024".
Authoring::PictureSize ParseAtlasSize(const std::string& text) {
    Authoring::PictureSize size;
    const char* const end = text.data() + text.size();
    std::from_chars_result at = std::from_chars(text.data(), end, size.width);
    size.height = size.width;
    if (at.ec == std::errc() && at.ptr != end && *at.ptr == 'x') {
        at = std::from_chars(at.ptr + 1, end, size.height);
    }
    if (at.ec != std::errc() || at.ptr != end) {
        throw UsageError("--atlas-size " + text + ": not a size such as 1024 or 2048x1024");
    }
    return size;
}

void AddMeshOptions(CLI::App& sub, EncodeArguments& a) {
    sub.add_option("--max-error", a.maxError,
                   "how far a position may be off, in metres [1/10000 of the diagonal of the clip's box; of tracked "
                   "frames, 0.3 of the first --track-error]")
        ->check(AboveZero())
        ->group("Mesh");
    sub.add_option("--key-interval", a.encode.keyFrameInterval,
                   "at most this many frames from one mesh key frame to the next")
        ->check(CLI::Range(1, 3000))
        ->capture_default_str()
        ->group("Mesh");
    sub.add_option("--match", a.match,
                   "which frames continue the surface of the frame before and need no key frame: those that show it "
                   "within the error limit (surface), or those with the same triangles (exact)")
        ->check(CLI::IsMember({"surface", "exact"}))
        ->capture_default_str()
        ->group("Mesh");
    sub.add_option("--delta", a.delta, "vertex coding of delta frames; none: key frames only")
        ->check(CLI::IsMember(DeltaChoices()))
        ->capture_default_str()
        ->group("Mesh");
    sub.add_option("--index", a.index, "face coding; strips only with a single texture and without --normals")
        ->check(CLI::IsMember({"auto", "list1", "list2", "edgebreaker", "strips1", "strips2"}))
        ->capture_default_str()
        ->group("Mesh");
    sub.add_flag("--normals", a.encode.normals, "store the input's normals; players compute them otherwise")
        ->group("Mesh");
}

void AddTrackOptions(CLI::App& sub, EncodeArguments& a) {
    CLI::Option* const track = sub.add_flag("--track", a.track,
                                            "put frames that were meshed one by one onto one topology as far as it "
                                            "shows their surface, and bake their textures to fit")
                                   ->group("Mesh");
    sub.add_option("--track-error", a.trackError,
                   "how far a tracked surface may be from the source's, and the source's from it, in metres or with a "
                   "unit: in 95 of 100 places, and in any patch of the surface [1mm,5mm]")
        ->type_name("P95[,MAX]")
        ->needs(track)
        ->group("Mesh");
}

void AddVideoOptions(CLI::App& sub, EncodeArguments& a) {
    sub.add_option("--atlas-size", a.atlasSize,
                   "largest size of the texture, N or WxH, even, from 16 to 4096; larger ones are scaled down [4096]")
        ->group("Video");
    sub.add_option("--video-key-interval", a.encode.keyPictureInterval,
                   "at most this many frames from one key picture to the next, while the pictures change [a second]")
        ->check(CLI::Range(1, 3000))
        ->group("Video");
    sub.add_option("--segment-frames", a.encode.segmentFrames,
                   "frames that are encoded without knowledge of any others, unless one key frame serves more: with "
                   "fewer, more can be encoded at a time")
        ->check(CLI::Range(2, 3000))
        ->capture_default_str()
        ->group("Video");
    CLI::Option* const quality = sub.add_option("--quality", a.encode.video.quality, "constant quality, 1 (best) to 51")
                                     ->check(CLI::Range(1.0, 51.0))
                                     ->capture_default_str()
                                     ->group("Video");
    sub.add_option("--bitrate", a.videoKilobits,
                   "kbit/s of the pictures, instead of constant quality; takes about three times as long")
        ->check(CLI::Range(1, 1000000))
        ->excludes(quality)
        ->group("Video");
    sub.add_option("--preset", a.encode.video.preset, "speed of the video encoder against size")
        ->check(CLI::IsMember(
            {"ultrafast", "superfast", "veryfast", "faster", "fast", "medium", "slow", "slower", "veryslow"}))
        ->capture_default_str()
        ->group("Video");
    sub.add_option("--audio-bitrate", a.audioKilobits, "kbit/s of the sound")
        ->check(CLI::Range(32, 512))
        ->capture_default_str()
        ->group("Video");
}

/// A length such as 0.001, 1mm or 0.1cm, in metres; none for anything else.
std::optional<double> ParseLength(const std::string& text) {
    static const std::map<std::string, double> s_Units = {{"", 1}, {"m", 1}, {"cm", 0.01}, {"mm", 0.001}};
    double value = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result at = std::from_chars(text.data(), end, value);
    const auto unit = s_Units.find(std::string(at.ptr, end));
    if (at.ec != std::errc() || unit == s_Units.end() || !(value > 0 && std::isfinite(value))) {
        return std::nullopt;
    }
    return value * unit->second;
}

/// "1mm,5mm", or one of them.
Authoring::TrackOptions ParseTrackError(const std::string& text) {
    const std::size_t comma = std::min(text.find(','), text.size());
    const std::optional<double> p95 = ParseLength(text.substr(0, comma));
    const std::optional<double> largest = comma == text.size() ? p95 : ParseLength(text.substr(comma + 1));
    if (!p95 || !largest) {
        throw UsageError("--track-error " + text + ": not lengths such as 1mm,5mm or 0.001,0.005");
    }
    Authoring::TrackOptions options;
    options.largest = comma == text.size() ? *p95 * options.largest / options.p95 : *largest;
    options.p95 = *p95;
    if (options.largest < options.p95) {
        throw UsageError("--track-error " + text + ": the largest distance must not be below that of 95 in 100 places");
    }
    return options;
}

std::optional<Authoring::TrackOptions> TrackOptionsOf(const EncodeArguments& a) {
    if (!a.track) {
        return std::nullopt;
    }
    if (a.encode.normals) {
        throw UsageError("--track cannot be given with --normals: tracked surfaces have none of the input's");
    }
    if (a.delta == "none" || a.encode.keyFrameInterval == 1) {
        throw UsageError(std::string("--track cannot be given with ") +
                         (a.delta == "none" ? "--delta none" : "--key-interval 1") +
                         ": it makes delta frames of key frames");
    }
    return a.trackError.empty() ? Authoring::TrackOptions() : ParseTrackError(a.trackError);
}

/// A shell that expands patterns of meshes and pictures hands over the files. The command line takes all of them but
/// the first picture for inputs, so they are told apart by their extensions.
void SortInputs(EncodeArguments& a) {
    const auto firstPicture = std::stable_partition(
        a.inputs.begin(), a.inputs.end(), [](const std::string& input) { return !Authoring::IsPictureName(input); });
    std::vector<std::string> pictures(firstPicture, a.inputs.end());
    a.inputs.erase(firstPicture, a.inputs.end());
    if (a.inputs.empty() && pictures.empty()) {
        throw UsageError("INPUT is missing: a scene, or a sequence of mesh files");
    }
    if (a.inputs.empty() || (!pictures.empty() && a.source.texture.empty())) {
        throw UsageError(pictures.front() + ": is a picture, not a mesh; use --texture for pictures");
    }
    if (!pictures.empty()) {
        pictures.insert(pictures.begin(), a.source.texture);
        a.source.textureFiles = pictures;
    }
    a.source.input = a.inputs.front();
    if (a.inputs.size() > 1) {
        a.source.inputFiles = a.inputs;
    }
}

/// The encoder's options, as far as the command line has not filled them in already.
void FillIn(EncodeArguments& a) {
    a.source.upAxis = a.up == "z" ? Authoring::UpAxis::Z : Authoring::UpAxis::Y;
    a.encode.match = a.match == "exact" ? Authoring::MatchRule::Exact : Authoring::MatchRule::Surface;
    a.encode.track = TrackOptionsOf(a);
    a.encode.delta = Chosen(DeltasByName(), a.delta);
    a.encode.deltaFrames = a.delta != "none";
    a.encode.indices = Chosen(c_Indices, a.index);
    a.encode.maxError = a.maxError;
    a.encode.video.bitRate = std::int64_t{1000} * a.videoKilobits;
    a.encode.audio.bitRate = std::int64_t{1000} * a.audioKilobits;
    if (!a.atlasSize.empty()) {
        a.encode.atlasLimit = ParseAtlasSize(a.atlasSize);
    }
}

}  // namespace

void AddInputOptions(CLI::App& sub, EncodeArguments& a) {
    sub.add_option("INPUT", a.inputs,
                   "a .gltf or .glb scene, an .obj or .ply file, a numbered sequence (frame_%04d.obj), a glob "
                   "('*.ply'), a folder of such files, or the files of a sequence one by one");
    sub.add_option("--fps", a.source.frameRate, "frames per second")
        ->check(CLI::Range(1.0, 1000.0))
        ->capture_default_str()
        ->group("Input");
    sub.add_option("--first", a.source.firstFrame, "first frame: the number in the file name, or counted from 0")
        ->group("Input");
    sub.add_option("--last", a.source.lastFrame, "last frame, likewise; it is included")->group("Input");
    sub.add_option("--texture", a.source.texture,
                   "a picture, or a sequence of them, one a frame, instead of the textures that the input names")
        ->group("Input");
    sub.add_option("--animation", a.source.animation, "name or number of a scene's animation [the first]")
        ->group("Input");
    sub.add_option(
           "--skip-mesh", a.source.skipMeshes,
           "leave out everything with this name: a mesh or node of a scene, an object or group of an OBJ file; may be "
           "given several times")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->group("Input");
    sub.add_option("--up", a.up, "the input's upward axis")
        ->check(CLI::IsMember({"y", "z"}))
        ->capture_default_str()
        ->group("Input");
    sub.add_option("--scale", a.source.scale, "metres in one unit of the input")
        ->check(AboveZero())
        ->capture_default_str()
        ->group("Input");
    sub.add_option("--audio", a.audio, "sound, in any file that FFmpeg reads; cut or padded to the clip's length")
        ->group("Input");
    sub.add_option("--audio-start", a.audioStart, "leave out this many seconds at the start of the sound")
        ->check(CLI::Range(0.0, 86400.0))
        ->group("Input");
}

void AddEncodeOptions(CLI::App& sub, EncodeArguments& a) {
    AddInputOptions(sub, a);
    sub.add_flag("--strict", a.strict, "fail on warnings, which say what the clip does not keep of its input")
        ->group("Input");
    AddMeshOptions(sub, a);
    AddTrackOptions(sub, a);
    AddVideoOptions(sub, a);
}

void Resolve(EncodeArguments& a) {
    SortInputs(a);
    FillIn(a);
}

std::vector<std::string> InputsOf(const EncodeArguments& a) {
    std::vector<std::string> inputs = a.inputs;
    inputs.insert(inputs.end(), a.source.textureFiles.begin(), a.source.textureFiles.end());
    for (const std::string& input : {a.source.texture, a.audio}) {
        if (!input.empty()) {
            inputs.push_back(input);
        }
    }
    return inputs;
}

void OpenSound(const std::string& audio, double audioStart, double duration, Authoring::Warnings& warnings,
               std::optional<Authoring::AudioReader>& reader) {
    if (audio.empty()) {
        return;
    }
    reader.emplace(audio, audioStart);
    const std::optional<double> silence = reader->Silence();
    char text[96];
    if (!silence) {
        std::snprintf(text, sizeof text, "the sound ends before --audio-start %g; the clip is silent", audioStart);
        warnings.Add(text, audio);
    } else if (*silence >= duration) {
        std::snprintf(text, sizeof text, "the sound begins after %.3g s, when the clip is over", *silence);
        warnings.Add(text, audio);
    }
}

}  // namespace Nimb::Tool
