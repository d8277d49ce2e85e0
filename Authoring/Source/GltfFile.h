// The container of a glTF asset: its JSON, its buffers, and the arrays in them.
//
// Read here rather than by tinygltf, of which base64 and the writer are used (TinyGltf.h). Its loader, which is all or
// nothing, cannot be checked from outside: in place of a member of the wrong type, or one too large for an int, its
// model has a default or another number, and primitives and channels that it does not understand are missing. Buffers
// whose names have a "+", or whose files are longer than they need be, it refuses. And it reads beyond the end of a cut
// binary chunk, and recurses as deeply as a file says. It leaves the contents of accessors to its caller anyway.
#pragma once

#include "Authoring/Source/SourceMaterial.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace Nimb::Authoring {

using Json = nlohmann::json;

/// All methods throw InputError that names the file and the element, for instance "accessor 3". JSON of another shape
/// than expected may also throw Json::exception, which has no file name.
class GltfFile {
public:
    /// Reads .gltf and .glb, and the files with the buffers.
    explicit GltfFile(const std::string& path);

    const std::string& Path() const { return m_Path; }
    const Json& Root() const { return m_Root; }

    /// Element `index` of a list in the root, as "nodes".
    const Json& Element(const char* list, std::size_t index) const;

    /// The number of elements of a list in the root, which may be missing.
    std::size_t Count(const char* list) const;

    /// The numbers of an accessor of `type` ("SCALAR", "VEC3", ...), normalised ones as fractions; all are finite.
    std::vector<double> Numbers(std::size_t accessor, const char* type) const;

    /// Whole numbers from 0.
    std::vector<UINT32> Indices(std::size_t accessor, const char* type) const;

    /// A picture of the list "images".
    Picture ImageAt(std::size_t index) const;

    [[noreturn]] void Fail(const std::string& text) const;

private:
    struct Span {
        const BYTE* data;
        std::size_t size;
        std::size_t stride;  ///< 0: elements without gaps
    };

    void ReadContainer(const std::vector<BYTE>& file);
    void ReadBuffers();
    std::vector<BYTE> DataOf(const std::string& uri, const std::string& what) const;
    Span ViewAt(std::size_t index) const;
    std::vector<double> Elements(const Span& span, std::size_t offset, std::size_t count, std::size_t componentType,
                                 std::size_t width, bool normalized, const std::string& name) const;
    void ApplySparse(const Json& sparse, std::size_t componentType, std::size_t width, bool normalized,
                     const std::string& name, std::vector<double>& values) const;

    std::string m_Path;
    Json m_Root;
    std::vector<BYTE> m_Binary;
    bool m_HasBinary = false;
    std::vector<std::vector<BYTE>> m_Buffers;
};

/// A whole number from 0 under a key. Throws std::out_of_range, naming the key, when it is missing or something else.
std::size_t IndexIn(const Json& object, const char* key);
/// The same, or `otherwise` when the key is missing.
std::size_t IndexIn(const Json& object, const char* key, std::size_t otherwise);

/// A list of exactly N finite numbers under a key; leaves `values` alone when the key is missing.
template <std::size_t N>
bool ReadNumbers(const Json& object, const char* key, std::array<double, N>& values) {
    if (!object.contains(key)) {
        return false;
    }
    const auto numbers = object[key].get<std::vector<double>>();
    if (numbers.size() != N ||
        !std::all_of(numbers.begin(), numbers.end(), [](double d) { return std::isfinite(d); })) {
        throw std::out_of_range(std::string("\"") + key + "\" needs " + std::to_string(N) + " numbers");
    }
    std::copy(numbers.begin(), numbers.end(), values.begin());
    return true;
}

}  // namespace Nimb::Authoring
