// The result of encoding a segment, as a file in the job's folder: the samples, one after the other, and at the end a
// manifest that says what they are, with hashes of both.
#pragma once

#include "Clip/Job/JobPlan.h"
#include "Clip/Write/ClipSegment.h"

#include <cstddef>
#include <string>

namespace Nimb::Authoring {

/// segments/00012.segment
std::string SegmentPath(const std::string& folder, std::size_t segment);

/// Throws ClipError.
void WriteSegment(const std::string& folder, const JobPlan& plan, std::size_t segment, const EncodedSegment& encoded);

/// Throws InputError, which names the file and what is wrong with it: it is missing, damaged, of another plan or of
/// another build of the tool.
EncodedSegment ReadSegment(const std::string& folder, const JobPlan& plan, std::size_t segment);

bool HasSegment(const std::string& folder, std::size_t segment);

}  // namespace Nimb::Authoring
