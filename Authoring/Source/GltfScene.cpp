#include "Authoring/Source/GltfScene.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/GltfExtensions.h"
#include "Authoring/Source/GltfFile.h"
#include "Authoring/Source/GltfMaterial.h"
#include "Authoring/Source/GltfPrimitives.h"
#include "Authoring/Source/SkippedNames.h"
#include "Authoring/Source/TextScan.h"

#include <glm/gtc/type_ptr.hpp>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

namespace Nimb::Authoring {
namespace {

class SceneReader {
public:
    SceneReader(const std::string& path, Materials materials, Duplicates duplicates, const SourceOptions& options)
        : m_File(path),
          m_Materials(materials),
          m_pWarnings(options.pWarnings),
          m_Skipped(options.skipMeshes),
          m_Primitives(m_File, materials, duplicates, m_pWarnings, m_Scene.primitives) {}

    Scene Read(const std::optional<std::string>& animation) {
        CheckExtensions(m_File, m_pWarnings);
        ReadNodes();
        OrderNodes();
        ReadSkins();
        for (const std::size_t node : VisibleNodes()) {
            AddInstances(node);
        }
        m_Skipped.Check(m_File.Path());
        if (m_Scene.instances.empty()) {
            m_File.Fail("no triangles in its scene");
        }
        NumberMaterials();
        if (animation && m_File.Count("animations") > 0) {
            ReadAnimation(ChooseAnimation(*animation));
        } else if (animation && !animation->empty()) {
            m_File.Fail("no animation '" + *animation + "': there is none at all");
        }
        return std::move(m_Scene);
    }

private:
    void ReadNodes() {
        for (std::size_t i = 0; i < m_File.Count("nodes"); ++i) {
            const Json& object = m_File.Element("nodes", i);
            SceneNode node;
            ReadNumbers(object, "translation", node.translation);
            ReadNumbers(object, "rotation", node.rotation);
            ReadNumbers(object, "scale", node.scale);
            std::array<double, 16> matrix;
            if (ReadNumbers(object, "matrix", matrix)) {
                node.matrix = Matrix(glm::make_mat4(matrix.data()));
            }
            if (object.contains("weights")) {
                node.weights = object["weights"].get<std::vector<double>>();
            } else if (object.contains("mesh")) {
                node.weights = m_File.Element("meshes", IndexIn(object, "mesh")).value("weights", node.weights);
            }
            m_Scene.nodes.push_back(std::move(node));
        }
        for (std::size_t i = 0; i < m_Scene.nodes.size(); ++i) {
            for (const Json& child : m_File.Element("nodes", i).value("children", Json::array())) {
                SceneNode& node = m_Scene.nodes.at(NodeIndex(child));
                if (node.parent != c_NoNode) {
                    m_File.Fail("node " + child.dump() + " has two parents");
                }
                node.parent = i;
            }
        }
    }

    std::size_t NodeIndex(const Json& value) const {
        if (!value.is_number_unsigned() || value.get<std::size_t>() >= m_File.Count("nodes")) {
            m_File.Fail("there is no node " + value.dump());
        }
        return value.get<std::size_t>();
    }

    /// Appends the nodes below `roots`, and the roots, parents first.
    void AppendTree(std::vector<std::size_t> roots, std::vector<std::size_t>& nodes) const {
        std::reverse(roots.begin(), roots.end());
        while (!roots.empty()) {
            const std::size_t node = roots.back();
            roots.pop_back();
            nodes.push_back(node);
            const Json children = m_File.Element("nodes", node).value("children", Json::array());
            for (auto child = children.rbegin(); child != children.rend(); ++child) {
                roots.push_back(NodeIndex(*child));
            }
        }
    }

    void OrderNodes() {
        std::vector<std::size_t> roots;
        for (std::size_t i = 0; i < m_Scene.nodes.size(); ++i) {
            if (m_Scene.nodes[i].parent == c_NoNode) {
                roots.push_back(i);
            }
        }
        AppendTree(roots, m_Scene.order);
        if (m_Scene.order.size() != m_Scene.nodes.size()) {
            m_File.Fail("its nodes form a circle");
        }
    }

    std::vector<std::size_t> VisibleNodes() const {
        if (m_File.Count("scenes") == 0) {
            return m_Scene.order;
        }
        std::set<std::size_t> seen;
        std::vector<std::size_t> nodes;
        const Json& scene = m_File.Element("scenes", IndexIn(m_File.Root(), "scene", 0));
        for (const Json& root : scene.value("nodes", Json::array())) {
            const std::size_t node = NodeIndex(root);
            if (m_Scene.nodes[node].parent != c_NoNode && m_pWarnings != nullptr) {
                m_pWarnings->Add("a node with a parent is listed as a root of the scene; it stays with its parent",
                                 m_File.Path() + ": node " + root.dump());
            }
            std::vector<std::size_t> tree;
            AppendTree({node}, tree);
            std::copy_if(tree.begin(), tree.end(), std::back_inserter(nodes),
                         [&](std::size_t n) { return seen.insert(n).second; });
        }
        return nodes;
    }

    void ReadSkins() {
        for (std::size_t i = 0; i < m_File.Count("skins"); ++i) {
            const Json& object = m_File.Element("skins", i);
            SceneSkin skin;
            for (const Json& joint : object.at("joints")) {
                skin.joints.push_back(NodeIndex(joint));
            }
            skin.inverseBind.assign(skin.joints.size(), Matrix(1));
            if (object.contains("inverseBindMatrices")) {
                const std::vector<double> numbers = m_File.Numbers(IndexIn(object, "inverseBindMatrices"), "MAT4");
                if (numbers.size() / 16 < skin.joints.size()) {
                    m_File.Fail("skin " + std::to_string(i) + " has fewer matrices than joints");
                }
                for (std::size_t k = 0; k < skin.joints.size(); ++k) {
                    skin.inverseBind[k] = Matrix(glm::make_mat4(&numbers[16 * k]));
                }
            }
            m_Scene.skins.push_back(std::move(skin));
        }
    }

    void AddInstances(std::size_t node) {
        const Json& object = m_File.Element("nodes", node);
        if (!object.contains("mesh") || IsSkipped(object)) {
            return;
        }
        for (const std::size_t p : m_Primitives.PrimitivesOf(IndexIn(object, "mesh"))) {
            SceneInstance instance{node, p, std::nullopt};
            const ScenePrimitive& primitive = m_Scene.primitives[p];
            if (object.contains("skin")) {
                instance.skin = IndexIn(object, "skin");
                m_File.Element("skins", *instance.skin);
                const std::size_t joints = m_Scene.skins[*instance.skin].joints.size();
                for (const UINT32 joint : primitive.joints) {
                    if (joint >= joints) {
                        m_File.Fail("node " + std::to_string(node) + ": a vertex follows joint " +
                                    std::to_string(joint) + " of a skin that has " + std::to_string(joints));
                    }
                }
            }
            m_Vertices += primitive.positions.size();
            if (m_Vertices > GltfPrimitives::c_MaxVertices) {
                m_File.Fail("more than " + std::to_string(GltfPrimitives::c_MaxVertices) + " vertices");
            }
            m_Scene.instances.push_back(instance);
        }
    }

    bool IsSkipped(const Json& node) {
        const bool byNode = m_Skipped.Contains(node.value("name", ""));
        return m_Skipped.Contains(m_File.Element("meshes", IndexIn(node, "mesh")).value("name", "")) || byNode;
    }

    /// From the file's materials to those that are used.
    void NumberMaterials() {
        if (m_Materials == Materials::Ignore) {
            m_Scene.materials.resize(1);
            for (ScenePrimitive& primitive : m_Scene.primitives) {
                primitive.material = 0;
            }
            return;
        }
        std::map<std::size_t, std::size_t> numbers;
        for (const ScenePrimitive& primitive : m_Scene.primitives) {
            numbers[primitive.material] = 0;
        }
        for (auto& [index, number] : numbers) {
            number = m_Scene.materials.size();
            m_Scene.materials.push_back(ReadGltfMaterial(m_File, index));
        }
        for (ScenePrimitive& primitive : m_Scene.primitives) {
            primitive.material = numbers.at(primitive.material);
        }
    }

    std::size_t ChooseAnimation(const std::string& wanted) const {
        std::string names;
        for (std::size_t i = 0; i < m_File.Count("animations"); ++i) {
            const std::string name = m_File.Element("animations", i).value("name", "");
            if (wanted.empty() || name == wanted) {
                return i;
            }
            names += (i == 0 ? "" : ", ") + std::to_string(i) + (name.empty() ? "" : " '" + name + "'");
        }
        std::size_t index = 0;
        if (!ParseNumber(wanted, index) || index >= m_File.Count("animations")) {
            m_File.Fail("no animation '" + wanted + "'; it has: " + names);
        }
        return index;
    }

    void ReadAnimation(std::size_t index) {
        const Json& animation = m_File.Element("animations", index);
        const Json& channels = animation.at("channels");
        for (std::size_t i = 0; i < channels.size(); ++i) {
            const Json& target = channels[i].at("target");
            static const std::map<std::string, AnimatedPath> s_Paths = {{"translation", AnimatedPath::Translation},
                                                                        {"rotation", AnimatedPath::Rotation},
                                                                        {"scale", AnimatedPath::Scale},
                                                                        {"weights", AnimatedPath::Weights}};
            const auto path = s_Paths.find(target.value("path", ""));
            if (!target.contains("node") || path == s_Paths.end()) {
                continue;  // Something that an extension animates.
            }
            const std::string name = "animation " + std::to_string(index) + ", channel " + std::to_string(i);
            SceneTrack track;
            track.node = NodeIndex(target["node"]);
            track.path = path->second;
            if (m_Scene.nodes[track.node].matrix && track.path != AnimatedPath::Weights) {
                m_File.Fail(name + ": node " + std::to_string(track.node) + " has a matrix and cannot be animated");
            }
            ReadSampler(animation.at("samplers").at(IndexIn(channels[i], "sampler")), name, track);
            m_Scene.duration = std::max(m_Scene.duration, track.times.back());
            m_Scene.tracks.push_back(std::move(track));
        }
    }

    void ReadSampler(const Json& sampler, const std::string& name, SceneTrack& track) const {
        const std::string interpolation = sampler.value("interpolation", "LINEAR");
        track.interpolation = interpolation == "STEP"          ? Interpolation::Step
                              : interpolation == "CUBICSPLINE" ? Interpolation::CubicSpline
                                                               : Interpolation::Linear;
        const char* const type = track.path == AnimatedPath::Weights    ? "SCALAR"
                                 : track.path == AnimatedPath::Rotation ? "VEC4"
                                                                        : "VEC3";
        track.times = m_File.Numbers(IndexIn(sampler, "input"), "SCALAR");
        track.values = m_File.Numbers(IndexIn(sampler, "output"), type);
        if (track.times.empty() || !std::is_sorted(track.times.begin(), track.times.end())) {
            m_File.Fail(name + ": its times are not ascending");
        }
        const std::size_t values = track.times.size() * (track.interpolation == Interpolation::CubicSpline ? 3 : 1);
        track.width = track.path == AnimatedPath::Weights    ? track.values.size() / values
                      : track.path == AnimatedPath::Rotation ? 4
                                                             : 3;
        if (track.width == 0 || track.values.size() != values * track.width) {
            m_File.Fail(name + ": the number of its values does not fit the number of its times");
        }
    }

    Scene m_Scene;
    const GltfFile m_File;
    const Materials m_Materials;
    Warnings* const m_pWarnings;
    SkippedNames m_Skipped;
    GltfPrimitives m_Primitives;
    std::size_t m_Vertices = 0;
};

}  // namespace

Scene ReadGltfScene(const std::string& path, const std::optional<std::string>& animation, Materials materials,
                    const SourceOptions& options) {
    try {
        const Duplicates duplicates = animation ? Duplicates::Weld : Duplicates::Keep;
        return SceneReader(path, materials, duplicates, options).Read(animation);
    } catch (const Json::exception& e) {
        throw InputError(path + ": " + e.what());
    } catch (const std::out_of_range& e) {
        throw InputError(path + ": " + e.what());
    }
}

}  // namespace Nimb::Authoring
