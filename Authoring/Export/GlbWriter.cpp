// glTF 2.0 in its binary form: a JSON chunk that describes the scene, and a chunk of everything that it refers to.
#include "Authoring/Export/MeshWriters.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

using Json = nlohmann::json;

constexpr UINT32 c_Magic = 0x46546C67;      // "glTF"
constexpr UINT32 c_JsonChunk = 0x4E4F534A;  // "JSON"
constexpr UINT32 c_BinChunk = 0x004E4942;   // "BIN"
constexpr UINT32 c_Version = 2;

constexpr int c_Float = 5126;
constexpr int c_UnsignedInt = 5125;
constexpr int c_ArrayBuffer = 34962;
constexpr int c_ElementArrayBuffer = 34963;
constexpr int c_Linear = 9729;
constexpr int c_ClampToEdge = 33071;

/// The binary chunk with its views and accessors.
class BufferBuilder {
public:
    std::size_t AddView(const Bytes& bytes, int target = 0) {
        Json view = {{"buffer", 0}, {"byteOffset", m_Bytes.Size()}, {"byteLength", bytes.size()}};
        if (target != 0) {
            view["target"] = target;
        }
        m_Views.push_back(view);
        m_Bytes.Append(bytes);
        while (m_Bytes.Size() % 4 != 0) {
            m_Bytes.U8(0);
        }
        return m_Views.size() - 1;
    }

    std::size_t AddAccessor(const Bytes& bytes, std::size_t count, const char* type, int component, int target) {
        m_Accessors.push_back(
            {{"bufferView", AddView(bytes, target)}, {"componentType", component}, {"count", count}, {"type", type}});
        return m_Accessors.size() - 1;
    }

    Json& Accessor(std::size_t index) { return m_Accessors[index]; }

    void Describe(Json& scene) const {
        scene["buffers"] = {{{"byteLength", m_Bytes.Size()}}};
        scene["bufferViews"] = m_Views;
        scene["accessors"] = m_Accessors;
    }
    Bytes Take() { return m_Bytes.Take(); }

private:
    ByteWriter m_Bytes;
    Json m_Views = Json::array();
    Json m_Accessors = Json::array();
};

template <class T, class Write>
Bytes Pack(const std::vector<T>& elements, Write&& write) {
    ByteWriter out;
    for (const T& element : elements) {
        write(out, element);
    }
    return out.Take();
}

void WriteVec3(ByteWriter& out, const Vec3& v) {
    out.F32(v.x);
    out.F32(v.y);
    out.F32(v.z);
}

/// The format wants length 1; stored normals are quantised, and zero where a vertex has no face.
void WriteUnitVec3(ByteWriter& out, const Vec3& v) {
    const float length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    const bool hasDirection = length > 1e-3f && std::isfinite(length);
    WriteVec3(out, hasDirection ? Vec3{v.x / length, v.y / length, v.z / length} : Vec3{0, 0, 1});
}

Json AddMesh(const Mesh& mesh, BufferBuilder& buffer) {
    const std::size_t positions =
        buffer.AddAccessor(Pack(mesh.positions, WriteVec3), mesh.positions.size(), "VEC3", c_Float, c_ArrayBuffer);
    const Box box = BoundingBox(mesh.positions);
    buffer.Accessor(positions)["min"] = {box.min.x, box.min.y, box.min.z};
    buffer.Accessor(positions)["max"] = {box.max.x, box.max.y, box.max.z};

    Json attributes = {{"POSITION", positions}};
    if (!mesh.normals.empty()) {
        attributes["NORMAL"] =
            buffer.AddAccessor(Pack(mesh.normals, WriteUnitVec3), mesh.normals.size(), "VEC3", c_Float, c_ArrayBuffer);
    }
    const auto writeTexCoord = [](ByteWriter& out, const Vec2& t) {
        out.F32(t.u);
        out.F32(t.v);
    };
    attributes["TEXCOORD_0"] =
        buffer.AddAccessor(Pack(mesh.texCoords, writeTexCoord), mesh.texCoords.size(), "VEC2", c_Float, c_ArrayBuffer);
    const auto writeFace = [](ByteWriter& out, const TarnMeshFace& face) {
        for (const UINT32 index : face.v) {
            out.U32(index);
        }
    };
    const std::size_t indices = buffer.AddAccessor(Pack(mesh.faces, writeFace), mesh.faces.size() * 3, "SCALAR",
                                                   c_UnsignedInt, c_ElementArrayBuffer);
    return {{"attributes", attributes}, {"indices", indices}, {"material", 0}};
}

/// The pictures of a clip have their light in them; programs that do not know materials without lighting see a rough
/// surface.
void AddMaterial(Json& scene, std::size_t pictureView) {
    scene["extensionsUsed"] = {"KHR_materials_unlit"};
    scene["materials"] = {{{"name", "texture"},
                           {"pbrMetallicRoughness",
                            {{"baseColorTexture", {{"index", 0}}}, {"metallicFactor", 0}, {"roughnessFactor", 1}}},
                           {"extensions", {{"KHR_materials_unlit", Json::object()}}}}};
    scene["textures"] = {{{"sampler", 0}, {"source", 0}}};
    scene["samplers"] = {
        {{"magFilter", c_Linear}, {"minFilter", c_Linear}, {"wrapS", c_ClampToEdge}, {"wrapT", c_ClampToEdge}}};
    scene["images"] = {{{"bufferView", pictureView}, {"mimeType", "image/png"}}};
}

Bytes Join(std::string json, const Bytes& binary) {
    json.resize((json.size() + 3) / 4 * 4, ' ');
    const UINT64 size = UINT64{12} + 8 + json.size() + 8 + binary.size();
    if (size > std::numeric_limits<UINT32>::max()) {
        throw std::runtime_error("the mesh is too large for a GLB file: " + std::to_string(size) + " bytes");
    }
    ByteWriter out;
    out.U32(c_Magic);
    out.U32(c_Version);
    out.U32(static_cast<UINT32>(size));
    out.U32(static_cast<UINT32>(json.size()));
    out.U32(c_JsonChunk);
    out.Append(Bytes(json.begin(), json.end()));
    out.U32(static_cast<UINT32>(binary.size()));
    out.U32(c_BinChunk);
    out.Append(binary);
    return out.Take();
}

}  // namespace

Bytes WriteGlb(const Mesh& mesh, const Bytes& png) {
    Json scene = {{"asset", {{"version", "2.0"}, {"generator", "nimb"}}}, {"scene", 0}};
    BufferBuilder buffer;
    // Neither a mesh nor its accessors may be empty.
    if (mesh.faces.empty()) {
        scene["scenes"] = {Json::object()};
    } else {
        scene["scenes"] = {{{"nodes", {0}}}};
        scene["nodes"] = {{{"mesh", 0}}};
        scene["meshes"] = {{{"primitives", {AddMesh(mesh, buffer)}}}};
    }
    AddMaterial(scene, buffer.AddView(png));
    buffer.Describe(scene);
    return Join(scene.dump(), buffer.Take());
}

}  // namespace Nimb::Authoring
