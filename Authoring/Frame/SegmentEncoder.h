// A clip's frames from one key frame to the next, encoded together: what is known of later frames makes the choices of
// earlier ones better.
#pragma once

#include "Authoring/Frame/FrameEncoder.h"

#include <vector>

namespace Nimb::Authoring {

/// All sub-meshes at one moment.
using Moment = std::vector<SubMesh>;

/// Encodes moments that do not build on any before them; the first is a key frame. A moment of one sub-mesh without a
/// texture transform makes a plain frame, with the id of `options.frame` if it has one, when all moments are such;
/// otherwise all make temporal frames. Segments are independent: any number of threads may encode one each.
///
/// What `options` leave open is settled for the segment: it is no larger than with any choice of codings that could
/// have been asked for. std::invalid_argument for meshes and options that cannot be encoded.
std::vector<EncodedFrame> EncodeSegment(const std::vector<Moment>& moments, const CodingOptions& options);

}  // namespace Nimb::Authoring
