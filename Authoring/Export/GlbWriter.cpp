// glTF 2.0 in its binary form: a JSON chunk that describes the scene, and a chunk of everything that it refers to.
#include "Authoring/Export/MeshWriters.h"
#include "Authoring/Source/TinyGltf.h"

#include <cmath>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <type_traits>

namespace Nimb::Authoring {
namespace {

/// Appends the elements to the model's buffer; returns the index of their view.
template <class Element>
int AddView(tinygltf::Model& model, const std::vector<Element>& elements, int target = 0) {
    static_assert(std::is_trivially_copyable_v<Element>);
    Bytes& data = model.buffers[0].data;
    const auto* const bytes = reinterpret_cast<const BYTE*>(elements.data());
    tinygltf::BufferView view;
    view.buffer = 0;
    view.byteOffset = data.size();
    view.byteLength = elements.size() * sizeof(Element);
    view.target = target;
    data.insert(data.end(), bytes, bytes + view.byteLength);
    data.resize((data.size() + 3) / 4 * 4);
    model.bufferViews.push_back(view);
    return static_cast<int>(model.bufferViews.size()) - 1;
}

/// Elements of floats or whole numbers, of 4 bytes each; returns the accessor's index.
template <class Element>
int AddAccessor(tinygltf::Model& model, const std::vector<Element>& elements, int type, int component, int target) {
    tinygltf::Accessor accessor;
    accessor.bufferView = AddView(model, elements, target);
    accessor.componentType = component;
    const auto width = static_cast<std::size_t>(tinygltf::GetNumComponentsInType(static_cast<std::uint32_t>(type)));
    accessor.count = elements.size() * sizeof(Element) / (4 * width);
    accessor.type = type;
    model.accessors.push_back(accessor);
    return static_cast<int>(model.accessors.size()) - 1;
}

template <class Element>
int AddAttribute(tinygltf::Model& model, const std::vector<Element>& elements, int type) {
    return AddAccessor(model, elements, type, TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TARGET_ARRAY_BUFFER);
}

/// The format wants length 1 exactly; stored normals are quantised, and zero where a vertex has no face.
std::vector<Vec3> UnitVectors(std::vector<Vec3> vectors) {
    for (Vec3& v : vectors) {
        const float length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
        const bool hasDirection = length > 1e-3f && std::isfinite(length);
        v = hasDirection ? Vec3{v.x / length, v.y / length, v.z / length} : Vec3{0, 0, 1};
    }
    return vectors;
}

void AddMesh(tinygltf::Model& model, const Mesh& mesh) {
    tinygltf::Primitive primitive;
    const int positions = AddAttribute(model, mesh.positions, TINYGLTF_TYPE_VEC3);
    const Box box = BoundingBox(mesh.positions);
    model.accessors.back().minValues = {box.min.x, box.min.y, box.min.z};
    model.accessors.back().maxValues = {box.max.x, box.max.y, box.max.z};
    primitive.attributes["POSITION"] = positions;
    if (!mesh.normals.empty()) {
        primitive.attributes["NORMAL"] = AddAttribute(model, UnitVectors(mesh.normals), TINYGLTF_TYPE_VEC3);
    }
    primitive.attributes["TEXCOORD_0"] = AddAttribute(model, mesh.texCoords, TINYGLTF_TYPE_VEC2);
    primitive.indices = AddAccessor(model, mesh.faces, TINYGLTF_TYPE_SCALAR, TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT,
                                    TINYGLTF_TARGET_ELEMENT_ARRAY_BUFFER);
    primitive.material = 0;
    primitive.mode = TINYGLTF_MODE_TRIANGLES;
    model.meshes.emplace_back().primitives = {primitive};
    model.nodes.emplace_back().mesh = 0;
    model.scenes[0].nodes = {0};
}

/// The pictures of a clip have their light in them; programs that do not know materials without lighting see a rough
/// surface.
void AddMaterial(tinygltf::Model& model, const Bytes& png) {
    tinygltf::Material& material = model.materials.emplace_back();
    material.name = "texture";
    material.pbrMetallicRoughness.baseColorTexture.index = 0;
    material.pbrMetallicRoughness.metallicFactor = 0;
    material.extensions["KHR_materials_unlit"] = tinygltf::Value(tinygltf::Value::Object());
    model.extensionsUsed = {"KHR_materials_unlit"};
    tinygltf::Texture& texture = model.textures.emplace_back();
    texture.sampler = 0;
    texture.source = 0;
    tinygltf::Sampler& sampler = model.samplers.emplace_back();
    sampler.magFilter = sampler.minFilter = TINYGLTF_TEXTURE_FILTER_LINEAR;
    sampler.wrapS = sampler.wrapT = TINYGLTF_TEXTURE_WRAP_CLAMP_TO_EDGE;
    tinygltf::Image& image = model.images.emplace_back();
    image.bufferView = AddView(model, png);
    image.mimeType = "image/png";
}

}  // namespace

Bytes WriteGlb(const Mesh& mesh, const Bytes& png) {
    tinygltf::Model model;
    model.asset.generator = "nimb";
    model.buffers.resize(1);
    model.scenes.resize(1);
    model.defaultScene = 0;
    // Neither a mesh nor its accessors may be empty.
    if (!mesh.faces.empty()) {
        AddMesh(model, mesh);
    }
    AddMaterial(model, png);
    std::ostringstream out;
    tinygltf::TinyGLTF().WriteGltfSceneToStream(&model, out, false, true);
    const std::string file = out.str();
    // tinygltf would write a size that is cut to 32 bits.
    if (file.size() > std::numeric_limits<UINT32>::max()) {
        throw std::runtime_error("the mesh is too large for a GLB file: " + std::to_string(file.size()) + " bytes");
    }
    return Bytes(file.begin(), file.end());
}

}  // namespace Nimb::Authoring
