// The mesh of any frame, in any order.
#pragma once

#include "Nimb/NimbRefCount.h"
#include "NimbClip/Mp4Index.h"
#include "NimbClip/SampleMesh.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"
#include "NimbCore/NimbMeshReader.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace Nimb {
namespace Clip {

/// Refuses arrays beyond a limit.
class LimitedAllocator final : public INimbBufferAllocator, public CNimbRefCount {
public:
    HRESULT QueryInterface(const _GUID&, void** ppv) override {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return CNimbRefCount::AddRef(); }
    ULONG Release() override { return CNimbRefCount::Release(); }

    HRESULT AllocateBuffer(UINT32 size, UINT32, UINT32, INimbBuffer** ppBuffer) override {
        *ppBuffer = nullptr;
        if (size > limit) {
            return E_UNEXPECTED;
        }
        *ppBuffer = NIMBCORE::CComPtr<INimbBuffer>(new NimbCrossPlatform::Buffer(size)).Detach();
        return S_OK;
    }
    HRESULT ReleaseBuffer(INimbBuffer* pBuffer) override {
        pBuffer->Release();
        return S_OK;
    }

    std::size_t limit = c_MaxBufferBytes;
};

/// A frame decodes from the frames before it, back to one that needs none. So a reader goes forward from wherever it
/// is, and on the way its state is kept now and then, for steps back.
class MeshAccess {
public:
    /// Both must outlive it.
    MeshAccess(const ByteSource& source, const Track& video);

    /// Throws ClipFault (NO_MESH, DAMAGED, or what reading throws) and std::bad_alloc, and can be called again after
    /// either. The mesh's arrays live until the next call.
    nimb_clip_mesh Decode(std::uint32_t frame, nimb_clip_layout layout);

    /// Whether the frame's mesh needs no other. Reads and may decode it, once.
    bool IsKey(std::uint32_t frame);

    /// The frame's mesh as it is stored, until the next call. Throws what reading throws; a sample that the file does
    /// not hold to its end has no mesh.
    const SampleMesh& Find(std::uint32_t frame);

    /// From here on, frames that build on a damaged one are decoded all the same, as players do, whatever comes of it.
    void GoOnBehindDamage() { m_GoesOn = true; }

    // Of the last Decode.
    std::uint64_t MissingBytes() const { return m_Missing; }  ///< by which the frame ended too early; zeros were taken
    std::size_t UnusedBytes() const { return m_Unused; }      ///< left over after the frame's end
    const std::string& Damage() const { return m_Damage; }    ///< after DAMAGED: in the core's words where it has some

    void SetCache(std::size_t bytes);
    void SetLimit(std::size_t bytes);

private:
    enum class Kind : BYTE { Unknown, Key, Delta, NoMesh };

    struct Buffers {
        NIMBCORE::CComPtr<INimbBuffer> vertices;
        NIMBCORE::CComPtr<INimbBuffer> indices;
    };

    void LoadFrame(std::uint32_t frame);
    Kind KindOf(std::uint32_t frame);
    std::uint32_t FindStart(std::uint32_t frame);
    Buffers DecodeAt(std::uint32_t frame, nimb_clip_layout layout);
    void GoTo(std::uint32_t frame);
    void Pass(std::uint32_t frame, UINT32 layout, Buffers* pBuffers);
    void NoteDamage(std::uint32_t frame, const char* text);
    void NoteFailure(std::uint32_t frame, const CStreamingMeshHeader& header, const char* text);
    void Keep(std::uint32_t frame);
    void ShrinkCache(std::uint32_t frame);

    const ByteSource& m_Source;
    const Track& m_Video;
    NIMBCORE::CComPtr<LimitedAllocator> m_Allocator;
    std::vector<Kind> m_Kinds;

    std::unique_ptr<CNimbMeshReader> m_Reader;  // null: nothing is decoded
    std::uint32_t m_Next = 0;                   // the frame that the reader expects
    bool m_GoesOn = false;                      // see GoOnBehindDamage
    std::int64_t m_DamagedAt = -1;              // what the reader has is damaged from this frame on
    std::string m_Damage;
    std::set<UINT32> m_SeenIds;     // sub-meshes with a key frame since the reader began
    bool m_HasSwept = false;        // a temporal frame has made the reader forget everything else
    bool m_BeganInside = false;     // the reader did not begin with the clip's first frame
    bool m_MustBeginFirst = false;  // frames of this clip build on others than those since the last key frame

    Bytes m_Sample;        // of the frame loaded last
    SampleMesh m_Mesh;     // likewise
    bool m_IsCut = false;  // likewise: the file ends before its sample does
    std::int64_t m_Loaded = -1;

    std::uint64_t m_Missing = 0;
    std::size_t m_Unused = 0;

    struct State {
        std::unique_ptr<const CNimbMeshReader::State> reader;
        std::set<UINT32> seenIds;
        bool hasSwept, beganInside;
    };
    std::map<std::uint32_t, State> m_States;  // by the frame that was decoded last
    std::size_t m_StateBytes = 0;
    std::size_t m_CacheBytes = std::size_t(64) << 20;

    Buffers m_Shown;
    nimb_clip_mesh m_ShownMesh = {};
    int m_ShownLayout = 0;  // 0: nothing is shown
};

}  // namespace Clip
}  // namespace Nimb
