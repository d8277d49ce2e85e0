// Frames in every coding of this project, encoded once for the whole run and decoded many times.
#pragma once

#include "Authoring/Frame/FrameEncoder.h"
#include "Bench/Subject.h"
#include "NimbCore/NimbMeshReader.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Bench {

using Nimb::Authoring::Bytes;
using Nimb::Authoring::DeltaCoding;
using Nimb::Authoring::IndexCoding;

constexpr std::pair<const char*, IndexCoding> c_IndexCodings[] = {{"List1", IndexCoding::List1},
                                                                  {"List2", IndexCoding::List2},
                                                                  {"EdgeBreaker", IndexCoding::EdgeBreaker},
                                                                  {"Strips1", IndexCoding::Strips1},
                                                                  {"Strips2", IndexCoding::Strips2}};

/// All that there are, by version; named as on command lines, with a capital.
std::vector<std::pair<std::string, DeltaCoding>> DeltaCodings();

/// Names of output layouts, and the reader's vertex format for each.
constexpr std::pair<const char*, UINT32> c_Layouts[] = {
    {"int16", 5}, {"int16-normals", 7}, {"float", 13}, {"float-normals", 15}};

/// The largest error that rounding to the peers' grid makes on one axis.
double PeerPositionError(const Nimb::Authoring::Mesh& mesh);

/// One key frame of the clip's first mesh. With `normals`, records carry normals.
const Bytes& EncodeKeyFrame(const Subject& subject, IndexCoding coding, bool normals);

struct EncodedClip {
    std::vector<Bytes> frames;  ///< the key frame of the clip's first mesh, then delta frames
    double maxError = 0;        ///< largest distance of a decoded position of a delta frame from its target
    double wantedError = 0;     ///< the largest distance that the encoder was asked for
    std::size_t MeanDeltaBytes() const;
};

/// The clip in one coding. Positions are to be as exact as Draco's; `maxError` tells what came of it. Throws
/// std::runtime_error when a frame is not in the coding asked for.
const EncodedClip& EncodeClip(const Subject& subject, DeltaCoding coding);

/// A stream over bytes that outlive it, which can be read again and again. Lives on the stack: counting is a formality.
class MemoryStream final : public IStream {
public:
    explicit MemoryStream(const Bytes& bytes) : m_Bytes(bytes) {}

    HRESULT QueryInterface(const _GUID&, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT Read(void* pv, UINT32 cb, UINT32* pcbRead) override;

    std::size_t Position() const { return m_Position; }
    void Seek(std::size_t position) { m_Position = position; }

private:
    const Bytes& m_Bytes;
    std::size_t m_Position = 0;
};

/// A reader for the given output, with the allocator that the player uses.
std::unique_ptr<Nimb::CNimbMeshReader> MakeReader(UINT32 vertexFormat);

/// Size of a buffer that a decoder handed out; releases it.
std::size_t TakeSize(INimbBuffer* buffer);

/// Sizes of what a frame decoded to; both 0 when it was refused.
struct FrameOutput {
    std::size_t vertexBytes = 0;
    std::size_t indexBytes = 0;
};

/// Decodes one frame and drops what came out.
FrameOutput DecodeFrame(Nimb::CNimbMeshReader& reader, const Bytes& frame);

}  // namespace Bench
