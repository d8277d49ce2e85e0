// H.264 as MP4 stores it: samples whose NAL units have their lengths before them, and parameter sets beside them.
#pragma once

#include "Authoring/Codec/ByteWriter.h"

#include <cstddef>

namespace Nimb::Authoring {

/// One coded picture, given as a byte stream with start codes, as a sample with 4-byte lengths. `meshUnit`, in bare
/// framing, goes before the picture's first slice, where decoders pass over it; empty: none.
Bytes MakeAvcSample(const BYTE* byteStream, std::size_t size, const Bytes& meshUnit);

/// The decoder configuration record, from a byte stream with one sequence and one picture parameter set. Throws
/// std::invalid_argument when one is missing.
Bytes MakeAvcConfiguration(const BYTE* byteStream, std::size_t size);

}  // namespace Nimb::Authoring
