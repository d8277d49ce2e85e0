#include "Authoring/Source/GltfPrimitives.h"

#include "Authoring/Codec/EqualVertices.h"
#include "Authoring/Source/GltfMaterial.h"
#include "Authoring/Source/Weld.h"

#include <algorithm>

namespace Nimb::Authoring {
namespace {

std::vector<Vec3> Vectors(const std::vector<double>& numbers) {
    std::vector<Vec3> vectors;
    vectors.reserve(numbers.size() / 3);
    for (std::size_t i = 0; i + 2 < numbers.size(); i += 3) {
        vectors.push_back(
            {static_cast<float>(numbers[i]), static_cast<float>(numbers[i + 1]), static_cast<float>(numbers[i + 2])});
    }
    return vectors;
}

/// Triangles of an index list; false when the mode is one of points or lines.
bool FacesOf(const std::vector<UINT32>& indices, std::size_t mode, std::vector<TarnMeshFace>& faces) {
    constexpr std::size_t c_Triangles = 4, c_Strip = 5, c_Fan = 6;
    if (mode < c_Triangles || mode > c_Fan) {
        return false;
    }
    const std::size_t step = mode == c_Triangles ? 3 : 1;
    for (std::size_t i = 0; i + 2 < indices.size(); i += step) {
        const bool isOdd = mode == c_Strip && i % 2 == 1;
        faces.push_back(
            {{indices[mode == c_Fan ? 0 : i], indices[isOdd ? i + 2 : i + 1], indices[isOdd ? i + 1 : i + 2]}});
    }
    return true;
}

class PrimitiveReader {
public:
    /// `vertices` counts what has been read so far; `name` is for messages.
    PrimitiveReader(const GltfFile& file, Materials materials, Duplicates duplicates, Warnings* pWarnings,
                    std::string name, std::size_t& vertices)
        : m_File(file),
          m_Materials(materials),
          m_Duplicates(duplicates),
          m_pWarnings(pWarnings),
          m_Name(std::move(name)),
          m_Vertices(vertices) {}

    /// False when there are no triangles.
    bool Read(const Json& object, ScenePrimitive& primitive) {
        const Json& attributes = object.at("attributes");
        const std::vector<Vec3> positions = Vectors(m_File.Numbers(IndexIn(attributes, "POSITION"), "VEC3"));
        m_Vertices += positions.size();
        if (m_Vertices > GltfPrimitives::c_MaxVertices) {
            Fail("more than " + std::to_string(GltfPrimitives::c_MaxVertices) + " vertices so far");
        }
        std::vector<TarnMeshFace> faces;
        if (!FacesOf(IndicesOf(object, positions.size()), IndexIn(object, "mode", 4), faces)) {
            return false;
        }
        primitive.material = IndexIn(object, "material", m_File.Count("materials"));
        const bool isTextured =
            m_Materials == Materials::Ignore || ReadGltfMaterial(m_File, primitive.material).picture.has_value();
        const std::optional<std::vector<Colour>> colours = ReadColours(attributes, positions.size(), isTextured);
        TextureUse use;
        std::vector<Vec2> texCoords;
        if (!colours) {
            use = ReadTextureUse(m_File, primitive.material);
            texCoords = ReadTexCoords(attributes, use, positions.size(), isTextured);
        }
        primitive.positions = positions;
        if (attributes.contains("NORMAL")) {
            primitive.normals = VectorsAt(attributes, "NORMAL", positions.size());
        }
        ReadTargets(object, positions.size(), primitive);
        ReadInfluences(attributes, positions.size(), primitive);
        if (m_Duplicates == Duplicates::Weld) {
            Weld(primitive, texCoords, colours, faces);
        }
        if (colours) {
            primitive.painted = SurfaceOf(faces, *colours);
            primitive.surface = {primitive.painted->charts.origin, {}, primitive.painted->charts.faces};
        } else {
            const WrapModes clamp{Wrap::Clamp, Wrap::Clamp};
            primitive.surface = FitIntoPicture(texCoords, faces, isTextured ? use.wrap : clamp, [&](std::size_t face) {
                return m_File.Path() + ": " + m_Name + ", triangle " + std::to_string(face);
            });
        }
        if (primitive.surface.faces.empty()) {
            return false;
        }
        TakeVertices(primitive);
        return true;
    }

private:
    [[noreturn]] void Fail(const std::string& text) const { m_File.Fail(m_Name + ": " + text); }

    void CheckCount(std::size_t count, std::size_t vertices, const std::string& attribute) const {
        if (count != vertices) {
            Fail(attribute + " has " + std::to_string(count) + " elements for " + std::to_string(vertices) +
                 " vertices");
        }
    }

    std::vector<Vec3> VectorsAt(const Json& attributes, const char* key, std::size_t vertices) const {
        std::vector<Vec3> vectors = Vectors(m_File.Numbers(IndexIn(attributes, key), "VEC3"));
        CheckCount(vectors.size(), vertices, key);
        return vectors;
    }

    std::vector<UINT32> IndicesOf(const Json& object, std::size_t vertices) const {
        std::vector<UINT32> indices;
        if (object.contains("indices")) {
            indices = m_File.Indices(IndexIn(object, "indices"), "SCALAR");
        } else {
            for (std::size_t i = 0; i < vertices; ++i) {
                indices.push_back(static_cast<UINT32>(i));
            }
        }
        for (const UINT32 index : indices) {
            if (index >= vertices) {
                Fail("face index " + std::to_string(index) + " is out of range: there are " + std::to_string(vertices) +
                     " vertices");
            }
        }
        return indices;
    }

    /// RGB or RGBA, in linear light.
    std::vector<Colour> ColoursAt(const Json& attributes, std::size_t vertices) const {
        const std::size_t accessor = IndexIn(attributes, "COLOR_0");
        const std::string type = m_File.Element("accessors", accessor).value("type", "");
        const std::size_t width = type == "VEC3" ? 3 : 4;
        const std::vector<double> numbers = m_File.Numbers(accessor, width == 3 ? "VEC3" : "VEC4");
        CheckCount(numbers.size() / width, vertices, "COLOR_0");
        std::vector<Colour> colours(vertices, c_White);
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            colours[i / width][i % width] = static_cast<float>(std::clamp(numbers[i], 0.0, 1.0));
        }
        return colours;
    }

    /// None: there are none to be painted.
    std::optional<std::vector<Colour>> ReadColours(const Json& attributes, std::size_t vertices,
                                                   bool isTextured) const {
        if (!attributes.contains("COLOR_0")) {
            return std::nullopt;
        }
        std::vector<Colour> colours = ColoursAt(attributes, vertices);
        if (!isTextured) {
            return colours;
        }
        const bool areWhite =
            std::all_of(colours.begin(), colours.end(), [](const Colour& colour) { return colour == c_White; });
        if (!areWhite && m_pWarnings != nullptr) {
            m_pWarnings->Add(c_DroppedColours, m_File.Path() + ": " + m_Name);
        }
        return std::nullopt;
    }

    std::vector<Vec2> ReadTexCoords(const Json& attributes, const TextureUse& use, std::size_t vertices,
                                    bool isTextured) const {
        const std::string key = "TEXCOORD_" + std::to_string(use.set);
        std::vector<Vec2> texCoords(vertices, Vec2{0.5F, 0.5F});
        if (attributes.contains(key)) {
            const std::vector<double> numbers = m_File.Numbers(IndexIn(attributes, key.c_str()), "VEC2");
            CheckCount(numbers.size() / 2, vertices, key);
            for (std::size_t i = 0; i < vertices; ++i) {
                texCoords[i] = use.Apply(numbers[2 * i], numbers[2 * i + 1]);
            }
        } else if (isTextured) {
            Fail("no texture coordinates (" + key + ")");
        }
        return texCoords;
    }

    void ReadTargets(const Json& object, std::size_t vertices, ScenePrimitive& primitive) const {
        for (const Json& target : object.value("targets", Json::array())) {
            MorphTarget morph;
            if (target.contains("POSITION")) {
                morph.positions = VectorsAt(target, "POSITION", vertices);
            }
            if (target.contains("NORMAL") && !primitive.normals.empty()) {
                morph.normals = VectorsAt(target, "NORMAL", vertices);
            }
            primitive.targets.push_back(std::move(morph));
        }
    }

    void ReadInfluences(const Json& attributes, std::size_t vertices, ScenePrimitive& primitive) const {
        std::vector<std::vector<UINT32>> joints;
        std::vector<std::vector<double>> weights;
        for (std::size_t set = 0; attributes.contains("JOINTS_" + std::to_string(set)); ++set) {
            const std::string joint = "JOINTS_" + std::to_string(set), weight = "WEIGHTS_" + std::to_string(set);
            joints.push_back(m_File.Indices(IndexIn(attributes, joint.c_str()), "VEC4"));
            weights.push_back(m_File.Numbers(IndexIn(attributes, weight.c_str()), "VEC4"));
            CheckCount(joints.back().size() / 4, vertices, joint);
            CheckCount(weights.back().size() / 4, vertices, weight);
        }
        primitive.influences = 4 * joints.size();
        for (std::size_t v = 0; v < vertices; ++v) {
            double sum = 0;
            for (const std::vector<double>& set : weights) {
                sum += set[4 * v] + set[4 * v + 1] + set[4 * v + 2] + set[4 * v + 3];
            }
            for (std::size_t i = 0; i < primitive.influences; ++i) {
                const double weight = weights[i / 4][4 * v + i % 4];
                // A vertex without weights follows its first joint.
                const double share = sum > 0 ? weight / sum : i == 0 ? 1 : 0;
                primitive.weights.push_back(share);
                primitive.joints.push_back(share == 0 ? 0 : joints[i / 4][4 * v + i % 4]);
            }
        }
    }

    /// What is equal in all that is stored stays equal whatever moves the primitive, so the faces stay the same over an
    /// animation.
    static void Weld(ScenePrimitive& primitive, const std::vector<Vec2>& texCoords,
                     const std::optional<std::vector<Colour>>& colours, std::vector<TarnMeshFace>& faces) {
        EqualVertices vertices(primitive.positions.size());
        vertices.Distinguish(primitive.positions);
        if (!primitive.normals.empty()) {
            vertices.Distinguish(primitive.normals);
        }
        if (!texCoords.empty()) {
            vertices.Distinguish(texCoords);
        }
        if (colours) {
            vertices.Distinguish(*colours);
        }
        for (const MorphTarget& target : primitive.targets) {
            for (const std::vector<Vec3>* differences : {&target.positions, &target.normals}) {
                if (!differences->empty()) {
                    vertices.Distinguish(*differences);
                }
            }
        }
        vertices.Distinguish(primitive.joints, primitive.influences);
        vertices.Distinguish(primitive.weights, primitive.influences);
        primitive.welded = CountWelded(faces, vertices.First());
        for (TarnMeshFace& face : faces) {
            for (UINT32& v : face.v) {
                v = vertices.First()[v];
            }
        }
    }

    /// The vertices that the surface needs.
    static void TakeVertices(ScenePrimitive& primitive) {
        const std::vector<UINT32>& origin = primitive.surface.origin;
        primitive.positions = Gather(primitive.positions, origin);
        for (MorphTarget& target : primitive.targets) {
            for (std::vector<Vec3>* differences : {&target.positions, &target.normals}) {
                if (!differences->empty()) {
                    *differences = Gather(*differences, origin);
                }
            }
        }
        if (!primitive.normals.empty()) {
            primitive.normals = Gather(primitive.normals, origin);
        }
        std::vector<UINT32> joints;
        std::vector<double> weights;
        for (const UINT32 v : origin) {
            for (std::size_t i = v * primitive.influences; i < (v + 1) * primitive.influences; ++i) {
                joints.push_back(primitive.joints[i]);
                weights.push_back(primitive.weights[i]);
            }
        }
        primitive.joints = std::move(joints);
        primitive.weights = std::move(weights);
    }

    const GltfFile& m_File;
    const Materials m_Materials;
    const Duplicates m_Duplicates;
    Warnings* const m_pWarnings;
    const std::string m_Name;
    std::size_t& m_Vertices;
};

}  // namespace

const std::vector<std::size_t>& GltfPrimitives::PrimitivesOf(std::size_t mesh) {
    const auto [entry, isNew] = m_Meshes.try_emplace(mesh);
    if (isNew) {
        const Json& list = m_File.Element("meshes", mesh).at("primitives");
        for (std::size_t i = 0; i < list.size(); ++i) {
            const std::string name = "mesh " + std::to_string(mesh) + ", primitive " + std::to_string(i);
            ScenePrimitive primitive;
            if (PrimitiveReader(m_File, m_Materials, m_Duplicates, m_pWarnings, name, m_Vertices)
                    .Read(list.at(i), primitive)) {
                entry->second.push_back(m_Primitives.size());
                m_Primitives.push_back(std::move(primitive));
            }
        }
    }
    return entry->second;
}

}  // namespace Nimb::Authoring
