#include "Clip/Job/JobPlan.h"

#include "Authoring/Source/ContentHash.h"
#include "Authoring/Source/FileBytes.h"
#include "Clip/Job/JobJson.h"
#include "Clip/Write/VideoEncoder.h"
#include "Media/Av.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>

namespace Nimb::Authoring {
namespace {

constexpr const char* c_TemporaryEnding = ".part";

std::string PathOfPlan(const std::string& folder) {
    return (std::filesystem::path(folder) / "plan.json").string();
}

Json JsonOfOrder(const JobOrder& order) {
    return {{"source", JsonOf(order.source)},
            {"encode", JsonOf(order.encode)},
            {"audio", order.audio},
            {"audioStart", order.audioStart},
            {"isStrict", order.isStrict}};
}

Json JsonOfPlan(const JobPlan& plan) {
    Json files = Json::array();
    for (const InputFile& file : plan.files) {
        files.push_back(JsonOf(file));
    }
    return {{"tool", plan.tool},           {"order", JsonOfOrder(plan.order)},
            {"clip", JsonOf(plan.clip)},   {"atlas", {plan.atlas.width, plan.atlas.height}},
            {"frameRate", plan.frameRate}, {"files", files}};
}

std::string TextOf(const Json& json) {
    return json.dump(1, ' ') + "\n";
}

std::string IdOf(const Json& json) {
    const std::string text = TextOf(json);
    return HashOf(text.data(), text.size());
}

/// Different on any two machines and in any two processes that may write the same file at a time.
std::string TemporaryTail() {
    char host[64] = "";
    gethostname(host, sizeof host - 1);
    return std::string(".") + host + "." + std::to_string(getpid()) + "." + std::to_string(std::random_device()()) +
           c_TemporaryEnding;
}

}  // namespace

std::string ToolIdentity(const std::string& version) {
    return "nimb " + version + ", libavcodec " + std::to_string(avcodec_version()) + " (" + av_version_info() + "), " +
           VideoEncoderVersion();
}

void WriteWhole(const std::string& path, const std::vector<std::string>& pieces) {
    const std::string temporary = path + TemporaryTail();
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    bool isWritten = file >= 0;
    for (const std::string& piece : pieces) {
        for (std::size_t at = 0; isWritten && at < piece.size();) {
            const ssize_t count = write(file, piece.data() + at, piece.size() - at);
            isWritten = count > 0 || (count < 0 && errno == EINTR);
            at += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
    }
    // Some shared folders tell of a full disk only now.
    isWritten = isWritten && fsync(file) == 0;
    isWritten = (file < 0 || close(file) == 0) && isWritten;
    if (!isWritten || std::rename(temporary.c_str(), path.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        unlink(temporary.c_str());
        throw ClipError(path + ": cannot be written: " + reason);
    }
}

void WriteJobPlan(const std::string& folder, JobPlan& plan) {
    std::error_code error;
    std::filesystem::create_directory(std::filesystem::path(folder) / "segments", error);
    if (error) {
        throw ClipError(folder + ": cannot be written: " + error.message());
    }
    std::string text;
    try {
        Json json = JsonOfPlan(plan);
        plan.id = IdOf(json);
        json["id"] = plan.id;
        text = TextOf(json);
    } catch (const Json::exception&) {
        throw InputError("names of files in a plan must be UTF-8, and an input's is not");
    }
    WriteWhole(PathOfPlan(folder), {text});
}

void RemoveJob(const std::string& folder) {
    namespace fs = std::filesystem;
    if (!HasJobPlan(folder)) {
        return;
    }
    std::error_code error;
    fs::remove(PathOfPlan(folder), error);  // first, so that nobody takes what is left for another plan's
    for (const fs::path& place : {fs::path(folder), fs::path(folder) / "segments"}) {
        std::error_code missing;
        for (const fs::directory_entry& entry : fs::directory_iterator(place, missing)) {
            const std::string ending = entry.path().extension().string();
            if (!error && (ending == ".segment" || ending == c_TemporaryEnding)) {
                fs::remove(entry.path(), error);
            }
        }
    }
    if (error) {
        throw ClipError(folder + ": cannot be removed: " + error.message());
    }
}

JobPlan ReadJobPlan(const std::string& folder) {
    const std::string path = PathOfPlan(folder);
    if (!HasJobPlan(folder)) {
        throw InputError(folder + ": is not a job's folder: it has no plan.json");
    }
    try {
        Json json = Json::parse(AsText(ReadFileBytes(path, "the plan")));
        JobPlan plan;
        json.at("tool").get_to(plan.tool);
        json.at("id").get_to(plan.id);
        const Json& order = json.at("order");
        plan.order.source = SourceOptionsFrom(order.at("source"));
        plan.order.encode = EncodeOptionsFrom(order.at("encode"));
        order.at("audio").get_to(plan.order.audio);
        order.at("audioStart").get_to(plan.order.audioStart);
        order.at("isStrict").get_to(plan.order.isStrict);
        plan.clip = ClipPlanFrom(json.at("clip"));
        plan.atlas = {json.at("atlas").at(0).get<std::size_t>(), json.at("atlas").at(1).get<std::size_t>()};
        json.at("frameRate").get_to(plan.frameRate);
        for (const Json& file : json.at("files")) {
            plan.files.push_back(InputFileFrom(file));
        }
        json.erase("id");
        if (IdOf(json) != plan.id) {
            throw InputError(path + ": was changed after it was made; plan the job again");
        }
        return plan;
    } catch (const Json::exception& error) {
        throw InputError(path + ": is damaged: " + error.what());
    }
}

bool HasJobPlan(const std::string& folder) {
    std::error_code ignored;
    return std::filesystem::exists(PathOfPlan(folder), ignored);
}

bool IsSameOrder(const JobOrder& a, const JobOrder& b) {
    return JsonOfOrder(a) == JsonOfOrder(b);
}

}  // namespace Nimb::Authoring
