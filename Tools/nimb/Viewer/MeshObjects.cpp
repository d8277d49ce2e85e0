#include "Tools/nimb/Viewer/MeshObjects.h"

#include "EngineStandIn/Player.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Viewer/Framebuffer.h"

#include <GLES3/gl3.h>

#include <string>
#include <utility>
#include <vector>

namespace Nimb::Tool {

void MakeMipmaps(unsigned int texture) {
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, texture);
    glGenerateMipmap(GL_TEXTURE_2D);
    CheckGl("making mipmaps");
}

TextureObject::TextureObject(std::shared_ptr<const Authoring::Image> image) : m_Image(std::move(image)) {
    GLint most = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &most);
    if (m_Image->width > static_cast<std::size_t>(most) || m_Image->height > static_cast<std::size_t>(most)) {
        throw OutputError("a texture of " + std::to_string(m_Image->width) + " x " + std::to_string(m_Image->height) +
                          " is larger than GL takes: at most " + std::to_string(most));
    }
    glGenTextures(1, &m_Name);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, m_Name);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, static_cast<GLsizei>(m_Image->width),
                 static_cast<GLsizei>(m_Image->height), 0, GL_RGBA, GL_UNSIGNED_BYTE, m_Image->rgba.data());
    CheckGl("uploading a texture");
    MakeMipmaps(m_Name);
}

TextureObject::~TextureObject() {
    glDeleteTextures(1, &m_Name);
}

MeshObjects::MeshObjects(const Authoring::Mesh& mesh) {
    std::vector<EngineStandIn::Vertex> vertices;
    vertices.reserve(mesh.positions.size());
    for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
        const Authoring::Vec3& p = mesh.positions[i];
        const Authoring::Vec3 n = mesh.normals.empty() ? Authoring::Vec3{} : mesh.normals[i];
        vertices.push_back({p.x, p.y, p.z, n.x, n.y, n.z, mesh.texCoords[i].u, mesh.texCoords[i].v});
    }
    static_assert(sizeof(TarnMeshFace) == 3 * sizeof(UINT32), "faces are their indices");
    glGenBuffers(2, m_Buffers);
    glBindBuffer(GL_ARRAY_BUFFER, m_Buffers[0]);
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(vertices.size() * sizeof(vertices[0])), vertices.data(),
                 GL_STREAM_DRAW);
    glBindBuffer(GL_ARRAY_BUFFER, m_Buffers[1]);
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(mesh.faces.size() * sizeof(mesh.faces[0])), mesh.faces.data(),
                 GL_STREAM_DRAW);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    CheckGl("uploading a mesh");
}

MeshObjects::~MeshObjects() {
    glDeleteBuffers(2, m_Buffers);
}

DrawnMesh MeshObjects::Faces(std::size_t first, std::size_t count, const TextureObject& texture) const {
    return {texture.Name(), m_Buffers[0], m_Buffers[1], first * 3, static_cast<int>(count * 3)};
}

}  // namespace Nimb::Tool
