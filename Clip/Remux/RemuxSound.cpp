#include "Clip/Remux/RemuxSound.h"

#include "Clip/Write/AudioEncoder.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

std::string Describe(const AVCodecParameters& sound) {
    return std::string(avcodec_get_name(sound.codec_id)) + ", " + std::to_string(sound.sample_rate) + " Hz, " +
           std::to_string(sound.ch_layout.nb_channels) + " channels";
}

/// Where packets of a excerpt would go if nothing were in their way, counted as in RemuxSoundPlan.
double PlaceOf(const RemuxExcerpt& excerpt, double time) {
    const double seconds = time - excerpt.pInput->Seconds(excerpt.first) + excerpt.beginSeconds;
    return seconds * c_ClipSampleRate / c_PacketSamples + 1;
}

/// Why the packets cannot be copied; empty: `packets` has their places.
std::string PlacePackets(const RemuxPlan& plan, std::vector<std::vector<std::optional<std::int64_t>>>& packets) {
    std::int64_t next = 0;
    for (const RemuxExcerpt& excerpt : plan.excerpts) {
        const std::string& path = excerpt.pInput->path;
        if (!excerpt.pInput->sound) {
            return path + ": has no sound, unlike the other clip";
        }
        if (!excerpt.pInput->sound->IsOfClips()) {
            return path + ": its sound is " + Describe(*excerpt.pInput->sound->parameters);
        }
        // The next excerpt's first packet goes where its delay begins.
        const bool isLast = &excerpt == &plan.excerpts.back();
        const double end =
            isLast && !excerpt.IsCutAtEnd()
                ? INFINITY
                : (excerpt.beginSeconds + excerpt.seconds) * c_ClipSampleRate / c_PacketSamples + (isLast ? 1 : 0);
        const std::int64_t begin = next;
        std::vector<std::optional<std::int64_t>> places;
        for (const double time : excerpt.pInput->sound->times) {
            const double place = PlaceOf(excerpt, time);
            const bool isWanted = place < end - 0.5 && place >= static_cast<double>(begin) - 0.5;
            places.push_back(isWanted ? std::optional(std::max<std::int64_t>(std::llround(place), next))
                                      : std::nullopt);
            if (isWanted && next == begin && *places.back() > begin + 1) {
                return path + (begin == 0 ? ": its sound begins later than its pictures"
                                          : ": its sound does not follow that of the clip before it");
            }
            next = isWanted ? *places.back() + 1 : next;
        }
        if (next == begin) {
            return path + ": its sound is over before the frames that are kept";
        }
        packets.push_back(std::move(places));
    }
    return "";
}

}  // namespace

RemuxSoundPlan PlanSound(const RemuxPlan& plan, const RemuxOptions& options, const RemuxWarning& warn) {
    RemuxSoundPlan sound;
    const bool hasSound = std::any_of(plan.excerpts.begin(), plan.excerpts.end(),
                                      [](const RemuxExcerpt& excerpt) { return excerpt.pInput->sound.has_value(); });
    if (options.isSilent || (!hasSound && options.audio.empty())) {
        return sound;
    }
    const std::string why = options.audio.empty() ? PlacePackets(plan, sound.packets) : "";
    sound.kind = options.audio.empty() && why.empty() ? RemuxSoundKind::Copied : RemuxSoundKind::Encoded;
    if (!why.empty()) {
        warn(why + "; the sound is encoded again");
    }
    return sound;
}

JoinedSound::JoinedSound(const RemuxPlan& plan, const std::string& audio) {
    const auto frames = [](double seconds) {
        return static_cast<std::size_t>(std::llround(seconds * c_ClipSampleRate));
    };
    if (!audio.empty()) {
        m_Pieces.push_back({audio, 0, frames(plan.Seconds())});
        Open(m_Pieces.front());  // before anything is written
        return;
    }
    for (const RemuxExcerpt& excerpt : plan.excerpts) {
        Piece piece{"", 0, frames(excerpt.beginSeconds + excerpt.seconds) - frames(excerpt.beginSeconds)};
        if (excerpt.pInput->sound) {
            // AudioReader counts from where the first of the tracks begins; what is before 0 is not to be heard.
            const double origin =
                std::max(0.0, std::min(excerpt.pInput->Seconds(0), excerpt.pInput->sound->times.front()));
            piece.path = excerpt.pInput->path;
            piece.start = excerpt.pInput->Seconds(excerpt.first) - origin;
        }
        m_Pieces.push_back(piece);
    }
    Open(m_Pieces.front());
}

void JoinedSound::Open(const Piece& piece) {
    m_Done = 0;
    m_Silence = static_cast<std::size_t>(std::llround(std::max(0.0, -piece.start) * c_ClipSampleRate));
    m_Reader = piece.path.empty() ? nullptr : std::make_unique<AudioReader>(piece.path, std::max(0.0, piece.start));
}

std::size_t JoinedSound::Read(float* samples, std::size_t frameCount) {
    std::fill_n(samples, frameCount * c_ClipChannels, 0.0f);
    std::size_t done = 0;
    while (done < frameCount && m_Piece < m_Pieces.size()) {
        if (m_Done == m_Pieces[m_Piece].frames) {
            if (++m_Piece < m_Pieces.size()) {
                Open(m_Pieces[m_Piece]);
            }
            continue;
        }
        const std::size_t count = std::min(frameCount - done, m_Pieces[m_Piece].frames - m_Done);
        const std::size_t silent = std::min(count, m_Silence - std::min(m_Silence, m_Done));
        if (m_Reader != nullptr && count > silent) {
            m_Reader->Read(samples + (done + silent) * c_ClipChannels, count - silent);
        }
        done += count;
        m_Done += count;
    }
    return done;
}

}  // namespace Nimb::Authoring
