#include "Demo/Capture/Dancer.h"

#include "Demo/Capture/DancerParts.h"
#include "Demo/Capture/Distances.h"

#include <limits>

namespace Nimb::Authoring::Capture {
namespace {

constexpr double c_Contact = 0.005;      ///< fillet between limbs that only touch
constexpr double c_ColourBlend = 0.008;  ///< metres over which colours of one limb's parts pass into each other

/// In every cell of a coarse grid, the parts that matter there.
class PartGrid {
public:
    explicit PartGrid(const std::vector<Part>& parts) : m_Parts(parts) {
        for (const Part& part : parts) {
            const double reach = part.kind == Part::Kind::Skirt  ? 0.65
                                 : part.kind == Part::Kind::Cone ? part.size.x + std::max(part.size.y, part.size.z)
                                                                 : std::max({part.size.x, part.size.y, part.size.z});
            m_Bounds.min = glm::min(m_Bounds.min, part.origin - reach);
            m_Bounds.max = glm::max(m_Bounds.max, part.origin + reach);
        }
        m_Size = glm::ivec3(glm::ceil((m_Bounds.max - m_Bounds.min) / c_Cell));
        m_Cells.reserve(static_cast<std::size_t>(m_Size.x * m_Size.y * m_Size.z));
        for (int z = 0; z < m_Size.z; ++z) {
            for (int y = 0; y < m_Size.y; ++y) {
                for (int x = 0; x < m_Size.x; ++x) {
                    m_Cells.push_back(Near(m_Bounds.min + (Point(x, y, z) + 0.5) * c_Cell));
                }
            }
        }
    }

    const Bounds& Around() const { return m_Bounds; }

    /// A bit for each part.
    std::uint64_t At(const Point& p) const {
        const glm::ivec3 cell =
            glm::clamp(glm::ivec3(glm::floor((p - m_Bounds.min) / c_Cell)), glm::ivec3(0), m_Size - 1);
        return m_Cells[static_cast<std::size_t>((cell.z * m_Size.y + cell.y) * m_Size.x + cell.x)];
    }

private:
    static constexpr double c_Cell = 0.06;

    std::uint64_t Near(const Point& centre) const {
        // A part that is this much further away than the nearest one has no share in any fillet of the cell.
        constexpr double margin = 0.11 + 1.9 * c_Cell;
        double nearest = std::numeric_limits<double>::infinity();
        std::vector<double> distances;
        for (const Part& part : m_Parts) {
            distances.push_back(part.Distance(centre));
            nearest = std::min(nearest, distances.back());
        }
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < distances.size(); ++i) {
            bits |= distances[i] < nearest + margin ? std::uint64_t{1} << i : 0;
        }
        return bits;
    }

    const std::vector<Part>& m_Parts;
    Bounds m_Bounds{Point(1e9), Point(-1e9)};
    glm::ivec3 m_Size{0};
    std::vector<std::uint64_t> m_Cells;
};

class DancerSolid : public Solid {
public:
    explicit DancerSolid(const DancerPose& pose) : m_Body(PartsOf(pose)), m_Grid(m_Body.parts) {}

    double Distance(const Point& p) const override {
        double whole = std::numeric_limits<double>::infinity();
        double limb = whole;
        Limb current = Trunk;
        const auto join = [&] {
            const LimbJoint& joint = m_Body.joints[current];
            const double away = glm::distance(p, joint.centre);
            const double soft =
                joint.softness + (c_Contact - joint.softness) * Ramp(joint.radius, 2 * joint.radius, away);
            whole = std::isinf(whole) || std::isinf(limb) ? std::min(whole, limb) : SmoothMin(whole, limb, soft);
            limb = std::numeric_limits<double>::infinity();
        };
        for (std::uint64_t bits = m_Grid.At(p); bits != 0; bits &= bits - 1) {
            const Part& part = m_Body.parts[static_cast<std::size_t>(__builtin_ctzll(bits))];
            if (part.limb != current) {
                join();
                current = part.limb;
            }
            const double distance = part.Distance(p);
            limb = std::isinf(limb) ? distance : SmoothMin(limb, distance, m_Body.joints[current].within);
        }
        join();
        return whole;
    }

    Colour ColourAt(const Point& p) const override {
        struct Near {
            const Part* part;
            double distance;
        };
        std::array<Near, 64> near{};
        std::size_t count = 0;
        double nearest = std::numeric_limits<double>::infinity();
        for (std::uint64_t bits = m_Grid.At(p); bits != 0; bits &= bits - 1) {
            const Part& part = m_Body.parts[static_cast<std::size_t>(__builtin_ctzll(bits))];
            near[count++] = {&part, part.Distance(p)};
            nearest = std::min(nearest, near[count - 1].distance);
        }
        Colour sum(0);
        double weights = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const double closeness = 1 - (near[i].distance - nearest) / c_ColourBlend;
            if (closeness > 0) {
                sum += closeness * ColourOf(*near[i].part, p);
                weights += closeness;
            }
        }
        return sum / weights;
    }

    Bounds Around() const override { return m_Grid.Around(); }
    std::vector<Point> Hidden() const override { return m_Body.hidden; }

private:
    const DancerParts m_Body;
    const PartGrid m_Grid;
};

}  // namespace

std::unique_ptr<Solid> Dancer::At(std::size_t frame) const {
    return std::make_unique<DancerSolid>(DancerAt(m_Tempo * static_cast<double>(frame) / FrameRate()));
}

}  // namespace Nimb::Authoring::Capture
