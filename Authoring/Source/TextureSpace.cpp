#include "Authoring/Source/TextureSpace.h"

#include "Authoring/Scene/MeshSource.h"

#include <array>
#include <cmath>
#include <map>
#include <sstream>
#include <tuple>

namespace Nimb::Authoring {
namespace {

// How far a triangle may reach beyond the picture: for rounding, and for charts packed up to its very edge.
constexpr float c_Overshoot = 1.0F / 256;

constexpr UINT32 c_None = 0xFFFFFFFF;

/// The whole number of periods to subtract. False: the triangle does not fit into one period.
bool FindPeriod(const std::array<float, 3>& values, float& period) {
    const float low = std::min({values[0], values[1], values[2]});
    const float high = std::max({values[0], values[1], values[2]});
    period = low >= -c_Overshoot && high <= 1 + c_Overshoot ? 0 : std::floor(low + c_Overshoot);
    return high - period <= 1 + c_Overshoot;
}

float InPicture(float value, float period, Wrap wrap) {
    const float inside = std::clamp(value - period, 0.0F, 1.0F);
    return wrap == Wrap::Mirror && std::fmod(period, 2.0F) != 0 ? 1 - inside : inside;
}

[[noreturn]] void FailAcrossEdge(const std::array<Vec2, 3>& corners, const std::string& place) {
    std::ostringstream text;
    text << place << ": a triangle reaches across the edge of the picture, which cannot repeat inside a clip; its"
         << " texture coordinates are";
    for (const Vec2& corner : corners) {
        text << " (" << corner.u << ", " << corner.v << ")";
    }
    throw InputError(text.str());
}

/// Vertices by origin and period; the first period that an input vertex is seen in keeps the vertex's place.
class Builder {
public:
    using PlaceOf = std::function<std::string(std::size_t face)>;

    Builder(const std::vector<Vec2>& texCoords, WrapModes wrap, const PlaceOf& placeOf)
        : m_Input(texCoords), m_Wrap(wrap), m_PlaceOf(placeOf), m_Periods(texCoords.size()), m_Used(texCoords.size()) {}

    void Add(const TarnMeshFace& face, std::size_t number) {
        const UINT32* v = face.v;
        if (v[0] == v[1] || v[1] == v[2] || v[2] == v[0]) {
            return;
        }
        const std::array<Vec2, 3> corners{m_Input[v[0]], m_Input[v[1]], m_Input[v[2]]};
        for (const Vec2& corner : corners) {
            if (!std::isfinite(corner.u) || !std::isfinite(corner.v)) {
                throw InputError(m_PlaceOf(number) + ": a texture coordinate is not a finite number");
            }
        }
        Vec2 period{0, 0};
        if ((m_Wrap.u != Wrap::Clamp && !FindPeriod({corners[0].u, corners[1].u, corners[2].u}, period.u)) ||
            (m_Wrap.v != Wrap::Clamp && !FindPeriod({corners[0].v, corners[1].v, corners[2].v}, period.v))) {
            FailAcrossEdge(corners, m_PlaceOf(number));
        }
        m_Faces.push_back({{VertexIn(v[0], period), VertexIn(v[1], period), VertexIn(v[2], period)}});
    }

    Surface Finish() {
        Surface surface;
        std::vector<UINT32> numbers(m_Input.size() + m_Splits.size(), c_None);
        const auto append = [&](UINT32 origin, const Vec2& period, UINT32 id) {
            numbers[id] = static_cast<UINT32>(surface.origin.size());
            surface.origin.push_back(origin);
            surface.texCoords.push_back(
                {InPicture(m_Input[origin].u, period.u, m_Wrap.u), InPicture(m_Input[origin].v, period.v, m_Wrap.v)});
        };
        for (UINT32 i = 0; i < m_Input.size(); ++i) {
            if (m_Used[i]) {
                append(i, m_Periods[i], i);
            }
        }
        for (std::size_t i = 0; i < m_Splits.size(); ++i) {
            append(m_Splits[i].origin, m_Splits[i].period, static_cast<UINT32>(m_Input.size() + i));
        }
        for (TarnMeshFace& face : m_Faces) {
            for (UINT32& v : face.v) {
                v = numbers[v];
            }
        }
        surface.faces = std::move(m_Faces);
        return surface;
    }

private:
    struct Split {
        UINT32 origin;
        Vec2 period;
    };

    UINT32 VertexIn(UINT32 v, const Vec2& period) {
        if (!m_Used[v]) {
            m_Used[v] = true;
            m_Periods[v] = period;
        }
        if (m_Periods[v].u == period.u && m_Periods[v].v == period.v) {
            return v;
        }
        const auto [found, isNew] =
            m_SplitIds.try_emplace({v, period.u, period.v}, static_cast<UINT32>(m_Splits.size()));
        if (isNew) {
            m_Splits.push_back({v, period});
        }
        return static_cast<UINT32>(m_Input.size()) + found->second;
    }

    const std::vector<Vec2>& m_Input;
    const WrapModes m_Wrap;
    const PlaceOf& m_PlaceOf;
    std::vector<Vec2> m_Periods;
    std::vector<bool> m_Used;
    std::vector<Split> m_Splits;
    std::map<std::tuple<UINT32, float, float>, UINT32> m_SplitIds;
    std::vector<TarnMeshFace> m_Faces;
};

}  // namespace

Surface FitIntoPicture(const std::vector<Vec2>& texCoords, const std::vector<TarnMeshFace>& faces, WrapModes wrap,
                       const std::function<std::string(std::size_t face)>& placeOf) {
    Builder builder(texCoords, wrap, placeOf);
    for (std::size_t i = 0; i < faces.size(); ++i) {
        builder.Add(faces[i], i);
    }
    return builder.Finish();
}

}  // namespace Nimb::Authoring
