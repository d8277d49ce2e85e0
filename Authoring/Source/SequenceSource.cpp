// A sequence of mesh files, one for each frame.
#include "Authoring/Source/FramePictures.h"
#include "Authoring/Source/GltfScene.h"
#include "Authoring/Source/ImportedMesh.h"
#include "Authoring/Source/LoadingCache.h"
#include "Authoring/Source/ObjFile.h"
#include "Authoring/Source/Placement.h"
#include "Authoring/Source/PlyFile.h"
#include "Authoring/Source/ScenePaint.h"
#include "Authoring/Source/ScenePose.h"
#include "Authoring/Source/SourceFactories.h"
#include "Authoring/Source/Weld.h"

#include <map>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

// A frame is asked for as a mesh and again for its pictures, by a few threads.
constexpr std::size_t c_CachedFrames = 6;

/// One file, finished except for what the first frame decides.
struct FileFrame {
    std::vector<SourceMaterial> materials;
    std::vector<MaterialMesh> meshes;  ///< `material` is a place in `materials`
    std::size_t welded = 0;            ///< vertices that are gone since they are equal to others
};

FileFrame ReadScene(const std::string& path, Materials materials, const SourceOptions& options,
                    const PaintSizeOf& sizeOf) {
    Scene scene = ReadGltfScene(path, std::nullopt, materials, options);
    PaintScene(scene, path, sizeOf);
    return {scene.materials, PoseAt(scene, 0).meshes};
}

FileFrame ReadMesh(const std::string& path, Materials materials, const SourceOptions& options,
                   const PaintSizeOf& sizeOf) {
    SkippedNames skipped(options.skipMeshes);
    ImportedFile file;
    if (ExtensionOf(path) == "obj") {
        file = ReadObj(path, materials, skipped);
    } else {
        skipped.Check(path);
        file = ReadPly(path, materials);
    }
    FileFrame frame;
    for (ImportedMesh& imported : file.meshes) {
        SourceMaterial& look = file.materials[imported.material];
        if (imported.dropsColours && options.pWarnings != nullptr) {
            options.pWarnings->Add(c_DroppedColours, path);
        }
        const bool hasPicture = materials == Materials::Ignore || look.picture.has_value();
        const std::optional<PictureSize> size =
            hasPicture ? c_NotPainted : sizeOf(file.materials, imported.material, !imported.colours.empty());
        if (size == c_NotPainted) {
            frame.meshes.push_back({imported.material, Finish(imported, hasPicture)});
            continue;
        }
        if (imported.colours.empty()) {
            imported.colours.assign(imported.mesh.positions.size(), look.colour);
        }
        PaintedSurface surface = SurfaceOf(imported.mesh.faces, imported.colours);
        look.painting = std::make_shared<const Painting>(Paint({&surface}, c_White, size, path));
        frame.meshes.push_back({imported.material, FinishPainted(imported.mesh, std::move(surface))});
    }
    frame.materials = file.materials;
    return frame;
}

/// All meshes as one, for a picture that covers them all.
void MergeMeshes(FileFrame& frame) {
    for (std::size_t i = 1; i < frame.meshes.size(); ++i) {
        Append(frame.meshes.front().mesh, frame.meshes[i].mesh);
    }
    frame.meshes.resize(1);
    frame.meshes.front().material = 0;
    frame.materials.resize(1);
}

FileFrame ReadFrame(const std::string& path, const SourceOptions& options, const PaintSizeOf& sizeOf) {
    const Materials materials = options.texture.empty() ? Materials::Read : Materials::Ignore;
    const std::string extension = ExtensionOf(path);
    FileFrame frame = extension == "glb" || extension == "gltf" ? ReadScene(path, materials, options, sizeOf)
                                                                : ReadMesh(path, materials, options, sizeOf);
    if (materials == Materials::Ignore) {
        MergeMeshes(frame);
    }
    for (MaterialMesh& materialMesh : frame.meshes) {
        Place(materialMesh.mesh, options, path);
    }
    return frame;
}

const FileKinds& MeshKinds() {
    static const FileKinds s_Kinds = {{"obj"}, {"ply"}, {"glb"}, {"gltf"}};
    return s_Kinds;
}

class SequenceSource final : public MeshSource {
public:
    explicit SequenceSource(const SourceOptions& options)
        : SequenceSource(options, options.inputFiles.empty()
                                      ? FindFiles(options.input, MeshKinds(), "mesh file")
                                      : FindFiles(options.inputFiles, MeshKinds(), "mesh file")) {}

    std::size_t FrameCount() const override { return m_Range.end - m_Range.begin; }
    double FrameRate() const override { return m_Options.frameRate; }
    std::size_t MaterialCount() const override { return m_MaterialNames.size(); }
    std::string MaterialName(std::size_t material) const override { return m_MaterialNames.at(material); }
    std::string FrameName(std::size_t frame) const override { return m_Files.paths.at(m_Range.begin + frame); }

    SourceFrame Frame(std::size_t frame) const override {
        const std::shared_ptr<const FileFrame> loaded = Load(frame);
        const std::vector<std::size_t> materials = MaterialsOf(loaded->materials, frame);
        std::map<std::size_t, Mesh> meshes;
        for (const MaterialMesh& materialMesh : loaded->meshes) {
            meshes[materials[materialMesh.material]] = materialMesh.mesh;
        }
        SourceFrame result;
        result.welded = loaded->welded;
        for (auto& [material, mesh] : meshes) {
            result.meshes.push_back({material, std::move(mesh)});
        }
        return result;
    }

    std::shared_ptr<const Image> Texture(std::size_t frame, std::size_t material) const override {
        if (material >= MaterialCount()) {
            throw std::out_of_range("no such material");
        }
        if (m_Pictures.AreNamed()) {
            return m_Pictures.Get(m_Pictures.NamedFor(frame), material, FrameName(frame));
        }
        const std::shared_ptr<const FileFrame> loaded = Load(frame);
        const std::vector<std::size_t> materials = MaterialsOf(loaded->materials, frame);
        for (std::size_t i = 0; i < materials.size(); ++i) {
            if (materials[i] == material) {
                return m_Pictures.Get(loaded->materials[i], material, FrameName(frame));
            }
        }
        // A frame without this material shows nothing of it, so the first frame's picture will do.
        return Texture(0, material);
    }

    std::vector<std::string> PictureFiles(std::size_t frame) const override {
        return m_Pictures.Files(frame, Load(frame)->materials);
    }

private:
    SequenceSource(const SourceOptions& options, FileSequence files)
        : m_Options(options),
          m_Files(std::move(files)),
          m_Range(RangeOf(m_Files, options.input, options.firstFrame, options.lastFrame)),
          m_Pictures(options, m_Files.paths.size(), m_Range, NumbersInNames(m_Files, options.input)),
          m_Frames(c_CachedFrames) {
        FileFrame first = Read(0);
        for (const SourceMaterial& material : first.materials) {
            m_MaterialNames.push_back(material.name);
            m_PaintSizes.push_back(material.painting ? material.painting->size : c_NotPainted);
        }
        m_Welds.resize(m_MaterialNames.size());
        for (const MaterialMesh& materialMesh : first.meshes) {
            m_Welds[materialMesh.material] = FrameWeld(materialMesh.mesh);
        }
        m_Frames.Get(0, [&] { return Welded(std::move(first), 0); });
        m_Pictures.SetMaterialCount(m_MaterialNames.size());
        for (std::size_t material = 0; material < m_MaterialNames.size(); ++material) {
            Texture(0, material);
        }
    }

    std::shared_ptr<const FileFrame> Load(std::size_t frame) const {
        return m_Frames.Get(frame, [&] { return Welded(Read(frame), frame); });
    }

    FileFrame Read(std::size_t frame) const {
        return ReadFrame(FrameName(frame), m_Options,
                         [&](const std::vector<SourceMaterial>& materials, std::size_t material, bool hasColours) {
                             return PaintSize(materials, material, hasColours, frame);
                         });
    }

    FileFrame Welded(FileFrame loaded, std::size_t frame) const {
        const std::vector<std::size_t> materials = MaterialsOf(loaded.materials, frame);
        for (MaterialMesh& materialMesh : loaded.meshes) {
            if (m_Pictures.AreNamed() || loaded.materials[materialMesh.material].picture) {
                loaded.welded += m_Welds[materials[materialMesh.material]].Apply(materialMesh.mesh);
            }
        }
        return loaded;
    }

    /// The first frame may choose the size of a picture; later ones keep it.
    std::optional<PictureSize> PaintSize(const std::vector<SourceMaterial>& materials, std::size_t material,
                                         bool hasColours, std::size_t frame) const {
        if (frame == 0) {
            return hasColours ? std::nullopt : std::optional(c_NotPainted);
        }
        const PictureSize size = m_PaintSizes.at(MaterialsOf(materials, frame)[material]);
        if (hasColours && size == c_NotPainted) {
            throw InputError(FrameName(frame) + ": has vertex colours, unlike the first frame");
        }
        return size;
    }

    /// Which of the first frame's materials those of another frame are: by their names, or by their order when names
    /// differ but not their number, as where each file's material is named after the file.
    std::vector<std::size_t> MaterialsOf(const std::vector<SourceMaterial>& looks, std::size_t frame) const {
        std::map<std::string, std::size_t> byName;
        for (std::size_t i = 0; i < m_MaterialNames.size(); ++i) {
            byName.emplace(m_MaterialNames[i], i);
        }
        std::map<std::size_t, std::size_t> found;  // material -> place in the frame
        std::vector<std::size_t> materials;
        std::string unknown;
        for (std::size_t i = 0; i < looks.size(); ++i) {
            const auto known = byName.find(looks[i].name);
            if (known == byName.end() || !found.emplace(known->second, i).second) {
                unknown = looks[i].name;
                break;
            }
            materials.push_back(known->second);
        }
        if (materials.size() == looks.size()) {
            return materials;
        }
        if (looks.size() != m_MaterialNames.size()) {
            throw InputError(FrameName(frame) + ": the first frame has no material '" + unknown + "'");
        }
        materials.clear();
        for (std::size_t i = 0; i < m_MaterialNames.size(); ++i) {
            materials.push_back(i);
        }
        return materials;
    }

    const SourceOptions m_Options;
    const FileSequence m_Files;
    const FileRange m_Range;
    std::vector<std::string> m_MaterialNames;
    std::vector<PictureSize> m_PaintSizes;  ///< for each material, that of the first frame's painting
    std::vector<FrameWeld> m_Welds;         ///< likewise
    mutable FramePictures m_Pictures;
    mutable LoadingCache<std::size_t, FileFrame> m_Frames;
};

}  // namespace

std::unique_ptr<MeshSource> OpenSequenceSource(const SourceOptions& options) {
    return std::make_unique<SequenceSource>(options);
}

}  // namespace Nimb::Authoring
