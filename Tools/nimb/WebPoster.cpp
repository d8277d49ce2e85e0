#include "Tools/nimb/WebPoster.h"

#include "Authoring/Scene/MeshSource.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/PlaySession.h"
#include "Tools/nimb/Studio.h"
#include "Tools/nimb/Viewer/Capture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace Nimb::Tool {
namespace {

constexpr float c_LongSide = 1080;
constexpr int c_PreviewWidth = 1200, c_PreviewHeight = 630;

/// How many frames are tried when the first one cannot be shown.
constexpr int c_Tries = 10;

/// Width and height in which the clip's box, seen from the view, touches all sides.
std::pair<int, int> PosterSize(const NimbFileInfo& info, const View& view) {
    const auto across = static_cast<float>(info.maxX - info.minX), up = static_cast<float>(info.maxY - info.minY),
               deep = static_cast<float>(info.maxZ - info.minZ);
    const float sine = std::fabs(std::sin(view.yaw)), cosine = std::fabs(std::cos(view.yaw));
    const float width = across * cosine + deep * sine;
    const float height =
        up * std::fabs(std::cos(view.pitch)) + (across * sine + deep * cosine) * std::fabs(std::sin(view.pitch));
    const float aspect = height > 0 && width > 0 ? std::clamp(width / height, 0.25f, 4.0f) : 1.0f;
    return {static_cast<int>(c_LongSide * std::min(aspect, 1.0f)),
            static_cast<int>(c_LongSide / std::max(aspect, 1.0f))};
}

Camera CameraOf(const PlaySession& session, const NimbFileInfo& info, const CameraOrbit& orbit, float aspect) {
    Camera camera = session.CameraFor(info, {orbit.view}, aspect);
    camera.distance = orbit.metres > 0 ? orbit.metres : camera.distance * orbit.share;
    return camera;
}

}  // namespace

CameraOrbit ParseCameraOrbit(const std::string& text) {
    constexpr double c_Degree = 3.14159265358979 / 180;
    double theta = 0, phi = 0, distance = 100;
    char unit[2] = "%";
    char rest = 0;
    const int count = std::sscanf(text.c_str(), "%lfdeg %lfdeg %lf%1[m%%] %c", &theta, &phi, &distance, unit, &rest);
    const bool hasAngles = count >= 2 && std::fabs(theta) <= 3600 && phi >= 0 && phi <= 180;
    const bool endsBehindAngles = count == 2 && text.find_last_not_of(' ') == text.rfind("deg") + 2;
    const bool hasDistance = count == 4 && distance > 0 && distance <= 1e6;
    if (!hasAngles || !(endsBehindAngles || hasDistance)) {
        throw UsageError("--camera-orbit: '" + text +
                         "' is not of the form '30deg 75deg' or '30deg 75deg 110%' or '30deg 75deg 2.5m'");
    }
    CameraOrbit orbit;
    orbit.view = {"", static_cast<float>(theta * c_Degree), static_cast<float>((90 - phi) * c_Degree)};
    (unit[0] == 'm' ? orbit.metres : orbit.share) = static_cast<float>(unit[0] == 'm' ? distance : distance / 100);
    return orbit;
}

WebPoster DrawWebPoster(const std::string& clip, const CameraOrbit& orbit, const std::optional<Colour>& background) {
    setenv("NIMB_LOG_LEVEL", "error", 0);  // what goes wrong is reported here
    PlayOptions options;
    options.clip = clip;
    options.views = {orbit.view};
    options.snapshot = "poster";  // frames are asked for by their numbers: those without a mesh confuse nothing
    PlaySession session(options, EngineStandIn::MakeSurfacelessContext);
    const std::unique_ptr<Playback> playback = session.Open(1, false);
    const auto [width, height] = PosterSize(playback->FileInfo(), orbit.view);
    Studio pageStudio(session, width, height);
    Studio previewStudio(session, c_PreviewWidth, c_PreviewHeight);
    Appearance overNothing;
    overNothing.background = {0, 0, 0, 0};
    Appearance overColour;
    overColour.background = background.value_or(overColour.background);

    const auto draw = [&](Studio& studio, const Appearance& appearance) {
        return studio.Draw(*playback, CameraOf(session, playback->FileInfo(), orbit, studio.Aspect()), appearance);
    };

    WebPoster poster;
    std::string problem;
    const int frames = session.Index().FrameCount(), tries = std::min(frames, c_Tries);
    for (int i = 0; poster.page.width == 0 && i < tries; ++i) {
        const auto number = static_cast<int>(std::int64_t{frames} * i / tries);
        CaptureFrames(
            *playback, {number},
            [&](int) {
                poster.page = draw(pageStudio, overNothing);
                poster.preview = draw(previewStudio, overColour);
            },
            [&](int, const std::string& reason) { problem = reason; });
    }
    if (poster.page.width == 0) {
        throw Authoring::InputError(clip + ": no frame can be shown for the poster: " + problem);
    }
    return poster;
}

}  // namespace Nimb::Tool
