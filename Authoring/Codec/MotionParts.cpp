// Parts by repeated splitting, on a sample of the vertices: the part that its map serves worst is split around its
// worst vertex, then all vertices choose anew among all maps. In the end every vertex of the figure chooses.
//
// The cost of a vertex under a map is the logarithm of its distance, about what a correction costs in bits, so a few
// vertices far off do not pull a map away from the many that it fits. Sums of logarithms are compared as products.
#include "Authoring/Codec/MotionParts.h"

#include "Authoring/Codec/ChordLog.h"
#include "Authoring/Codec/LeastSquares.h"
#include "NimbCore/Simd.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace Nimb::Authoring {
namespace {

using Nimb::Float4;

constexpr std::size_t c_MaxParts = 64;
constexpr std::size_t c_FewParts = 8;      // for figures that are too small for as many as can be found
constexpr std::size_t c_MaxFitted = 2500;  // vertices that maps are fitted to
constexpr std::size_t c_MinVertices = 5;   // a smaller part cannot pay for its transform
constexpr int c_SettlingPasses = 3;
constexpr double c_WorthSplitting = 0.05;  // bits per vertex and pose that a map leaves
constexpr float c_FarSquared = 1e9f;       // squared distance, in tolerances, beyond which farther is no worse

/// Vertices in all poses. Lanes are poses, in blocks of four; lanes left over do not move.
class PosedVertices {
public:
    static constexpr std::size_t c_Blocks = (c_MaxPartPoses - 1 + 3) / 4;
    static constexpr std::size_t c_Lanes = 4 * c_Blocks;

    struct Vertex {
        Vec3 reference;             // in the first pose
        float moved[3][c_Lanes]{};  // from there to each other pose
    };

    /// Every `stride`th vertex.
    PosedVertices(const std::vector<const std::vector<Vec3>*>& poses, std::size_t stride)
        : m_UsedLanes(poses.size() - 1) {
        const std::vector<Vec3>& reference = *poses.front();
        m_Vertices.resize((reference.size() + stride - 1) / stride);
        for (std::size_t i = 0; i < m_Vertices.size(); ++i) {
            Vertex& vertex = m_Vertices[i];
            vertex.reference = reference[i * stride];
            for (std::size_t lane = 0; lane < m_UsedLanes; ++lane) {
                const Vec3& p = (*poses[lane + 1])[i * stride];
                vertex.moved[0][lane] = p.x - vertex.reference.x;
                vertex.moved[1][lane] = p.y - vertex.reference.y;
                vertex.moved[2][lane] = p.z - vertex.reference.z;
            }
        }
    }

    std::size_t Size() const { return m_Vertices.size(); }
    const Vertex& operator[](std::size_t i) const { return m_Vertices[i]; }
    std::size_t UsedLanes() const { return m_UsedLanes; }

private:
    std::vector<Vertex> m_Vertices;
    std::size_t m_UsedLanes;
};

/// One affine map per pose: displacement from the first pose.
struct PartMaps {
    float columns[4][3][PosedVertices::c_Lanes]{};
    Vec3 origin{};
};

/// The product, over all poses, of 1 + squared distance in tolerances; anything above `bound` if it is more than that.
double Misfit(const PartMaps& maps, const PosedVertices::Vertex& vertex, float inverseTolerance, double bound) {
    const Float4 x = Float4::All(vertex.reference.x - maps.origin.x);
    const Float4 y = Float4::All(vertex.reference.y - maps.origin.y);
    const Float4 z = Float4::All(vertex.reference.z - maps.origin.z);
    const Float4 scale = Float4::All(inverseTolerance);
    double product = 1;
    for (std::size_t first = 0; first < PosedVertices::c_Lanes && product <= bound; first += 4) {
        Float4 squares = Float4::All(0.0f);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto column = [&](std::size_t i) { return Float4::Load(&maps.columns[i][axis][first]); };
            const Float4 moved = (column(0) * x + column(1) * y) + (column(2) * z + column(3));
            const Float4 off = (Float4::Load(&vertex.moved[axis][first]) - moved) * scale;
            squares = squares + off * off;
        }
        float lanes[4];
        (LessOr(squares, Float4::All(c_FarSquared)) + Float4::All(1.0f)).Store(lanes);
        product *= (double{lanes[0]} * lanes[1]) * (double{lanes[2]} * lanes[3]);
    }
    return product;
}

class Search {
public:
    Search(const std::vector<const std::vector<Vec3>*>& poses, const PartSearch& search)
        : m_Poses(poses),
          m_Search(search),
          m_InverseTolerance(static_cast<float>(1.0 / search.tolerance)),
          m_Vertices(poses, (poses.front()->size() + c_MaxFitted - 1) / c_MaxFitted),
          m_Parts(m_Vertices.Size(), 0),
          m_Misfits(m_Vertices.Size(), 0.0) {}

    std::vector<PartMap> Run();

private:
    PartMaps Fit(const std::vector<UINT32>& vertices) const;
    double MisfitOf(std::size_t part, std::size_t vertex, double bound) const {
        return Misfit(m_Maps[part], m_Vertices[vertex], m_InverseTolerance, bound);
    }
    std::vector<std::vector<UINT32>> Members() const;
    void Refit();
    void Reassign();
    bool Split();
    void Claim(std::size_t part);
    void Settle();
    PartMap Smoothed(const PosedVertices& all) const;

    const std::vector<const std::vector<Vec3>*>& m_Poses;
    const PartSearch& m_Search;
    float m_InverseTolerance;
    PosedVertices m_Vertices;       // the sample
    PartMap m_Parts;                // of the sample
    std::vector<double> m_Misfits;  // likewise, under the maps of their parts
    std::vector<PartMaps> m_Maps;
};

PartMaps Search::Fit(const std::vector<UINT32>& vertices) const {
    constexpr std::size_t lanes = PosedVertices::c_Lanes;
    PartMaps result;
    double center[3] = {};
    for (const UINT32 i : vertices) {
        center[0] += m_Vertices[i].reference.x;
        center[1] += m_Vertices[i].reference.y;
        center[2] += m_Vertices[i].reference.z;
    }
    const double count = static_cast<double>(vertices.size());
    result.origin = {static_cast<float>(center[0] / count), static_cast<float>(center[1] / count),
                     static_cast<float>(center[2] / count)};
    // All poses have the same rows, so one system serves them all.
    NormalEquations<4, 3 * lanes> equations;
    std::array<double, 3 * lanes> moved;
    for (const UINT32 i : vertices) {
        const Vec3& r = m_Vertices[i].reference;
        std::copy_n(&m_Vertices[i].moved[0][0], moved.size(), moved.begin());
        equations.Add(
            {double{r.x} - result.origin.x, double{r.y} - result.origin.y, double{r.z} - result.origin.z, 1.0}, moved,
            1.0);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        equations.AddRidge(i, m_Search.tolerance * m_Search.tolerance);
    }
    const auto solution = equations.Solve();
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t k = 0; k < 3 * lanes; ++k) {
            result.columns[i][k / lanes][k % lanes] = static_cast<float>(solution[i][k]);
        }
    }
    return result;
}

std::vector<std::vector<UINT32>> Search::Members() const {
    std::vector<std::vector<UINT32>> members(m_Maps.size());
    for (std::size_t i = 0; i < m_Parts.size(); ++i) {
        members[m_Parts[i]].push_back(static_cast<UINT32>(i));
    }
    return members;
}

/// New maps from the present members. Parts too small to keep disappear; their vertices go elsewhere with the next
/// Reassign.
void Search::Refit() {
    const std::vector<std::vector<UINT32>> members = Members();
    std::vector<PartMaps> maps;
    for (const std::vector<UINT32>& vertices : members) {
        if (vertices.size() >= c_MinVertices) {
            maps.push_back(Fit(vertices));
        }
    }
    if (!maps.empty()) {
        m_Maps = std::move(maps);
    }
}

void Search::Reassign() {
    for (std::size_t i = 0; i < m_Parts.size(); ++i) {
        // Neighbours mostly share a part: starting with theirs rules the others out quickly.
        const std::size_t guess = std::min<std::size_t>(m_Parts[i == 0 ? 0 : i - 1], m_Maps.size() - 1);
        m_Parts[i] = static_cast<BYTE>(guess);
        m_Misfits[i] = MisfitOf(guess, i, std::numeric_limits<double>::max());
        for (std::size_t part = 0; part < m_Maps.size(); ++part) {
            const double misfit = MisfitOf(part, i, m_Misfits[i]);
            if (misfit < m_Misfits[i]) {
                m_Misfits[i] = misfit;
                m_Parts[i] = static_cast<BYTE>(part);
            }
        }
    }
}

/// Lets all vertices choose among all maps, and the maps follow, until little changes: the iteration of S. P. Lloyd,
/// "Least squares quantization in PCM", 1982, with maps in place of means.
void Search::Settle() {
    for (int pass = 0; pass < c_SettlingPasses; ++pass) {
        Reassign();
        Refit();
    }
    Reassign();
}

/// Takes the quarter of the costliest part's vertices that is nearest to its worst vertex for a new part. False when no
/// part is worth it.
bool Search::Split() {
    const std::vector<std::vector<UINT32>> members = Members();
    std::size_t worst = 0;
    double worstCost = 0;
    for (std::size_t part = 0; part < members.size(); ++part) {
        double cost = 0;
        for (const UINT32 i : members[part]) {
            cost += ChordLog2(m_Misfits[i]);
        }
        if (cost > worstCost && members[part].size() >= 2 * c_MinVertices) {
            worst = part;
            worstCost = cost;
        }
    }
    std::vector<UINT32> vertices = members[worst];
    // Where no part is large enough to be split, `worst` is none, and may have no vertices at all.
    if (worstCost <= c_WorthSplitting * static_cast<double>(vertices.size() * m_Vertices.UsedLanes())) {
        return false;
    }
    const UINT32 seed = *std::max_element(vertices.begin(), vertices.end(),
                                          [this](UINT32 a, UINT32 b) { return m_Misfits[a] < m_Misfits[b]; });
    const Vec3 center = m_Vertices[seed].reference;
    const auto distance = [&](UINT32 i) {
        const Vec3& p = m_Vertices[i].reference;
        const float dx = p.x - center.x, dy = p.y - center.y, dz = p.z - center.z;
        return dx * dx + dy * dy + dz * dz;
    };
    std::stable_sort(vertices.begin(), vertices.end(), [&](UINT32 a, UINT32 b) { return distance(a) < distance(b); });
    vertices.resize(std::max(c_MinVertices, vertices.size() / 4));
    m_Maps.push_back(Fit(vertices));
    // The new map is first compared with the present choices alone. A second time its fit has found its members.
    Claim(m_Maps.size() - 1);
    vertices = Members().back();
    if (vertices.size() >= c_MinVertices) {
        m_Maps.back() = Fit(vertices);
        Claim(m_Maps.size() - 1);
    }
    return true;
}

/// Gives a part the vertices that its map serves better than their own does.
void Search::Claim(std::size_t part) {
    for (std::size_t i = 0; i < m_Parts.size(); ++i) {
        const bool mine = m_Parts[i] == part;
        const double misfit = MisfitOf(part, i, mine ? std::numeric_limits<double>::max() : m_Misfits[i]);
        if (mine || misfit < m_Misfits[i]) {
            m_Misfits[i] = misfit;
            m_Parts[i] = static_cast<BYTE>(part);
        }
    }
}

/// The cheapest map of all vertices to parts when changing the part along the vertex order costs too: A. J. Viterbi,
/// "Error bounds for convolutional codes and an asymptotically optimum decoding algorithm", 1967.
PartMap Search::Smoothed(const PosedVertices& all) const {
    const std::size_t numParts = m_Maps.size();
    const std::size_t count = all.Size();
    // A part this much costlier than another is not worth two changes; how much costlier does not matter then.
    const double hopeless = 2 * m_Search.runBits;
    const double hopelessFactor = std::exp2(std::min(hopeless, 500.0));
    std::vector<BYTE> cameFrom(count * numParts);
    std::vector<double> total(numParts, 0.0);
    std::vector<double> misfits(numParts);
    std::size_t guess = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto misfitOf = [&](std::size_t part, double bound) {
            return Misfit(m_Maps[part], all[i], m_InverseTolerance, bound);
        };
        double best = misfitOf(guess, std::numeric_limits<double>::max());
        for (std::size_t part = 0; part < numParts; ++part) {
            misfits[part] = misfitOf(part, best * hopelessFactor);
            if (misfits[part] < best) {
                best = misfits[part];
                guess = part;
            }
        }
        const double worst = ChordLog2(best) + hopeless;
        const auto cheapest = static_cast<std::size_t>(std::min_element(total.begin(), total.end()) - total.begin());
        const double changed = total[cheapest] + m_Search.runBits;
        for (std::size_t part = 0; part < numParts; ++part) {
            const bool stays = total[part] <= changed;
            cameFrom[i * numParts + part] = static_cast<BYTE>(stays ? part : cheapest);
            total[part] = (stays ? total[part] : changed) + std::min(ChordLog2(misfits[part]), worst);
        }
    }
    PartMap parts(count);
    auto part = static_cast<BYTE>(std::min_element(total.begin(), total.end()) - total.begin());
    for (std::size_t i = count; i-- > 0;) {
        parts[i] = part;
        part = cameFrom[i * numParts + part];
    }
    return parts;
}

std::vector<PartMap> Search::Run() {
    std::vector<PartMap> results;
    std::vector<UINT32> everything(m_Vertices.Size());
    std::iota(everything.begin(), everything.end(), 0u);
    const PosedVertices all(m_Poses, 1);
    m_Maps.assign(1, Fit(everything));
    Reassign();
    const std::size_t maxParts = std::clamp<std::size_t>(m_Search.maxParts, 1, c_MaxParts);
    std::size_t nextResult = std::min(c_FewParts, maxParts);
    for (std::size_t target = 2; target <= maxParts; ++target) {
        const bool done = !Split();
        if (target == nextResult || target == maxParts || done) {
            Settle();
            results.push_back(Smoothed(all));
            Compact(results.back());
            nextResult = maxParts;
        }
        if (done) {
            break;
        }
    }
    return results;
}

}  // namespace

void Compact(PartMap& parts) {
    std::vector<int> numbers(256, -1);
    int next = 0;
    for (BYTE& part : parts) {
        if (numbers[part] < 0) {
            numbers[part] = next++;
        }
        part = static_cast<BYTE>(numbers[part]);
    }
}

std::vector<PartMap> FindParts(const std::vector<const std::vector<Vec3>*>& poses, const PartSearch& search) {
    return Search(poses, search).Run();
}

}  // namespace Nimb::Authoring
