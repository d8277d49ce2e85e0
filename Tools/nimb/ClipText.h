// What `nimb info` prints about a clip, and `nimb encode` about the one that it has made.
#pragma once

#include "Clip/Read/ClipAttributes.h"
#include "Clip/Read/ClipInspection.h"

namespace Nimb::Tool {

double Percent(UINT64 part, UINT64 whole);

/// Size, tracks, and what takes how much of the file.
void PrintClip(const Authoring::ClipReader& reader, const Authoring::ClipSummary& summary);

void PrintAttributes(const Authoring::ClipAttributes& attributes);

}  // namespace Nimb::Tool
