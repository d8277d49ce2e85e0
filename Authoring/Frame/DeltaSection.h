// The vertex section of a delta frame, in the coding that was asked for or in the one that suits the frame.
#pragma once

#include "Authoring/Codec/DeltaVertices.h"
#include "Authoring/Codec/TransformDeltas.h"
#include "Authoring/Frame/FrameOptions.h"

#include <optional>

namespace Nimb::Authoring {

struct DeltaSection {
    BYTE vertexVersion = 0;
    Bytes bytes;                                    ///< without normals, except in records
    double maxError = 0;                            ///< before clamping to a box; of records 0
    std::optional<TransformDeltaFrame> transforms;  ///< of version 5, to be accepted when the section is used
};

/// What a section is made from.
class DeltaInput {
public:
    DeltaInput(const Nimb::CNimbMeshReaderCtx& ctx, TransformDeltaEncoder& transforms, const Mesh& mesh, const Box& b,
               const DeltaFrameOptions& options);

    const DeltaHistory history;
    const Mesh& ordered;  ///< vertices in decoded order
    const Box& box;
    const bool withNormals;
    const double maxError;  ///< see DeltaFrameOptions
    double limit;           ///< of codings that need one: `maxError`, unless it is none and the coding is being chosen
    TransformDeltaEncoder& transformDeltas;

    /// Three bytes a vertex, made when they are first asked for.
    const DeltaCorrections& Corrections() const;

private:
    mutable std::optional<DeltaCorrections> m_Corrections;
};

/// Encodes the positions of `ordered`, whose vertices are in decoded order. DeltaCoding::Smallest takes the smallest
/// coding that meets the limit; where none does, the one nearest to it.
DeltaSection ChooseDeltaSection(const Nimb::CNimbMeshReaderCtx& ctx, TransformDeltaEncoder& transformDeltas,
                                const Mesh& ordered, const Box& box, const DeltaFrameOptions& options);

}  // namespace Nimb::Authoring
