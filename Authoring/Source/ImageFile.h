// Pictures in files.
#pragma once

#include "Authoring/Scene/Image.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// PNG, JPEG, BMP or TGA. Throws InputError, naming the file, when it cannot be read or is not a picture.
Image ReadImage(const std::string& path);

/// The same, from bytes in memory; `name` is for messages.
Image DecodeImage(const BYTE* bytes, std::size_t size, const std::string& name);

/// Throws std::runtime_error, naming the file, when it cannot be written, and removes what was written.
void WritePng(const std::string& path, const Image& image);

/// A PNG in memory, without an alpha channel if all of the picture is opaque. Compressed for speed: for sequences of
/// many pictures.
std::vector<BYTE> EncodePng(const Image& image);

}  // namespace Nimb::Authoring
