// Wavefront OBJ and its material file. Numbers have as many digits as it takes to read the same float again.
#include "Authoring/Export/MeshWriters.h"

#include <charconv>

namespace Nimb::Authoring {
namespace {

class TextWriter {
public:
    TextWriter& Text(const std::string& text) {
        m_Text += text;
        return *this;
    }

    template <class T>
    TextWriter& Number(T value) {
        char digits[32];
        const auto end = std::to_chars(digits, digits + sizeof(digits), value).ptr;
        m_Text.append(digits, end);
        return *this;
    }

    Bytes Take() const { return Bytes(m_Text.begin(), m_Text.end()); }

private:
    std::string m_Text;
};

void WriteVec3(TextWriter& out, const char* what, const Vec3& v) {
    out.Text(what).Number(v.x).Text(" ").Number(v.y).Text(" ").Number(v.z).Text("\n");
}

}  // namespace

Bytes WriteObj(const Mesh& mesh, const std::string& materialFile) {
    TextWriter out;
    out.Text("mtllib " + materialFile + "\nusemtl texture\n");
    for (const Vec3& p : mesh.positions) {
        WriteVec3(out, "v ", p);
    }
    for (const Vec2& t : mesh.texCoords) {
        out.Text("vt ").Number(t.u).Text(" ").Number(1 - t.v).Text("\n");
    }
    for (const Vec3& n : mesh.normals) {
        WriteVec3(out, "vn ", n);
    }
    const bool hasNormals = !mesh.normals.empty();
    for (const TarnMeshFace& face : mesh.faces) {
        out.Text("f");
        for (const UINT32 index : face.v) {
            const auto number = UINT64{index} + 1;
            out.Text(" ").Number(number).Text("/").Number(number);
            if (hasNormals) {
                out.Text("/").Number(number);
            }
        }
        out.Text("\n");
    }
    return out.Take();
}

Bytes WriteMtl(const std::string& textureFile) {
    return TextWriter()
        .Text("newmtl texture\nKa 0 0 0\nKd 1 1 1\nKs 0 0 0\nillum 1\nmap_Kd " + textureFile + "\n")
        .Take();
}

}  // namespace Nimb::Authoring
