#include "Demo/Capture/CaptureSource.h"

#include "Demo/Capture/Bake.h"
#include "Demo/Capture/Damage.h"
#include "Demo/Capture/Random.h"
#include "Demo/Capture/Unwrap.h"

#include <glm/gtc/quaternion.hpp>

#include <stdexcept>
#include <utility>

namespace Nimb::Authoring::Capture {
namespace {

constexpr std::size_t c_Recent = 4;

// What random numbers are for: each frame has a stream for each.
enum Stream : std::uint64_t { LatticeStream, ChartStream, NoiseStream, HoleStream, c_Streams };

std::uint64_t SeedOf(std::uint64_t seed, std::size_t frame, Stream stream) {
    return Mixed(Mixed(seed) + frame * c_Streams + stream);
}

/// Turned and moved at random, all directions being as likely.
Lattice RandomLattice(double cell, std::uint64_t seed) {
    Random random(seed);
    glm::dquat turn(random.Normal(), random.Normal(), random.Normal(), random.Normal());
    Lattice lattice;
    lattice.cell = cell;
    lattice.turn = glm::mat3_cast(glm::normalize(turn));
    lattice.origin = cell * Point(random.Next(), random.Next(), random.Next());
    return lattice;
}

Vec3 Single(const Point& p) {
    return {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
}

void Check(const CaptureOptions& options) {
    if (options.vertices < 100) {
        throw std::invalid_argument("a capture needs at least 100 vertices, not " + std::to_string(options.vertices));
    }
    if (!(options.noise >= 0) || !(options.shading >= 0 && options.shading <= 1)) {
        throw std::invalid_argument("a capture's noise must not be below 0, its shading must be from 0 to 1");
    }
    if (options.textureSize < 64 || options.textureSize > 8192) {
        throw std::invalid_argument("a capture's texture must have 64 to 8192 texels along its edge, not " +
                                    std::to_string(options.textureSize));
    }
}

}  // namespace

/// Textures take as long as meshes, and not everyone wants them.
struct CaptureSource::Built {
    Mesh mesh;
    Surface surface;  // without noise
    Unwrapped charts;

    const Image& Texture(const Subject& subject, std::size_t frame, const CaptureOptions& options) const {
        std::call_once(
            once, [&] { texture = Bake(charts, surface, *subject.At(frame), options.textureSize, options.shading); });
        return texture;
    }

private:
    mutable std::once_flag once;
    mutable Image texture;
};

CaptureSource::CaptureSource(std::shared_ptr<const Subject> subject, const CaptureOptions& options)
    : m_Subject(std::move(subject)), m_Options(options) {
    Check(options);
    constexpr std::size_t samples = 5;  // the surface's area changes as the subject moves
    double cells = 0;
    for (std::size_t i = 0; i < samples; ++i) {
        cells += CellFor(*m_Subject->At(m_Subject->FrameCount() * i / samples), options.vertices);
    }
    m_Cell = cells / samples;
    m_Recent.resize(c_Recent);
}

std::string CaptureSource::FrameName(std::size_t frame) const {
    return "capture of " + m_Subject->Name() + ", frame " + std::to_string(frame);
}

SourceFrame CaptureSource::Frame(std::size_t frame) const {
    SourceFrame out;
    out.meshes.push_back({0, Get(frame)->mesh});
    return out;
}

std::shared_ptr<const Image> CaptureSource::Texture(std::size_t frame, std::size_t) const {
    const std::shared_ptr<const Built> built = Get(frame);
    return {built, &built->Texture(*m_Subject, frame, m_Options)};
}

Mesh CaptureSource::Truth(std::size_t frame) const {
    const std::unique_ptr<Solid> solid = m_Subject->At(frame);
    Lattice lattice;
    lattice.cell = m_Cell / std::sqrt(static_cast<double>(m_Options.truthDensity));
    Surface surface = Polygonise(*solid, lattice);
    Relax(surface, *solid);
    Mesh mesh;
    for (const Point& p : surface.points) {
        mesh.positions.push_back(Single(p));
    }
    mesh.texCoords.resize(mesh.positions.size(), Vec2{0, 0});
    mesh.faces = std::move(surface.faces);
    return mesh;
}

std::shared_ptr<const CaptureSource::Built> CaptureSource::Get(std::size_t frame) const {
    const auto known = [&] {
        const std::lock_guard lock(m_Mutex);
        return m_Known[frame].lock();
    };
    if (std::shared_ptr<const Built> built = known()) {
        return built;
    }
    // Unlocked, so that others can build theirs; whoever comes second takes the first one's.
    std::shared_ptr<const Built> built = Build(frame);
    const std::lock_guard lock(m_Mutex);
    std::weak_ptr<const Built>& entry = m_Known[frame];
    if (std::shared_ptr<const Built> other = entry.lock()) {
        return other;
    }
    entry = built;
    m_Recent[m_NextRecent++ % c_Recent] = built;
    return built;
}

std::shared_ptr<const CaptureSource::Built> CaptureSource::Build(std::size_t frame) const {
    const std::unique_ptr<Solid> solid = m_Subject->At(frame);
    const auto seed = [&](Stream stream) { return SeedOf(m_Options.seed, frame, stream); };
    Surface surface = Polygonise(*solid, RandomLattice(m_Cell, seed(LatticeStream)));
    if (surface.faces.empty()) {
        throw InputError(FrameName(frame) + ": there is no surface");
    }
    Relax(surface, *solid);
    CutHoles(surface, *solid, m_Options.holes, seed(HoleStream));
    auto built = std::make_shared<Built>();
    built->charts = Unwrap(surface, m_Options.textureSize, seed(ChartStream));
    built->surface = surface;
    AddNoise(surface, m_Options.noise, seed(NoiseStream));
    for (const UINT32 point : built->charts.origin) {
        built->mesh.positions.push_back(Single(surface.points[point]));
    }
    built->mesh.texCoords = built->charts.texCoords;
    built->mesh.faces = built->charts.faces;
    return built;
}

}  // namespace Nimb::Authoring::Capture
