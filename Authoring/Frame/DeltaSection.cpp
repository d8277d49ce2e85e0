#include "Authoring/Frame/DeltaSection.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Nimb::Authoring {
namespace {

DeltaSection Encode(const DeltaCoder& coder, const DeltaInput& input) {
    DeltaSection section = coder.encode(input);
    section.vertexVersion = static_cast<BYTE>(coder.coding);
    return section;
}

/// How far a section misses the limit.
double Excess(const DeltaSection& section, const DeltaInput& input) {
    return input.maxError > 0 ? std::max(section.maxError - input.maxError, 0.0) : 0.0;
}

bool IsBetter(const DeltaSection& a, const DeltaSection& b, const DeltaInput& input) {
    const double excessA = Excess(a, input), excessB = Excess(b, input);
    return excessA != excessB ? excessA < excessB : a.bytes.size() < b.bytes.size();
}

DeltaSection SmallestSection(DeltaInput& input) {
    if (input.maxError <= 0) {
        input.limit = input.Corrections().maxError;  // as good as the codings that need no limit
    }
    const std::vector<Vec3>& targets = input.ordered.positions;
    std::optional<DeltaSection> best;
    std::optional<std::size_t> varyingAxes;
    for (const DeltaCoder& coder : DeltaCoders()) {
        if (!coder.isAutomatic || (coder.fitsMotions && (input.limit <= 0 || targets.empty()))) {
            continue;
        }
        if (best && Excess(*best, input) <= 0) {
            if (!varyingAxes) {
                varyingAxes = CountVaryingAxes(input.history, targets, input.maxError);
            }
            if (best->bytes.size() <= coder.leastBytes(targets.size(), *varyingAxes)) {
                continue;
            }
        }
        try {
            DeltaSection section = Encode(coder, input);
            if (!best || IsBetter(section, *best, input)) {
                best = std::move(section);
            }
        } catch (const std::range_error&) {
            // The motion is too large for this coding, but not for all of them.
        }
    }
    return std::move(*best);
}

}  // namespace

DeltaInput::DeltaInput(const Nimb::CNimbMeshReaderCtx& ctx, TransformDeltaEncoder& transforms, const Mesh& mesh,
                       const Box& b, const DeltaFrameOptions& options)
    : history(HistoryOf(ctx)),
      ordered(mesh),
      box(b),
      withNormals(options.normals),
      maxError(options.maxError),
      limit(options.maxError),
      transformDeltas(transforms) {}

const DeltaCorrections& DeltaInput::Corrections() const {
    if (!m_Corrections) {
        m_Corrections = QuantiseCorrections(history, ordered.positions, maxError);
    }
    return *m_Corrections;
}

DeltaSection ChooseDeltaSection(const Nimb::CNimbMeshReaderCtx& ctx, TransformDeltaEncoder& transformDeltas,
                                const Mesh& ordered, const Box& box, const DeltaFrameOptions& options) {
    DeltaInput input(ctx, transformDeltas, ordered, box, options);
    return options.coding == DeltaCoding::Smallest ? SmallestSection(input) : Encode(CoderOf(options.coding), input);
}

}  // namespace Nimb::Authoring
