// What can be wrong with a mesh that decodes.
#pragma once

#include "Authoring/Codec/XtraAttributes.h"
#include "Clip/Read/ClipMeshes.h"
#include "Clip/Read/MeshFrameScanner.h"

#include <functional>
#include <optional>
#include <string>

namespace Nimb::Authoring {

/// Kinds of problems that make a mesh useless to programs other than the player.
constexpr char c_IndexRange[] = "index-range";
constexpr char c_NotANumber[] = "not-a-number";

using ReportProblem = std::function<void(const std::string& kind, const std::string& text)>;

/// Headers: counts against each other and against the file's maxima, boxes against each other and against the file's.
void CheckHeaders(const MeshFrameLayout& layout, const std::optional<FileAttributes>& attributes,
                  const ReportProblem& report);

/// Indices, positions, texture coordinates and normals.
void CheckMesh(const DecodedMesh& mesh, const MeshFrameLayout& layout, const ReportProblem& report);

}  // namespace Nimb::Authoring
