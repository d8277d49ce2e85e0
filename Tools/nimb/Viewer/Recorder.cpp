#include "Tools/nimb/Viewer/Recorder.h"

#include "Clip/Write/AudioReader.h"

#include <optional>
#include <vector>

namespace Nimb::Tool {
namespace {

Authoring::VideoTrackOptions VideoOptions(const Recorder::Options& options) {
    Authoring::VideoTrackOptions video;
    video.width = options.width;
    video.height = options.height;
    video.frameRateNumerator = options.rateNumerator;
    video.frameRateDenominator = options.rateDenominator;
    video.quality = 18;
    video.preset = "fast";
    return video;
}

std::optional<Authoring::AudioTrackOptions> AudioOptions(const Recorder::Options& options) {
    return options.soundFrom.empty() ? std::nullopt : std::optional(Authoring::AudioTrackOptions());
}

}  // namespace

Recorder::Recorder(const std::string& path, const Options& options)
    : m_Options(options), m_Writer(path, VideoOptions(options), AudioOptions(options)) {}

void Recorder::AddFrame(const Authoring::Image& image) {
    m_Writer.AddFrame(image.rgba.data(), image.width * 4, {});
}

void Recorder::Finish() {
    if (!m_Options.soundFrom.empty()) {
        Authoring::AudioReader sound(m_Options.soundFrom);
        std::vector<float> samples(48000 * 2);
        for (std::size_t count = 0; (count = sound.Read(samples.data(), samples.size() / 2)) > 0;) {
            m_Writer.AddAudio(samples.data(), count);
        }
    }
    m_Writer.Finish(std::nullopt);
}

}  // namespace Nimb::Tool
