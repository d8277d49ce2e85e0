// Sound from any file that FFmpeg reads, converted to what clips have: 48000 samples a second, stereo.
#pragma once

#include "Authoring/Scene/SoundSource.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace Nimb::Authoring {

/// Belongs to one thread. The best of the file's sound tracks is read; other channel counts are mixed to stereo.
class AudioReader : public SoundSource {
public:
    /// The first `startSeconds` (not negative) of the sound are left out. Throws InputError when the file cannot be
    /// read or has no sound.
    explicit AudioReader(const std::string& path, double startSeconds = 0);
    ~AudioReader() override;
    AudioReader(const AudioReader&) = delete;
    AudioReader& operator=(const AudioReader&) = delete;

    /// Damaged stretches are left out.
    std::size_t Read(float* samples, std::size_t frameCount) override;

    std::size_t DamagedPackets() const override;

    /// Seconds of silence before the first sound; none when there is no sound at all. Ask before the first Read; this
    /// decodes up to there, and throws as Read does.
    std::optional<double> Silence();

private:
    class Decoder;

    std::unique_ptr<Decoder> m_Decoder;
};

}  // namespace Nimb::Authoring
