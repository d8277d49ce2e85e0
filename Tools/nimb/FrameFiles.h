// Frames as files in a folder: frame_0000, frame_0001 and so on.
#pragma once

#include "Authoring/Export/MeshExport.h"

#include <map>
#include <string>
#include <vector>

namespace Nimb::Tool {

/// By the names of --format.
inline const std::map<std::string, Authoring::MeshFormat> c_MeshFormats = {
    {"obj", Authoring::MeshFormat::Obj}, {"ply", Authoring::MeshFormat::Ply}, {"glb", Authoring::MeshFormat::Glb}};

std::string StemOf(std::size_t frame);

/// Creates it if needed. Throws OutputError.
void MakeFolder(const std::string& folder);

/// Writes all files under temporary names first, so that a full disk leaves no frame without its texture. Throws
/// OutputError.
void WriteFiles(const std::string& folder, const std::vector<Authoring::ExportedFile>& files, bool overwrite);

}  // namespace Nimb::Tool
