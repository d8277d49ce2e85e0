#include "Clip/Read/ClipMeshes.h"

#include "Clip/Read/ClipReader.h"
#include "NimbClip/ClipFault.h"
#include "NimbClip/MeshAccess.h"

#include <fstream>
#include <optional>

namespace Nimb::Authoring {

using Nimb::Clip::ClipFault;

static_assert(sizeof(DecodedVertex) == 32, "the layout of the library's output");

namespace {

/// What the library throws becomes an InputError that names the file.
template <class Operation>
decltype(auto) NamingFile(const std::string& path, Operation&& operation) {
    try {
        return operation();
    } catch (const ClipFault& fault) {
        throw InputError(path + ": " + fault.text);
    }
}

bool IsPlayed(const ClipSample& sample) {
    return sample.damage.empty() && !sample.isCut;
}

}  // namespace

void FindMesh(const ClipSample& sample, Nimb::Clip::SampleMesh& mesh) {
    Nimb::Clip::FindMesh(sample.bytes, sample.lengthBytes, mesh);
    mesh.isFound = mesh.isFound && IsPlayed(sample);
}

/// The library's classes, on a file of ours.
class ClipMeshes::Library {
public:
    Library(const std::string& path, UINT64 size)
        : m_Path(path),
          m_File(path, std::ios::binary),
          m_Source(nimb_clip_source{&Read, &m_File, size}),
          m_Index(NamingFile(m_Path, [&] { return Nimb::Clip::ReadMp4Index(m_Source); })),
          m_Access(m_Source, m_Index.video) {
        m_Access.SetCache(0);  // frames are asked for in order
        m_Access.GoOnBehindDamage();
    }

    bool HasFrame(std::size_t frame) const { return frame < m_Index.video.samples.size(); }

    const Nimb::Clip::SampleMesh& Find(std::size_t frame) {
        return NamingFile(m_Path,
                          [&]() -> const Nimb::Clip::SampleMesh& { return m_Access.Find(static_cast<UINT32>(frame)); });
    }

    void Prepare(std::size_t frame) {
        NamingFile(m_Path, [&] { m_Access.IsKey(static_cast<UINT32>(frame)); });
    }

    DecodedMesh Decode(std::size_t frame) {
        return NamingFile(m_Path, [&] {
            DecodedMesh mesh;
            try {
                const nimb_clip_mesh decoded = m_Access.Decode(static_cast<UINT32>(frame), NIMB_CLIP_FLOAT_NORMALS);
                mesh.vertices = static_cast<const DecodedVertex*>(decoded.vertices);
                mesh.vertexCount = decoded.vertex_count;
                mesh.indices = decoded.indices;
                mesh.indexCount = decoded.index_count;
            } catch (const ClipFault& fault) {
                if (fault.status != NIMB_CLIP_NO_MESH && fault.status != NIMB_CLIP_DAMAGED) {
                    throw;
                }
                mesh.error = fault.status == NIMB_CLIP_DAMAGED ? m_Access.Damage() : fault.text;
            }
            mesh.missingBytes = m_Access.MissingBytes();
            mesh.unusedBytes = m_Access.UnusedBytes();
            return mesh;
        });
    }

private:
    static std::int64_t Read(void* user, std::uint64_t offset, void* to, std::size_t size) {
        auto& file = *static_cast<std::ifstream*>(user);
        file.clear();
        file.seekg(static_cast<std::streamoff>(offset));
        file.read(static_cast<char*>(to), static_cast<std::streamsize>(size));
        return file.bad() ? -1 : file.gcount();
    }

    const std::string m_Path;
    std::ifstream m_File;
    const Nimb::Clip::ByteSource m_Source;
    const Nimb::Clip::Mp4Index m_Index;
    Nimb::Clip::MeshAccess m_Access;
};

ClipMeshes::ClipMeshes(const ClipReader& reader) {
    const std::optional<std::size_t> video = reader.VideoTrack();
    if (video && reader.Tracks()[*video].codec == "h264") {
        m_Library = std::make_unique<Library>(reader.Path(), reader.Boxes().fileSize);
    }
}

ClipMeshes::~ClipMeshes() = default;

const Nimb::Clip::SampleMesh& ClipMeshes::Find(const ClipSample& sample) {
    if (m_Library != nullptr && m_Library->HasFrame(sample.number) && IsPlayed(sample)) {
        return m_Library->Find(sample.number);
    }
    FindMesh(sample, m_Lost);
    return m_Lost;
}

void ClipMeshes::Prepare(std::size_t frame) {
    if (m_Library != nullptr && m_Library->HasFrame(frame)) {
        m_Library->Prepare(frame);
    }
}

DecodedMesh ClipMeshes::Decode(std::size_t frame) {
    if (m_Library != nullptr && m_Library->HasFrame(frame)) {
        return m_Library->Decode(frame);
    }
    DecodedMesh none;
    none.error = "the sample has no mesh";
    return none;
}

}  // namespace Nimb::Authoring
