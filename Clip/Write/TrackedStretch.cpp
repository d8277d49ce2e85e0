#include "Clip/Write/TrackedStretch.h"

#include "Authoring/Track/TextureBake.h"
#include "Clip/Write/OrderedTasks.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// Where a hole in the source is as wide as a tracked surface may be off, its rim gives the colours.
constexpr double c_ReachOfLargest = 2;

/// Pictures are made a few frames ahead, which may be in the next run already. More would take memory for nothing.
constexpr std::size_t c_MostCharts = 2;

Mesh Concatenated(const std::vector<Mesh>& meshes) {
    Mesh all;
    for (const Mesh& mesh : meshes) {
        Append(all, mesh);
    }
    return all;
}

/// The frame as the source has it: what there is to see.
struct SeenFrame {
    std::vector<Mesh> meshes;                            // by sub-mesh
    std::vector<std::shared_ptr<const Image>> textures;  // likewise; null where there are no faces

    SeenFrame(const SubMeshSource& source, std::size_t frame) : meshes(source.Load(frame)), textures(meshes.size()) {
        for (std::size_t i = 0; i < meshes.size(); ++i) {
            if (!meshes[i].faces.empty()) {
                textures[i] = source.Texture(frame, i);
            }
        }
    }

    TexturedSurface Surface() const {
        std::vector<TexturedPiece> pieces;
        for (std::size_t i = 0; i < meshes.size(); ++i) {
            if (!meshes[i].faces.empty()) {
                pieces.push_back({meshes[i].positions, meshes[i].texCoords, meshes[i].faces, *textures[i]});
            }
        }
        return TexturedSurface(pieces);
    }
};

}  // namespace

TrackedStretch::TrackedStretch(const SubMeshSource& source, const MeshSegment& stretch, const TrackOptions& options,
                               std::size_t threads, const std::atomic<bool>& stop,
                               const std::function<void(std::size_t done)>& onTracked)
    : m_Source(source), m_First(stretch.first), m_Reach(c_ReachOfLargest * options.largest) {
    std::vector<TrackedRun> runs = TrackFrames(
        stretch.count, [&](std::size_t i) { return Concatenated(source.Load(stretch.first + i)); }, options, threads,
        stop, onTracked);
    if (stop) {
        throw Stopped();
    }
    for (std::size_t i = 0; i < runs.size(); ++i) {
        Add(runs[i], i == 0 ? nullptr : &runs[i - 1]);
    }
    if (m_Places.size() != stretch.count) {
        throw std::logic_error(source.Source().FrameName(stretch.first) +
                               " and the frames after it: " + std::to_string(m_Places.size()) + " of " +
                               std::to_string(stretch.count) + " frames were tracked");
    }
}

void TrackedStretch::Add(TrackedRun& tracked, const TrackedRun* pBefore) {
    Run& run = m_Runs.emplace_back();
    if (pBefore != nullptr) {
        run.lost = pBefore->after.value_or(tracked.before.value_or(TrackQuality()));
    }
    run.topology = m_Source.Load(m_First + tracked.key);
    std::size_t vertices = 0, faces = 0;
    for (Mesh& mesh : run.topology) {
        vertices += mesh.positions.size();
        faces += mesh.faces.size();
        mesh.positions = {};
    }
    if (tracked.first != m_Places.size() || faces != tracked.topology.faces.size()) {
        throw std::logic_error(m_Source.Source().FrameName(m_First + tracked.first) +
                               ": its run is not of its key frame's topology");
    }
    for (std::size_t i = 0; i < tracked.poses.size(); ++i) {
        if (tracked.poses[i].positions.size() != vertices) {
            throw std::logic_error(m_Source.Source().FrameName(m_First + tracked.first + i) +
                                   ": its pose does not fit its topology");
        }
        m_Notes.push_back({m_First + m_Places.size(), i == 0, tracked.qualities.at(i), 0, 0});
        m_Places.push_back({m_Runs.size() - 1, i});
    }
    run.poses = std::move(tracked.poses);
}

KeyFrameReason TrackedStretch::ReasonOf(std::size_t frame) const {
    KeyFrameReason reason;
    reason.cause = KeyFrameReason::Cause::TrackLost;
    reason.lost = m_Runs[PlaceOf(frame).run].lost;
    return reason;
}

std::vector<Vec3> TrackedStretch::PositionsOf(const Place& place, std::size_t subMesh) const {
    const Run& run = m_Runs[place.run];
    std::size_t begin = 0;
    for (std::size_t i = 0; i < subMesh; ++i) {
        begin += run.topology[i].texCoords.size();
    }
    const auto first = run.poses[place.pose].positions.begin() + static_cast<std::ptrdiff_t>(begin);
    return {first, first + static_cast<std::ptrdiff_t>(run.topology[subMesh].texCoords.size())};
}

std::vector<Mesh> TrackedStretch::Load(std::size_t frame) const {
    const Place& place = PlaceOf(frame);
    std::vector<Mesh> meshes = m_Runs[place.run].topology;
    for (std::size_t i = 0; i < meshes.size(); ++i) {
        meshes[i].positions = PositionsOf(place, i);
    }
    return meshes;
}

std::shared_ptr<const TrackedStretch::Charts> TrackedStretch::ChartsOf(std::size_t run) {
    std::promise<std::shared_ptr<const Charts>> promise;
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        for (const KnownCharts& known : m_Charts) {
            if (known.run == run) {
                const auto charts = known.charts;
                lock.unlock();
                return charts.get();
            }
        }
        if (m_Charts.size() == c_MostCharts) {
            m_Charts.erase(m_Charts.begin());
        }
        m_Charts.push_back({run, promise.get_future().share()});
    }
    try {
        auto charts = std::make_shared<Charts>();
        for (std::size_t i = 0; i < m_Source.Count(); ++i) {
            const Mesh& mesh = m_Runs[run].topology[i];
            charts->push_back(mesh.faces.empty() ? nullptr
                                                 : std::make_unique<ChartTexels>(mesh, m_Source.TextureSize(i)));
        }
        promise.set_value(charts);
        return charts;
    } catch (...) {
        promise.set_exception(std::current_exception());
        throw;
    }
}

std::vector<std::shared_ptr<const Image>> TrackedStretch::Textures(std::size_t frame,
                                                                   const std::vector<std::size_t>& subMeshes) {
    const Place& place = PlaceOf(frame);
    const Run& run = m_Runs[place.run];
    std::vector<std::shared_ptr<const Image>> textures;
    if (run.poses.size() == 1) {
        for (const std::size_t subMesh : subMeshes) {
            textures.push_back(m_Source.Texture(frame, subMesh));
        }
        return textures;
    }
    const SeenFrame seen(m_Source, frame);
    const TexturedSurface surface = seen.Surface();
    const std::shared_ptr<const Charts> charts = ChartsOf(place.run);
    std::vector<std::vector<Vec3>> positions(m_Source.Count());
    std::vector<TexturedPiece> pieces;
    std::size_t covered = 0, unseen = 0;
    for (const std::size_t subMesh : subMeshes) {
        const Mesh& topology = run.topology[subMesh];
        if (topology.faces.empty()) {
            textures.push_back(m_Source.Texture(frame, subMesh));
            continue;
        }
        positions[subMesh] = PositionsOf(place, subMesh);
        BakedTexture baked = BakeTexture(*(*charts)[subMesh], topology.faces, positions[subMesh], surface, m_Reach);
        covered += baked.covered;
        unseen += baked.unseen;
        textures.push_back(std::make_shared<const Image>(std::move(baked.picture)));
        pieces.push_back({positions[subMesh], topology.texCoords, topology.faces, *textures.back()});
    }
    const double lumaError = SquaredLumaError(surface, TexturedSurface(pieces), m_Reach);
    const std::lock_guard<std::mutex> lock(m_Mutex);
    TrackNote& note = m_Notes[frame - m_First];
    note.lumaError = lumaError;
    note.unseenTexels = covered == 0 ? 0 : static_cast<double>(unseen) / static_cast<double>(covered);
    return textures;
}

TrackNote TrackedStretch::Note(std::size_t frame) const {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Notes.at(frame - m_First);
}

}  // namespace Nimb::Authoring
