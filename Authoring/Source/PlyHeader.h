// What a PLY file says about its contents.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Nimb::Authoring {

enum class PlyFormat { Text, LittleEndian, BigEndian };

enum class PlyType { Int8, UInt8, Int16, UInt16, Int32, UInt32, Float, Double };

struct PlyProperty {
    std::string name;
    PlyType type = PlyType::Float;
    std::optional<PlyType> countType;  ///< set for a list
};

struct PlyElement {
    std::string name;
    std::size_t count = 0;
    std::vector<PlyProperty> properties;  ///< never empty
};

struct PlyHeader {
    PlyFormat format = PlyFormat::Text;
    std::vector<PlyElement> elements;
    std::vector<std::string> textureFiles;
    std::size_t size = 0;   ///< bytes up to the contents
    std::size_t lines = 0;  ///< likewise
};

/// Throws InputError, naming `path` and the line.
PlyHeader ReadPlyHeader(const std::string& path, std::string_view file);

}  // namespace Nimb::Authoring
