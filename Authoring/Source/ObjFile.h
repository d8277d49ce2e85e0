// Wavefront OBJ files and their material libraries.
//
// Read here rather than by a library: libraries say that a file is bad but not on which line, and they let NaN through
// as a coordinate, which no coding of positions can hold.
#pragma once

#include "Authoring/Source/ImportedMesh.h"
#include "Authoring/Source/SkippedNames.h"

#include <string>

namespace Nimb::Authoring {

/// Polygons are cut into triangles; groups and objects are merged by material, except those to be skipped; points,
/// lines, curves and smoothing groups are ignored. Of materials it reads Kd and map_Kd (which replaces Kd), with those
/// options of map_Kd that leave the picture as it is. Colours after a vertex's position (which replace Kd, and are
/// replaced by map_Kd) are sRGB, from 0 to 1, or to 255 if any in the file is above 1. Throws InputError, naming the
/// file and the line.
ImportedFile ReadObj(const std::string& path, Materials materials, SkippedNames& skipped);

}  // namespace Nimb::Authoring
