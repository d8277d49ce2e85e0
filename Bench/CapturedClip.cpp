#include "Bench/CapturedClip.h"

#include "Authoring/Frame/FrameEncoder.h"
#include "Authoring/Scene/SurfaceRun.h"

#include <draco/compression/decode.h>

#include <array>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <stdexcept>

namespace Bench {
namespace {

using Nimb::Authoring::Mesh;
using Nimb::Authoring::Vec2;
using Nimb::Authoring::Vec3;

/// From 0 up to 1. (The standard's distributions differ between libraries.)
class Random {
public:
    explicit Random(unsigned seed) : m_Bits(seed) {}
    float Next() { return static_cast<float>(m_Bits() >> 8) / static_cast<float>(1 << 24); }
    std::size_t Below(std::size_t count) { return m_Bits() % count; }

private:
    std::mt19937 m_Bits;
};

/// An edge of which one end slides towards the other, in space and in the texture.
struct ShortEdge {
    UINT32 moving, fixed;
    float share;
};

std::vector<ShortEdge> ShortenEdges(const Mesh& mesh, std::size_t count, Random& random) {
    std::vector<ShortEdge> edges;
    for (std::size_t i = 0; i < count; ++i) {
        const UINT32* v = mesh.faces[random.Below(mesh.faces.size())].v;
        edges.push_back({v[0], v[1], 0.9F + 0.1F * random.Next()});
    }
    return edges;
}

float Mix(float a, float b, float share) {
    return a + (b - a) * share;
}

void Slide(Mesh& mesh, const std::vector<ShortEdge>& edges) {
    for (const ShortEdge& edge : edges) {
        Vec3& p = mesh.positions[edge.moving];
        const Vec3& q = mesh.positions[edge.fixed];
        const Vec3 moved{Mix(p.x, q.x, edge.share), Mix(p.y, q.y, edge.share), Mix(p.z, q.z, edge.share)};
        const Vec3 before = p;
        for (Vec3& twin : mesh.positions) {
            if (twin.x == before.x && twin.y == before.y && twin.z == before.z) {
                twin = moved;  // what other charts have in this place moves along
            }
        }
        Vec2& s = mesh.texCoords[edge.moving];
        const Vec2& t = mesh.texCoords[edge.fixed];
        s = {Mix(s.u, t.u, edge.share), Mix(s.v, t.v, edge.share)};
    }
}

/// How the vertices of a clip are cut into charts over a run: charts of the clip, cut once more along a line each.
struct Cut {
    std::vector<UINT32> origin;  ///< of each vertex of the cut mesh
    std::vector<Vec2> texCoords;
    std::vector<TarnMeshFace> faces;
};

/// All texture coordinates are turned and shrunk, and what then lies on one side of a line moves into the other half.
Cut CutCharts(const Mesh& mesh, Random& random) {
    constexpr float margin = 0.01F;
    const float angle = 6.2831853F * random.Next();
    const float c = std::cos(angle), s = std::sin(angle);
    const float reach = std::abs(c) + std::abs(s);
    const auto turned = [&](const Vec2& t) {
        const float u = t.u - 0.5F, v = t.v - 0.5F;
        return Vec2{0.5F + (c * u - s * v) / reach, 0.5F + (s * u + c * v) / reach};
    };
    const float line = 0.3F + 0.4F * random.Next();
    Cut cut;
    std::map<std::pair<UINT32, bool>, UINT32> numbers;
    for (const TarnMeshFace& face : mesh.faces) {
        float middle = 0;
        for (const UINT32 v : face.v) {
            middle += turned(mesh.texCoords[v]).u / 3;
        }
        const bool isRight = middle > line;
        TarnMeshFace out{};
        for (std::size_t i = 0; i < 3; ++i) {
            const auto [known, isNew] =
                numbers.try_emplace({face.v[i], isRight}, static_cast<UINT32>(cut.origin.size()));
            if (isNew) {
                cut.origin.push_back(face.v[i]);
                const Vec2 t = turned(mesh.texCoords[face.v[i]]);
                cut.texCoords.push_back(
                    {margin + t.u * (1 - 2 * margin), (isRight ? 0.5F : 0.0F) + margin + t.v * (0.5F - 2 * margin)});
            }
            out.v[i] = known->second;
        }
        cut.faces.push_back(out);
    }
    return cut;
}

template <class T>
void Shuffle(std::vector<T>& values, Random& random) {
    for (std::size_t i = values.size(); i > 1; --i) {
        std::swap(values[i - 1], values[random.Below(i)]);
    }
}

void NumberAnew(Mesh& mesh, Random& random) {
    std::vector<UINT32> order(mesh.positions.size());
    std::iota(order.begin(), order.end(), 0U);
    Shuffle(order, random);
    Mesh out;
    std::vector<UINT32> numbers(order.size());
    for (const UINT32 v : order) {
        numbers[v] = static_cast<UINT32>(out.positions.size());
        out.positions.push_back(mesh.positions[v]);
        out.texCoords.push_back(mesh.texCoords[v]);
    }
    for (const TarnMeshFace& face : mesh.faces) {
        const std::size_t turn = random.Below(3);
        out.faces.push_back(
            {{numbers[face.v[turn]], numbers[face.v[(turn + 1) % 3]], numbers[face.v[(turn + 2) % 3]]}});
    }
    Shuffle(out.faces, random);
    mesh = std::move(out);
}

}  // namespace

Mesh DecodeWithDraco(const draco::EncoderBuffer& encoded) {
    draco::DecoderBuffer buffer;
    buffer.Init(encoded.data(), encoded.size());
    draco::Decoder decoder;
    auto decoded = decoder.DecodeMeshFromBuffer(&buffer);
    if (!decoded.ok()) {
        throw std::runtime_error("Draco cannot decode what it encoded");
    }
    const draco::Mesh& source = *decoded.value();
    const draco::PointAttribute& positions = *source.GetNamedAttribute(draco::GeometryAttribute::POSITION);
    const draco::PointAttribute& texCoords = *source.GetNamedAttribute(draco::GeometryAttribute::TEX_COORD);
    Mesh out;
    std::map<std::array<float, 5>, UINT32> numbers;
    std::vector<UINT32> numberOf;
    for (unsigned i = 0; i < source.num_points(); ++i) {
        std::array<float, 5> key{};
        positions.GetMappedValue(draco::PointIndex(i), key.data());
        texCoords.GetMappedValue(draco::PointIndex(i), key.data() + 3);
        const auto [known, isNew] = numbers.try_emplace(key, static_cast<UINT32>(out.positions.size()));
        if (isNew) {
            out.positions.push_back({key[0], key[1], key[2]});
            out.texCoords.push_back({key[3], key[4]});
        }
        numberOf.push_back(known->second);
    }
    for (unsigned f = 0; f < source.num_faces(); ++f) {
        const draco::Mesh::Face& face = source.face(draco::FaceIndex(f));
        const TarnMeshFace corners{{numberOf[face[0].value()], numberOf[face[1].value()], numberOf[face[2].value()]}};
        if (corners.v[0] != corners.v[1] && corners.v[1] != corners.v[2] && corners.v[2] != corners.v[0]) {
            out.faces.push_back(corners);
        }
    }
    return out;
}

Mesh ThroughDraco(const Mesh& mesh) {
    return DecodeWithDraco(EncodeWithDraco(*MakeDracoMesh(mesh), c_DracoDefaultSpeed));
}

std::vector<Mesh> SimulateCapture(const std::vector<Mesh>& clip, unsigned seed, std::size_t runFrames) {
    Random random(seed);
    std::vector<Mesh> capture;
    std::vector<ShortEdge> edges;
    Cut cut;
    for (std::size_t i = 0; i < clip.size(); ++i) {
        Mesh frame = clip[i];
        if (i % runFrames == 0) {
            edges = ShortenEdges(frame, frame.faces.size() / 1000, random);
        }
        Slide(frame, edges);
        if (i % runFrames == 0) {
            cut = CutCharts(frame, random);
        }
        Mesh tracked{{}, cut.texCoords, {}, cut.faces};
        for (const UINT32 v : cut.origin) {
            tracked.positions.push_back(frame.positions[v]);
        }
        Mesh delivered = ThroughDraco(tracked);
        NumberAnew(delivered, random);
        capture.push_back(std::move(delivered));
    }
    return capture;
}

std::vector<Mesh> TrackCapture(const std::vector<Mesh>& capture, double maxError) {
    Nimb::Authoring::SurfaceRun run(capture.front());
    for (std::size_t i = 1; i < capture.size(); ++i) {
        if (!run.Add(capture[i], maxError).joined) {
            throw std::runtime_error("frame " + std::to_string(i) + " of the capture does not join the run");
        }
    }
    run.Finish();
    const Mesh& topology = run.Topology();
    Nimb::Authoring::FrameEncoder encoder;
    Nimb::Authoring::KeyFrameOptions key;
    key.indices = Nimb::Authoring::IndexCoding::EdgeBreaker;
    encoder.KeyFrame(topology, key);
    const std::vector<UINT32>& order = encoder.VertexOrder();
    Mesh ordered;
    std::vector<UINT32> numbers(topology.positions.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        numbers[order[i]] = static_cast<UINT32>(i);
        ordered.texCoords.push_back(topology.texCoords[order[i]]);
    }
    for (const TarnMeshFace& face : topology.faces) {
        ordered.faces.push_back({{numbers[face.v[0]], numbers[face.v[1]], numbers[face.v[2]]}});
    }
    std::vector<Mesh> frames;
    for (const Nimb::Authoring::Pose& pose : run.Poses()) {
        ordered.positions.clear();
        for (const UINT32 v : order) {
            ordered.positions.push_back(pose.positions[v]);
        }
        frames.push_back(ordered);
    }
    return frames;
}

}  // namespace Bench
