// The sound of a clip that is written anew: packets of the inputs where they fit, otherwise encoded.
#pragma once

#include "Authoring/Scene/SoundSource.h"
#include "Clip/Remux/RemuxPlan.h"
#include "Clip/Write/AudioReader.h"

#include <memory>

namespace Nimb::Authoring {

enum class RemuxSoundKind { None, Copied, Encoded };

struct RemuxSoundPlan {
    RemuxSoundKind kind = RemuxSoundKind::None;
    /// Of copied sound, for each excerpt and packet of its input: which packet of the clip it becomes; none: none.
    /// Packet n begins at n x 1024 - 1024, in samples, as the encoder's delay has it.
    std::vector<std::vector<std::optional<std::int64_t>>> packets;
};

/// `warn` is told why sound is encoded that is there already.
RemuxSoundPlan PlanSound(const RemuxPlan& plan, const RemuxOptions& options, const RemuxWarning& warn);

/// The sound of all excerpts, one after the other, each as long as its frames: silent where its file has none.
class JoinedSound : public SoundSource {
public:
    /// Of the inputs, or of the file `audio` if that is not empty. Keeps a reference to the plan.
    JoinedSound(const RemuxPlan& plan, const std::string& audio);

    std::size_t Read(float* samples, std::size_t frameCount) override;

private:
    struct Piece {
        std::string path;  ///< empty: silence
        double start = 0;  ///< seconds into the file; below 0: silence first
        std::size_t frames = 0;
    };

    void Open(const Piece& piece);

    std::vector<Piece> m_Pieces;
    std::size_t m_Piece = 0;
    std::size_t m_Done = 0;     // of the piece
    std::size_t m_Silence = 0;  // at its beginning
    std::unique_ptr<AudioReader> m_Reader;
};

}  // namespace Nimb::Authoring
