// What a capture studio that does not track delivers: every frame meshed anew, with charts and a texture of its own.
// The surface that was in front of the cameras is known.
#pragma once

#include "Authoring/Scene/MeshSource.h"
#include "Demo/Capture/Subject.h"

#include <cstdint>
#include <map>
#include <mutex>

namespace Nimb::Authoring::Capture {

struct CaptureOptions {
    std::size_t vertices = 20000;    ///< about so many points; where charts are cut, points have several vertices
    double noise = 0.0005;           ///< metres, standard deviation along the normal; see AddNoise
    std::size_t holes = 0;           ///< discs of a few centimetres that are missing in each frame; see CutHoles
    std::uint64_t seed = 1;          ///< decides where the lattice, the charts, the noise and the holes are
    std::size_t textureSize = 1024;  ///< texels along the square picture's edge
    double shading = 0.15;           ///< see Bake
    std::size_t truthDensity = 5;    ///< points of the truth, in multiples of the capture's
};

/// The same arguments give the same frames, whoever asks for them in whichever order. Keeps only a few frames.
class CaptureSource : public MeshSource {
public:
    /// Throws std::invalid_argument for options out of range: fewer than 100 vertices, noise or shading below 0,
    /// textures below 64 or above 8192; InputError when the first frame cannot be loaded or has no surface.
    CaptureSource(std::shared_ptr<const Subject> subject, const CaptureOptions& options);

    std::size_t FrameCount() const override { return m_Subject->FrameCount(); }
    double FrameRate() const override { return m_Subject->FrameRate(); }
    std::size_t MaterialCount() const override { return 1; }
    std::string MaterialName(std::size_t) const override { return "capture"; }
    std::string FrameName(std::size_t frame) const override;
    SourceFrame Frame(std::size_t frame) const override;
    std::shared_ptr<const Image> Texture(std::size_t frame, std::size_t material) const override;

    /// The surface without noise and holes, several times finer. All of its texture coordinates are (0, 0).
    Mesh Truth(std::size_t frame) const;

private:
    struct Built;
    std::shared_ptr<const Built> Get(std::size_t frame) const;
    std::shared_ptr<const Built> Build(std::size_t frame) const;

    const std::shared_ptr<const Subject> m_Subject;
    const CaptureOptions m_Options;
    double m_Cell = 0;

    mutable std::mutex m_Mutex;
    mutable std::map<std::size_t, std::weak_ptr<const Built>> m_Known;
    mutable std::vector<std::shared_ptr<const Built>> m_Recent;
    mutable std::size_t m_NextRecent = 0;
};

}  // namespace Nimb::Authoring::Capture
