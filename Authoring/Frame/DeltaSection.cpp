#include "Authoring/Frame/DeltaSection.h"

#include "Authoring/Codec/GolombVertices.h"
#include "Authoring/Codec/HuffmanVertices.h"
#include "Authoring/Codec/VertexStreams.h"

#include <algorithm>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

namespace VertexVersion = NTarnStudioVertexVersion;

DeltaSection EncodeRecords(const Mesh& ordered, const Box& box, bool withNormals) {
    ByteWriter records;
    WriteVertexRecords(ordered, box, withNormals, records);
    return {VertexVersion::c_UnwrappedXYZUV, records.Take(), 0, std::nullopt};
}

/// The size of plain deltas does not depend on their step, so they take the finest.
DeltaSection EncodePlain(const DeltaHistory& history, const Mesh& ordered) {
    const DeltaCorrections finest = QuantiseCorrections(history, ordered.positions, 0);
    return {VertexVersion::c_CompressedDeltas, WritePlainDeltas(finest), finest.maxError, std::nullopt};
}

DeltaSection EncodeGolomb(const DeltaCorrections& corrections) {
    return {VertexVersion::c_GolombDeltas, WriteGolombDeltas(corrections), corrections.maxError, std::nullopt};
}

DeltaSection EncodeHuffman(const DeltaCorrections& corrections) {
    return {VertexVersion::c_HuffmanDeltas, WriteHuffmanDeltas(corrections), corrections.maxError, std::nullopt};
}

DeltaSection EncodeTransforms(const DeltaHistory& history, TransformDeltaEncoder& encoder, const Mesh& ordered,
                              double maxError) {
    TransformDeltaOptions options;
    options.maxError = maxError;
    TransformDeltas deltas = encoder.Encode(history, ordered.positions, options);
    DeltaSection section{VertexVersion::c_TransformDeltas, deltas.section, deltas.maxError, std::nullopt};
    section.transforms = std::move(deltas);
    return section;
}

/// What the codings of three bytes a vertex come to at least: plain ones have all of them, Golomb codes two bits for
/// each, Huffman codes three tables and, on axes where bytes differ, a bit for each.
std::size_t LeastCorrectionBytes(const DeltaHistory& history, const Mesh& ordered, double maxError) {
    const std::size_t count = ordered.positions.size();
    const std::size_t wordsOfBits = (count + 31) / 32;
    const std::size_t varying = CountVaryingAxes(history, ordered.positions, maxError);
    const std::size_t golomb = c_GolombPrologueBytes + 3 * 4 * ((2 * count + 31) / 32);
    const std::size_t huffman = c_HuffmanPrologueBytes + varying * 4 * wordsOfBits;
    return std::min({c_PlainPrologueBytes + 3 * count, golomb, huffman});
}

std::vector<DeltaSection> EncodeAll(const DeltaHistory& history, TransformDeltaEncoder& encoder, const Mesh& ordered,
                                    double maxError) {
    std::vector<DeltaSection> sections;
    std::optional<DeltaCorrections> corrections;
    if (maxError <= 0) {
        corrections = QuantiseCorrections(history, ordered.positions, maxError);
    }
    // Without a limit, transform deltas are to be as good as the others.
    const double limit = maxError > 0 ? maxError : corrections->maxError;
    if (limit > 0 && !ordered.positions.empty()) {
        try {
            sections.push_back(EncodeTransforms(history, encoder, ordered, limit));
            if (sections[0].maxError <= limit &&
                sections[0].bytes.size() <= LeastCorrectionBytes(history, ordered, maxError)) {
                return sections;
            }
        } catch (const std::range_error&) {
            // The motion is too large for them.
        }
    }
    if (!corrections) {
        corrections = QuantiseCorrections(history, ordered.positions, maxError);
    }
    sections.push_back(EncodeGolomb(*corrections));
    sections.push_back(EncodeHuffman(*corrections));
    sections.push_back(EncodePlain(history, ordered));
    return sections;
}

DeltaSection PickSmallest(const std::vector<DeltaSection>& sections, double maxError) {
    const auto excess = [&](const DeltaSection& s) {
        return maxError > 0 ? std::max(s.maxError - maxError, 0.0) : 0.0;
    };
    return *std::min_element(sections.begin(), sections.end(), [&](const DeltaSection& a, const DeltaSection& b) {
        return excess(a) != excess(b) ? excess(a) < excess(b) : a.bytes.size() < b.bytes.size();
    });
}

}  // namespace

DeltaSection ChooseDeltaSection(const Nimb::CNimbMeshReaderCtx& ctx, TransformDeltaEncoder& transformDeltas,
                                const Mesh& ordered, const Box& box, const DeltaFrameOptions& options) {
    const DeltaHistory history = HistoryOf(ctx);
    switch (options.coding) {
        case DeltaCoding::Quantised:
            return EncodeRecords(ordered, box, options.normals);
        case DeltaCoding::Plain:
            return EncodePlain(history, ordered);
        case DeltaCoding::Golomb:
            return EncodeGolomb(QuantiseCorrections(history, ordered.positions, options.maxError));
        case DeltaCoding::Transform:
            return EncodeTransforms(history, transformDeltas, ordered, options.maxError);
        case DeltaCoding::Huffman:
            return EncodeHuffman(QuantiseCorrections(history, ordered.positions, options.maxError));
        case DeltaCoding::Smallest:
            break;
    }
    return PickSmallest(EncodeAll(history, transformDeltas, ordered, options.maxError), options.maxError);
}

}  // namespace Nimb::Authoring
