// Encoding the subjects, and the plumbing to decode them.
#include "Bench/EncodedClip.h"

#include "Bench/Peers.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <map>
#include <stdexcept>
#include <tuple>

namespace Bench {
namespace {

using Nimb::Authoring::Mesh;
using Nimb::Authoring::Vec3;

/// Area-weighted vertex normals.
std::vector<Vec3> MakeNormals(const Mesh& mesh) {
    std::vector<Vec3> normals(mesh.positions.size(), Vec3{0, 0, 0});
    for (const TarnMeshFace& face : mesh.faces) {
        const Vec3 &a = mesh.positions[face.v[0]], &b = mesh.positions[face.v[1]], &c = mesh.positions[face.v[2]];
        const Vec3 e{b.x - a.x, b.y - a.y, b.z - a.z}, f{c.x - a.x, c.y - a.y, c.z - a.z};
        for (const UINT32 v : face.v) {
            normals[v].x += e.y * f.z - e.z * f.y;
            normals[v].y += e.z * f.x - e.x * f.z;
            normals[v].z += e.x * f.y - e.y * f.x;
        }
    }
    for (Vec3& n : normals) {
        const float length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
        n = length > 0 ? Vec3{n.x / length, n.y / length, n.z / length} : Vec3{0, 1, 0};
    }
    return normals;
}

Bytes MakeKeyFrame(const Subject& subject, IndexCoding coding, bool normals) {
    Mesh mesh = subject.frames[0];
    Nimb::Authoring::KeyFrameOptions options;
    options.indices = coding;
    options.normals = normals;
    if (normals) {
        mesh.normals = MakeNormals(mesh);
    }
    return Nimb::Authoring::FrameEncoder().KeyFrame(mesh, options).bytes;
}

EncodedClip MakeClip(const Subject& subject, DeltaCoding coding) {
    Nimb::Authoring::FrameEncoder encoder;
    Nimb::Authoring::KeyFrameOptions key;
    key.indices = IndexCoding::List2;  // keeps the vertices as they are, so that counts stay comparable
    Nimb::Authoring::DeltaFrameOptions delta;
    delta.coding = coding;
    delta.maxError = subject.maxError;
    EncodedClip clip;
    clip.wantedError = delta.maxError;
    clip.frames.push_back(encoder.KeyFrame(subject.frames[0], key).bytes);
    for (std::size_t i = 1; i < subject.frames.size(); ++i) {
        Nimb::Authoring::EncodedFrame frame = encoder.DeltaFrame(subject.frames[i], delta);
        if (frame.isKeyFrame || frame.vertexVersion != static_cast<BYTE>(coding)) {
            throw std::runtime_error(subject.name + ": frame " + std::to_string(i) + " came out as vertex version " +
                                     std::to_string(frame.vertexVersion));
        }
        clip.maxError = std::max(clip.maxError, frame.maxError);
        clip.frames.push_back(std::move(frame.bytes));
    }
    return clip;
}

}  // namespace

std::vector<std::pair<std::string, DeltaCoding>> DeltaCodings() {
    std::vector<std::pair<std::string, DeltaCoding>> codings;
    for (const Nimb::Authoring::DeltaCoder& coder : Nimb::Authoring::DeltaCoders()) {
        std::string name = coder.name;
        name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
        codings.emplace_back(std::move(name), coder.coding);
    }
    std::sort(codings.begin(), codings.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    return codings;
}

double PeerPositionError(const Mesh& mesh) {
    const Nimb::Authoring::Box box = Nimb::Authoring::BoundingBox(mesh.positions);
    const float extent = std::max({box.max.x - box.min.x, box.max.y - box.min.y, box.max.z - box.min.z});
    return static_cast<double>(extent) / ((1 << c_PeerPositionBits) - 1) / 2;
}

const Bytes& EncodeKeyFrame(const Subject& subject, IndexCoding coding, bool normals) {
    static std::map<std::tuple<const Subject*, IndexCoding, bool>, Bytes> cache;
    const auto [entry, isNew] = cache.try_emplace({&subject, coding, normals});
    if (isNew) {
        entry->second = MakeKeyFrame(subject, coding, normals);
    }
    return entry->second;
}

const EncodedClip& EncodeClip(const Subject& subject, DeltaCoding coding) {
    static std::map<std::pair<const Subject*, DeltaCoding>, EncodedClip> cache;
    const auto entry = cache.find({&subject, coding});
    return entry != cache.end() ? entry->second : cache[{&subject, coding}] = MakeClip(subject, coding);
}

std::size_t EncodedClip::MeanDeltaBytes() const {
    std::size_t bytes = 0;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        bytes += frames[i].size();
    }
    return bytes / (frames.size() - 1);
}

HRESULT MemoryStream::Read(void* pv, UINT32 cb, UINT32* pcbRead) {
    const std::size_t count = std::min<std::size_t>(cb, m_Bytes.size() - m_Position);
    if (count != 0) {
        std::memcpy(pv, m_Bytes.data() + m_Position, count);
    }
    m_Position += count;
    *pcbRead = static_cast<UINT32>(count);
    return S_OK;
}

std::unique_ptr<Nimb::CNimbMeshReader> MakeReader(UINT32 vertexFormat) {
    NIMBCORE::CComPtr<INimbBufferAllocator> allocator(new NimbCrossPlatform::BufferAllocator);
    auto reader = std::make_unique<Nimb::CNimbMeshReader>();
    reader->Initialize(allocator, vertexFormat);
    return reader;
}

std::size_t TakeSize(INimbBuffer* buffer) {
    UINT32 size = 0;
    buffer->GetSize(&size);
    buffer->Release();
    return size;
}

FrameOutput DecodeFrame(Nimb::CNimbMeshReader& reader, const Bytes& frame) {
    MemoryStream stream(frame);
    INimbBuffer *vertices = nullptr, *indices = nullptr;
    if (Failed(reader.ReadMesh(&stream, 0, &vertices, &indices))) {
        return {};
    }
    return {TakeSize(vertices), TakeSize(indices)};
}

}  // namespace Bench
