#include "Authoring/Frame/DeltaCodings.h"

#include "Authoring/Codec/GolombVertices.h"
#include "Authoring/Codec/HuffmanVertices.h"
#include "Authoring/Codec/VertexStreams.h"
#include "Authoring/Frame/DeltaSection.h"

#include <algorithm>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

DeltaSection EncodeRecords(const DeltaInput& input) {
    ByteWriter records;
    WriteVertexRecords(input.ordered, input.box, input.withNormals, records);
    return {0, records.Take(), 0, std::nullopt};
}

std::size_t LeastRecordBytes(std::size_t numVertices, std::size_t) {
    return 12 * numVertices;
}

/// The size of plain deltas does not depend on their step, so they take the finest.
DeltaSection EncodePlain(const DeltaInput& input) {
    const DeltaCorrections finest = QuantiseCorrections(input.history, input.ordered.positions, 0);
    return {0, WritePlainDeltas(finest), finest.maxError, std::nullopt};
}

DeltaSection EncodeGolomb(const DeltaInput& input) {
    return {0, WriteGolombDeltas(input.Corrections()), input.Corrections().maxError, std::nullopt};
}

DeltaSection EncodeHuffman(const DeltaInput& input) {
    return {0, WriteHuffmanDeltas(input.Corrections()), input.Corrections().maxError, std::nullopt};
}

DeltaSection EncodeTransforms(const DeltaInput& input) {
    TransformDeltaOptions options;
    options.maxError = input.limit;
    TransformDeltaFrame deltas = input.transformDeltas.Encode(input.history, input.ordered.positions, options);
    DeltaSection section{0, deltas.section, deltas.maxError, std::nullopt};
    section.transforms = std::move(deltas);
    return section;
}

std::size_t LeastTransformBytes(std::size_t, std::size_t) {
    return 0;
}

}  // namespace

const std::vector<DeltaCoder>& DeltaCoders() {
    // Transforms come first: they mostly win, and then often show that no other coding needs to be tried.
    static const std::vector<DeltaCoder> coders = {
        {DeltaCoding::Transform, "transform", EncodeTransforms, LeastTransformBytes, true, true},
        {DeltaCoding::Golomb, "golomb", EncodeGolomb, LeastGolombBytes, true, false},
        {DeltaCoding::Huffman, "huffman", EncodeHuffman, LeastHuffmanBytes, true, false},
        {DeltaCoding::Plain, "plain", EncodePlain, LeastPlainBytes, true, false},
        {DeltaCoding::Quantised, "quantised", EncodeRecords, LeastRecordBytes, false, false},
    };
    return coders;
}

const DeltaCoder& CoderOf(DeltaCoding coding) {
    const std::vector<DeltaCoder>& coders = DeltaCoders();
    const auto found =
        std::find_if(coders.begin(), coders.end(), [&](const DeltaCoder& coder) { return coder.coding == coding; });
    if (found == coders.end()) {
        throw std::logic_error("a coding of delta frames has no encoder");
    }
    return *found;
}

}  // namespace Nimb::Authoring
