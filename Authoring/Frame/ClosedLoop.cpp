#include "Authoring/Frame/ClosedLoop.h"

#include "NimbCore/Codings.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

constexpr UINT32 c_FloatOutput = NTarnOutputFormat::c_Float;  // records of positions and texture coordinates

/// Reads a section that outlives it. Lives on the stack, so counting references is a formality.
class SectionStream final : public IStream {
public:
    explicit SectionStream(const Bytes& bytes) : m_Bytes(bytes) {}

    HRESULT QueryInterface(const _GUID&, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT Read(void* pv, UINT32 cb, UINT32* pcbRead) override {
        const std::size_t count = std::min<std::size_t>(cb, m_Bytes.size() - m_Position);
        if (count > 0) {
            std::memcpy(pv, m_Bytes.data() + m_Position, count);
        }
        m_Position += count;
        *pcbRead = static_cast<UINT32>(count);
        return S_OK;
    }

private:
    const Bytes& m_Bytes;
    std::size_t m_Position = 0;
};

}  // namespace

double DecodeAndMeasure(const Bytes& section, CStreamingMeshHeader header, const std::vector<Vec3>& targets,
                        Nimb::CNimbMeshReaderCtx& ctx) {
    const VertexCoding* const coding = FindVertexCoding(header.m_Version.v.m_VertexVersion);
    if (coding == nullptr) {
        throw std::logic_error("no decoder reads what the encoder wrote");
    }
    Nimb::CNimbMeshReader reader;
    reader.Initialize(NIMBCORE::CComPtr<INimbBufferAllocator>(new NimbCrossPlatform::BufferAllocator), c_FloatOutput);
    SectionStream stream(section);
    NIMBCORE::CComPtr<INimbBuffer> buffer;
    header.m_numVertices = static_cast<UINT32>(targets.size());
    const HRESULT hr = (reader.*coding->decode)(&ctx, &stream, &header, &buffer);
    if (Failed(hr)) {
        throw std::logic_error("the decoder refuses what the encoder wrote");
    }

    NimbLockedMemory memory{};
    buffer->LockBuffer(&memory);
    const UINT32 stride = Nimb::CNimbMeshReader::VertexStride(c_FloatOutput);
    double largest = 0;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        float p[3];
        std::memcpy(p, memory.pData + i * stride, sizeof(p));
        const double dx = static_cast<double>(p[0]) - targets[i].x;
        const double dy = static_cast<double>(p[1]) - targets[i].y;
        const double dz = static_cast<double>(p[2]) - targets[i].z;
        largest = std::max(largest, std::sqrt(dx * dx + dy * dy + dz * dz));
    }
    buffer->UnlockBuffer();
    return largest;
}

}  // namespace Nimb::Authoring
