#include "Authoring/Export/MeshExport.h"

#include "Authoring/Export/MeshWriters.h"
#include "Authoring/Source/ImageFile.h"

#include <utility>

namespace Nimb::Authoring {

std::vector<std::string> ExportNames(MeshFormat format, const std::string& stem) {
    switch (format) {
        case MeshFormat::Obj:
            return {stem + ".png", stem + ".mtl", stem + ".obj"};
        case MeshFormat::Ply:
            return {stem + ".png", stem + ".ply"};
        default:
            return {stem + ".glb"};
    }
}

std::vector<ExportedFile> ExportMesh(MeshFormat format, const std::string& stem, const Mesh& mesh,
                                     const Image& texture) {
    const std::vector<std::string> names = ExportNames(format, stem);
    Bytes png = EncodePng(texture);
    switch (format) {
        case MeshFormat::Obj:
            return {{names[0], std::move(png)}, {names[1], WriteMtl(names[0])}, {names[2], WriteObj(mesh, names[1])}};
        case MeshFormat::Ply:
            return {{names[0], std::move(png)}, {names[1], WritePly(mesh, names[0])}};
        default:
            return {{names[0], WriteGlb(mesh, png)}};
    }
}

Bytes ExportShape(const Mesh& mesh) {
    return WritePly(mesh, "");
}

}  // namespace Nimb::Authoring
