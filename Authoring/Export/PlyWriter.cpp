// Binary little-endian PLY with texture coordinates at the vertices, as s and t.
#include "Authoring/Export/MeshWriters.h"

namespace Nimb::Authoring {
namespace {

std::string Header(const Mesh& mesh, const std::string& textureFile) {
    std::string text = "ply\nformat binary_little_endian 1.0\n";
    if (!textureFile.empty()) {
        text += "comment TextureFile " + textureFile + "\n";
    }
    text += "element vertex " + std::to_string(mesh.positions.size()) +
            "\nproperty float x\nproperty float y\nproperty float z\n";
    if (!mesh.normals.empty()) {
        text += "property float nx\nproperty float ny\nproperty float nz\n";
    }
    if (!textureFile.empty()) {
        text += "property float s\nproperty float t\n";
    }
    return text + "element face " + std::to_string(mesh.faces.size()) +
           "\nproperty list uchar uint vertex_indices\nend_header\n";
}

void WriteVec3(ByteWriter& out, const Vec3& v) {
    out.F32(v.x);
    out.F32(v.y);
    out.F32(v.z);
}

}  // namespace

Bytes WritePly(const Mesh& mesh, const std::string& textureFile) {
    const std::string header = Header(mesh, textureFile);
    ByteWriter out;
    out.Append(Bytes(header.begin(), header.end()));
    for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
        WriteVec3(out, mesh.positions[i]);
        if (!mesh.normals.empty()) {
            WriteVec3(out, mesh.normals[i]);
        }
        if (!textureFile.empty()) {
            out.F32(mesh.texCoords[i].u);
            out.F32(1 - mesh.texCoords[i].v);
        }
    }
    for (const TarnMeshFace& face : mesh.faces) {
        out.U8(3);
        for (const UINT32 index : face.v) {
            out.U32(index);
        }
    }
    return out.Take();
}

}  // namespace Nimb::Authoring
