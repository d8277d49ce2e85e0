#include "Clip/Job/SegmentFile.h"

#include "Authoring/Source/ContentHash.h"
#include "Authoring/Source/FileBytes.h"
#include "Clip/Job/JobJson.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>

namespace Nimb::Authoring {
namespace {

/// The last bytes of the file: hash and size of the manifest before them, and a name.
constexpr std::string_view c_Name = "nimb-segment-1\n";
constexpr std::size_t c_HashDigits = 32;
constexpr std::size_t c_SizeDigits = 16;
constexpr std::size_t c_TrailerBytes = c_HashDigits + c_SizeDigits + c_Name.size();

Json ManifestOf(const JobPlan& plan, std::size_t segment, const EncodedSegment& encoded, const std::string& samples) {
    Json frames = Json::array();
    for (std::size_t i = 0; i < encoded.frames.size(); ++i) {
        const FrameNote& note = encoded.frames[i];
        frames.push_back({encoded.samples[i].bytes.size(), encoded.samples[i].isKeyPicture, note.vertices, note.indices,
                          note.surfaceError, note.keyReason ? JsonOf(*note.keyReason) : Json(),
                          note.track ? JsonOf(*note.track) : Json()});
    }
    return {{"plan", plan.id},
            {"tool", plan.tool},
            {"segment", segment},
            {"first", plan.clip.segments.at(segment).first},
            {"hash", HashOf(samples.data(), samples.size())},
            {"frames", frames}};
}

std::string Trailer(const std::string& manifest) {
    char size[c_SizeDigits + 1];
    std::snprintf(size, sizeof size, "%016zx", manifest.size());
    return HashOf(manifest.data(), manifest.size()) + size + std::string(c_Name);
}

/// What is wrong is thrown as text; the caller adds the file's name.
struct Damage {
    std::string what;
};

/// The manifest, and in `*pSamples` what is before it.
Json ManifestIn(std::string_view file, std::string_view* pSamples) {
    if (file.size() < c_TrailerBytes || file.substr(file.size() - c_Name.size()) != c_Name) {
        throw Damage{"its end is missing"};
    }
    const std::string_view trailer = file.substr(file.size() - c_TrailerBytes);
    const std::string digits(trailer.substr(c_HashDigits, c_SizeDigits));
    const std::size_t size = std::strtoull(digits.c_str(), nullptr, 16);
    file.remove_suffix(c_TrailerBytes);
    if (size > file.size()) {
        throw Damage{"its manifest is incomplete"};
    }
    const std::string_view manifest = file.substr(file.size() - size);
    if (HashOf(manifest.data(), manifest.size()) != trailer.substr(0, c_HashDigits)) {
        throw Damage{"its manifest is damaged"};
    }
    *pSamples = file.substr(0, file.size() - size);
    return Json::parse(manifest);
}

EncodedSegment Parse(const std::vector<BYTE>& bytes, const JobPlan& plan, std::size_t segment) {
    std::string_view samples;
    const Json manifest = ManifestIn(AsText(bytes), &samples);
    if (manifest.at("tool") != plan.tool) {
        throw Damage{"was encoded by " + manifest.at("tool").get<std::string>() + ", the plan is of " + plan.tool};
    }
    if (manifest.at("plan") != plan.id) {
        throw Damage{"belongs to another plan"};
    }
    if (manifest.at("segment") != segment) {
        throw Damage{"is segment " + std::to_string(manifest.at("segment").get<std::size_t>())};
    }
    if (manifest.at("hash") != HashOf(samples.data(), samples.size())) {
        throw Damage{"its samples are damaged"};
    }
    EncodedSegment encoded;
    for (const Json& frame : manifest.at("frames")) {
        const auto size = frame.at(0).get<std::size_t>();
        if (size > samples.size()) {
            throw Damage{"its samples are incomplete"};
        }
        encoded.samples.push_back(
            {Bytes(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(size)), frame.at(1).get<bool>()});
        samples.remove_prefix(size);
        FrameNote& note = encoded.frames.emplace_back();
        frame.at(2).get_to(note.vertices);
        frame.at(3).get_to(note.indices);
        frame.at(4).get_to(note.surfaceError);
        if (!frame.at(5).is_null()) {
            note.keyReason = KeyFrameReasonFrom(frame.at(5));
        }
        if (!frame.at(6).is_null()) {
            note.track = TrackNoteFrom(frame.at(6));
        }
    }
    if (encoded.frames.size() != plan.clip.segments.at(segment).count) {
        throw Damage{"has " + std::to_string(encoded.frames.size()) + " frames"};
    }
    return encoded;
}

}  // namespace

std::string SegmentPath(const std::string& folder, std::size_t segment) {
    char name[40];
    std::snprintf(name, sizeof name, "%05zu.segment", segment);
    return (std::filesystem::path(folder) / "segments" / name).string();
}

void WriteSegment(const std::string& folder, const JobPlan& plan, std::size_t segment, const EncodedSegment& encoded) {
    std::string samples;
    for (const VideoSample& sample : encoded.samples) {
        samples.append(sample.bytes.begin(), sample.bytes.end());
    }
    const std::string manifest = ManifestOf(plan, segment, encoded, samples).dump();
    WriteWhole(SegmentPath(folder, segment), {samples, manifest, Trailer(manifest)});
}

EncodedSegment ReadSegment(const std::string& folder, const JobPlan& plan, std::size_t segment) {
    const std::string path = SegmentPath(folder, segment);
    try {
        return Parse(ReadFileBytes(path, "the segment"), plan, segment);
    } catch (const Damage& damage) {
        throw InputError(path + ": " + damage.what);
    } catch (const Json::exception& error) {
        throw InputError(path + ": its manifest is damaged: " + error.what());
    }
}

bool HasSegment(const std::string& folder, std::size_t segment) {
    std::error_code ignored;
    return std::filesystem::exists(SegmentPath(folder, segment), ignored);
}

}  // namespace Nimb::Authoring
