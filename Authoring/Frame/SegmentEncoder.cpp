// A choice made frame by frame decides what later frames are predicted from, and which vertices there are to code, so
// the smallest frames need not lead to the smallest segment. Hence trials: the segment is also encoded with each fixed
// choice, until it is clear that it comes out larger. Mostly that is clear before the first frame.
#include "Authoring/Frame/SegmentEncoder.h"

#include "NimbCore/NimbMeshReader.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

namespace VertexVersion = NTarnStudioVertexVersion;

/// Delta frames of transforms that have the same vertices in another order are no smaller than this share. (Parts that
/// are runs in one order are scattered in the other, but parts are few bytes next to corrections.)
constexpr double c_LeastShareInOtherOrder = 0.75;

/// What a frame has at least that is a delta frame in this coding, or else a key frame, which has a record for each
/// vertex.
std::size_t LeastBytes(const DeltaCoder& coder, std::size_t numVertices) {
    return std::min(coder.leastBytes(numVertices, 0), 12 * numVertices);
}

/// Whether the coding makes use of frames that it is shown in advance.
bool LooksAhead(DeltaCoding coding) {
    return coding == DeltaCoding::Smallest || CoderOf(coding).fitsMotions;
}

/// What each frame will have at least, so that a trial can be given up early.
using Expectation = std::vector<double>;

class SegmentTrials {
public:
    explicit SegmentTrials(const std::vector<Moment>& moments);

    // Each also tries all delta codings, if the choice is open.
    void TryEdgeBreaker(CodingOptions options);  ///< or another coding that the options fix
    void TryInOrder(CodingOptions options);      ///< codings that keep the order of the vertices

    std::vector<EncodedFrame> TakeBest() { return std::move(m_Best); }

private:
    std::vector<EncodedFrame> Try(const CodingOptions& options, const Expectation& expected);
    void TryFixedCodings(CodingOptions options, double keyBytes, const std::vector<std::size_t>& numVertices,
                         bool withTransforms);
    EncodedFrame Next(FrameEncoder& encoder, std::size_t moment, const CodingOptions& options) const;
    void LookAhead(FrameEncoder& encoder, std::size_t moment, const CodingOptions& options) const;
    std::vector<std::size_t> VerticesInOrder() const;
    double LeastKeyBytesInOrder(std::size_t moment) const;

    const std::vector<Moment>& m_Moments;
    bool m_Plain = true;  // no temporal frames
    std::vector<EncodedFrame> m_Best;
};

bool IsOpen(const CodingOptions& options) {
    return !options.delta || *options.delta == DeltaCoding::Smallest;
}

Mesh MeshOf(const SubMesh& sub) {
    return sub.pose == nullptr ? *sub.mesh
                               : Mesh{sub.pose->positions, sub.mesh->texCoords, sub.pose->normals, sub.mesh->faces};
}

double TotalBytes(const std::vector<EncodedFrame>& frames) {
    double bytes = 0;
    for (const EncodedFrame& frame : frames) {
        bytes += static_cast<double>(frame.bytes.size());
    }
    return bytes;
}

SegmentTrials::SegmentTrials(const std::vector<Moment>& moments) : m_Moments(moments) {
    for (const Moment& moment : moments) {
        m_Plain = m_Plain && moment.size() == 1 && !moment.front().textureTransform;
        for (const SubMesh& sub : moment) {
            if (sub.mesh == nullptr) {
                throw std::invalid_argument("a sub-mesh has no mesh");
            }
        }
    }
}

EncodedFrame SegmentTrials::Next(FrameEncoder& encoder, std::size_t moment, const CodingOptions& options) const {
    Moment subMeshes = m_Moments[moment];
    std::vector<std::unique_ptr<const Mesh>> posed;
    for (SubMesh& sub : subMeshes) {
        if (sub.pose != nullptr) {
            posed.push_back(std::make_unique<const Mesh>(MeshOf(sub)));
            sub.mesh = posed.back().get();
        }
    }
    if (!m_Plain) {
        return encoder.NextTemporalFrame(subMeshes, options);
    }
    CodingOptions next = options;
    if (subMeshes.front().newTopology) {
        next.keyFrameInterval = 1;
    }
    return encoder.NextFrame(*subMeshes.front().mesh, next);
}

/// Shows the encoder how sub-meshes go on that have just begun.
void SegmentTrials::LookAhead(FrameEncoder& encoder, std::size_t moment, const CodingOptions& options) const {
    for (const SubMesh& begun : m_Moments[moment]) {
        for (std::size_t later = moment; later < m_Moments.size() && (moment == 0 || begun.newTopology); ++later) {
            for (const SubMesh& sub : m_Moments[later]) {
                if (sub.id == begun.id && (later == moment || !sub.newTopology)) {
                    encoder.LookAhead(MeshOf(sub), m_Plain ? options.frame.subMeshId.value_or(0) : sub.id);
                }
            }
        }
    }
}

/// Encodes the segment and keeps it if it is the smallest so far. Gives up, with the frames that it has got so far,
/// when the expectation of the others says that it will not be.
std::vector<EncodedFrame> SegmentTrials::Try(const CodingOptions& options, const Expectation& expected) {
    const DeltaCoding coding = options.delta.value_or(DeltaCoding::Smallest);
    const double limit = TotalBytes(m_Best);
    double bytes = 0;
    for (const double frame : expected) {
        bytes += frame;
    }
    FrameEncoder encoder;
    std::vector<EncodedFrame> frames;
    for (std::size_t i = 0; i < m_Moments.size(); ++i) {
        if (!m_Best.empty() && bytes >= limit) {
            return frames;
        }
        frames.push_back(Next(encoder, i, options));
        bytes += static_cast<double>(frames.back().bytes.size()) - (i < expected.size() ? expected[i] : 0.0);
        if (LooksAhead(coding)) {
            LookAhead(encoder, i, options);
        }
    }
    if (m_Best.empty() || bytes < limit) {
        m_Best = frames;
    }
    return frames;
}

/// Vertices that the frames have when key frames keep the order of the meshes.
std::vector<std::size_t> SegmentTrials::VerticesInOrder() const {
    std::vector<std::size_t> counts;
    for (const Moment& moment : m_Moments) {
        counts.push_back(0);
        for (const SubMesh& sub : moment) {
            counts.back() += sub.mesh->positions.size();
        }
    }
    return counts;
}

/// What that makes of a key frame at least: records, and of strips two bytes for a triangle.
double SegmentTrials::LeastKeyBytesInOrder(std::size_t moment) const {
    std::size_t bytes = 0;
    for (const SubMesh& sub : m_Moments[moment]) {
        bytes += 12 * sub.mesh->positions.size() + 2 * sub.mesh->faces.size();
    }
    return static_cast<double>(bytes);
}

void SegmentTrials::TryFixedCodings(CodingOptions options, double keyBytes, const std::vector<std::size_t>& numVertices,
                                    bool withTransforms) {
    // The quick ones first: the smallest of them may show that the others need no trial.
    std::vector<DeltaCoder> coders = DeltaCoders();
    std::stable_partition(coders.begin(), coders.end(), [](const DeltaCoder& coder) { return !coder.fitsMotions; });
    for (const DeltaCoder& coder : coders) {
        if (coder.fitsMotions && (!withTransforms || options.maxError <= 0)) {
            continue;
        }
        Expectation expected;
        for (const std::size_t count : numVertices) {
            expected.push_back(expected.empty() ? keyBytes : static_cast<double>(LeastBytes(coder, count)));
        }
        options.delta = coder.coding;
        Try(options, expected);
    }
}

void SegmentTrials::TryEdgeBreaker(CodingOptions options) {
    const std::vector<EncodedFrame> frames = Try(options, {});
    if (frames.empty() || !IsOpen(options)) {
        return;
    }
    std::vector<std::size_t> numVertices;
    bool alwaysTransforms = true;  // then a trial with nothing else would make the same frames again
    for (const EncodedFrame& frame : frames) {
        numVertices.push_back(frame.numVertices);
        alwaysTransforms =
            alwaysTransforms &&
            (frame.isKeyFrame || (frame.oneDeltaVersion && frame.vertexVersion == VertexVersion::c_TransformDeltas));
    }
    TryFixedCodings(options, static_cast<double>(frames.front().bytes.size()), numVertices, !alwaysTransforms);
}

void SegmentTrials::TryInOrder(CodingOptions options) {
    const std::vector<std::size_t> numVertices = VerticesInOrder();
    Expectation expected;
    for (std::size_t i = 0; i < m_Best.size(); ++i) {
        const double fewer = static_cast<double>(numVertices[i]) / std::max(m_Best[i].numVertices, 1u);
        const double delta =
            c_LeastShareInOtherOrder * std::min(fewer, 1.0) * static_cast<double>(m_Best[i].bytes.size());
        expected.push_back(m_Best[i].isKeyFrame ? LeastKeyBytesInOrder(i) : delta);
    }
    const std::vector<EncodedFrame> frames = Try(options, expected);
    if (!numVertices.empty() && IsOpen(options)) {
        TryFixedCodings(options, LeastKeyBytesInOrder(0), numVertices, frames.size() == m_Moments.size());
    }
}

}  // namespace

std::vector<EncodedFrame> EncodeSegment(const std::vector<Moment>& moments, const CodingOptions& options) {
    SegmentTrials trials(moments);
    CodingOptions trial = options;
    if (options.indices) {
        trials.TryEdgeBreaker(trial);
    } else {
        if (!options.keepVertexOrder) {
            trial.indices = IndexCoding::EdgeBreaker;
            trials.TryEdgeBreaker(trial);
        }
        trial.indices.reset();
        trial.keepVertexOrder = true;
        trials.TryInOrder(trial);
    }
    return trials.TakeBest();
}

}  // namespace Nimb::Authoring
