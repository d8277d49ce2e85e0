#include "Authoring/Source/GltfFile.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/FileBytes.h"
#include "Authoring/Source/TinyGltf.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <string_view>
#include <type_traits>

namespace Nimb::Authoring {
namespace {

// Accessors may claim elements that no buffer backs, all zero: bounded, so that a small file cannot take all memory.
constexpr std::size_t c_MaxNumbers = std::size_t{1} << 26;

// What is read or copied by recursion must not take the whole stack.
constexpr int c_MaxDepth = 256;

UINT32 LittleEndian32(const BYTE* bytes) {
    return static_cast<UINT32>(bytes[0] | bytes[1] << 8 | bytes[2] << 16) | static_cast<UINT32>(bytes[3]) << 24;
}

std::size_t WidthOf(const std::string& type) {
    static const std::map<std::string, std::size_t> s_Widths = {
        {"SCALAR", 1}, {"VEC2", 2}, {"VEC3", 3}, {"VEC4", 4}, {"MAT4", 16}};
    const auto width = s_Widths.find(type);
    return width == s_Widths.end() ? 0 : width->second;
}

/// How one of the types of components is stored.
struct Component {
    std::size_t size = 0;
    double (*load)(const BYTE* bytes, bool normalized) = nullptr;
};

template <class Number>
double Load(const BYTE* bytes, bool normalized) {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    const auto value = static_cast<double>(number);
    return normalized && std::is_integral_v<Number>
               ? std::max(value / static_cast<double>(std::numeric_limits<Number>::max()), -1.0)
               : value;
}

/// Of size 0 for an unknown type.
Component ComponentOf(std::size_t type) {
    static const std::map<std::size_t, Component> s_Components = {
        {TINYGLTF_COMPONENT_TYPE_BYTE, {1, Load<std::int8_t>}},
        {TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE, {1, Load<std::uint8_t>}},
        {TINYGLTF_COMPONENT_TYPE_SHORT, {2, Load<std::int16_t>}},
        {TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT, {2, Load<std::uint16_t>}},
        {TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT, {4, Load<std::uint32_t>}},
        {TINYGLTF_COMPONENT_TYPE_FLOAT, {4, Load<float>}}};
    const auto component = s_Components.find(type);
    return component == s_Components.end() ? Component{} : component->second;
}

/// The bytes of base64 text; false for other text.
bool DecodeBase64(std::string text, std::vector<BYTE>& bytes) {
    static constexpr const char* s_Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    text.resize(text.find_last_not_of('=') + 1);
    // tinygltf would stop at any other character without a word, and it counts in an int.
    if (text.find_first_not_of(s_Digits) != std::string::npos || text.size() > INT_MAX) {
        return false;
    }
    std::string mediaType;
    return text.size() < 2 ||
           tinygltf::DecodeDataURI(&bytes, mediaType, "data:application/octet-stream;base64," + text, 0, false);
}

/// "a%20b" to "a b".
std::string DecodePercent(const std::string& uri) {
    std::string text;
    for (std::size_t i = 0; i < uri.size(); ++i) {
        unsigned value = 0;
        if (uri[i] == '%' && i + 2 < uri.size() &&
            std::from_chars(&uri[i + 1], &uri[i + 1] + 2, value, 16).ptr == &uri[i + 1] + 2) {
            text += static_cast<char>(value);
            i += 2;
        } else {
            text += uri[i];
        }
    }
    return text;
}

}  // namespace

std::size_t IndexIn(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number_unsigned()) {
        throw std::out_of_range(std::string("needs a whole number \"") + key + "\"");
    }
    return found->get<std::size_t>();
}

std::size_t IndexIn(const Json& object, const char* key, std::size_t otherwise) {
    return object.contains(key) ? IndexIn(object, key) : otherwise;
}

GltfFile::GltfFile(const std::string& path) : m_Path(path) {
    ReadContainer(ReadFileBytes(path, "the scene"));
    if (!m_Root.is_object() || !m_Root.contains("asset")) {
        Fail("not a glTF file");
    }
    if (const std::string version = m_Root["asset"].value("version", ""); version.substr(0, 2) != "2.") {
        Fail("its glTF version is '" + version + "'; 2.0 is supported");
    }
    ReadBuffers();
}

void GltfFile::Fail(const std::string& text) const {
    throw InputError(m_Path + ": " + text);
}

void GltfFile::ReadContainer(const std::vector<BYTE>& file) {
    std::string_view json = AsText(file);
    if (json.substr(0, 4) == "glTF") {
        std::size_t offset = 12;
        const auto chunk = [&](const char* what) {
            if (file.size() < offset + 8 || file.size() - offset - 8 < LittleEndian32(&file[offset])) {
                Fail(std::string("the file ends in its ") + what + " chunk");
            }
            const std::string_view content = AsText(file).substr(offset + 8, LittleEndian32(&file[offset]));
            offset += 8 + content.size();
            return content;
        };
        json = chunk("JSON");
        if (offset < file.size()) {
            const std::string_view binary = chunk("binary");
            m_Binary.assign(binary.begin(), binary.end());
            m_HasBinary = true;
        }
    }
    try {
        m_Root = Json::parse(json.begin(), json.end(), [this](int depth, Json::parse_event_t, const Json&) {
            if (depth > c_MaxDepth) {
                Fail("its JSON is nested more than " + std::to_string(c_MaxDepth) + " deep");
            }
            return true;
        });
    } catch (const Json::exception& e) {
        Fail(std::string("not valid JSON: ") + e.what());
    }
}

void GltfFile::ReadBuffers() {
    for (std::size_t i = 0; i < Count("buffers"); ++i) {
        const Json& buffer = Element("buffers", i);
        const std::string name = "buffer " + std::to_string(i);
        if (buffer.contains("uri")) {
            m_Buffers.push_back(DataOf(buffer["uri"].get<std::string>(), name));
        } else if (i == 0 && m_HasBinary) {
            m_Buffers.push_back(std::move(m_Binary));
        } else {
            Fail(name + " has no data");
        }
        if (m_Buffers.back().size() < IndexIn(buffer, "byteLength")) {
            Fail(name + " has " + std::to_string(m_Buffers.back().size()) + " bytes instead of " +
                 std::to_string(IndexIn(buffer, "byteLength")));
        }
    }
}

std::vector<BYTE> GltfFile::DataOf(const std::string& uri, const std::string& what) const {
    if (uri.compare(0, 5, "data:") != 0) {
        return ReadFileBytes(PathBeside(m_Path, DecodePercent(uri)), what + " of " + m_Path);
    }
    const std::size_t comma = uri.find(";base64,");
    std::vector<BYTE> bytes;
    if (comma == std::string::npos || !DecodeBase64(uri.substr(comma + 8), bytes)) {
        Fail(what + " is not base64");
    }
    return bytes;
}

const Json& GltfFile::Element(const char* list, std::size_t index) const {
    if (index >= Count(list)) {
        Fail("names element " + std::to_string(index) + " of \"" + list + "\", which has " +
             std::to_string(Count(list)));
    }
    const Json& element = m_Root[list][index];
    if (!element.is_object()) {
        Fail("element " + std::to_string(index) + " of \"" + list + "\" is not an object");
    }
    return element;
}

std::size_t GltfFile::Count(const char* list) const {
    const auto found = m_Root.find(list);
    return found == m_Root.end() || !found->is_array() ? 0 : found->size();
}

GltfFile::Span GltfFile::ViewAt(std::size_t index) const {
    const Json& view = Element("bufferViews", index);
    const std::size_t buffer = IndexIn(view, "buffer");
    const std::size_t offset = IndexIn(view, "byteOffset", 0);
    const std::size_t length = IndexIn(view, "byteLength");
    if (buffer >= m_Buffers.size() || offset > m_Buffers[buffer].size() || length > m_Buffers[buffer].size() - offset) {
        Fail("bufferView " + std::to_string(index) + " reaches beyond its buffer");
    }
    return {m_Buffers[buffer].data() + offset, length, IndexIn(view, "byteStride", 0)};
}

std::vector<double> GltfFile::Elements(const Span& span, std::size_t offset, std::size_t count,
                                       std::size_t componentType, std::size_t width, bool normalized,
                                       const std::string& name) const {
    const Component component = ComponentOf(componentType);
    const std::size_t size = component.size * width;
    const std::size_t stride = span.stride == 0 ? size : span.stride;
    std::vector<double> values;
    if (count == 0 || size == 0) {
        return values;
    }
    if (stride < size || offset > span.size || size > span.size - offset ||
        (span.size - offset - size) / stride < count - 1) {
        Fail(name + " reaches beyond its bufferView");
    }
    values.reserve(count * width);
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t c = 0; c < width; ++c) {
            values.push_back(component.load(span.data + offset + i * stride + c * component.size, normalized));
        }
    }
    return values;
}

std::vector<double> GltfFile::Numbers(std::size_t accessor, const char* type) const {
    const Json& object = Element("accessors", accessor);
    const std::string name = "accessor " + std::to_string(accessor);
    const std::size_t count = IndexIn(object, "count");
    const std::size_t componentType = IndexIn(object, "componentType");
    const std::size_t width = WidthOf(type);
    const bool normalized = object.value("normalized", false);
    if (object.value("type", "") != type) {
        Fail(name + " is of type " + object.value("type", "") + " instead of " + type);
    }
    if (ComponentOf(componentType).size == 0) {
        Fail(name + " has the unknown component type " + std::to_string(componentType));
    }
    if (count > c_MaxNumbers / std::max<std::size_t>(width, 1)) {
        Fail(name + " is too large: " + std::to_string(count) + " elements");
    }
    std::vector<double> values;
    if (object.contains("bufferView")) {
        values = Elements(ViewAt(IndexIn(object, "bufferView")), IndexIn(object, "byteOffset", 0), count, componentType,
                          width, normalized, name);
    } else {
        values.resize(count * width);
    }
    if (object.contains("sparse")) {
        ApplySparse(object["sparse"], componentType, width, normalized, name, values);
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!std::isfinite(values[i])) {
            Fail(name + ": element " + std::to_string(i / width) + " is not a finite number");
        }
    }
    return values;
}

void GltfFile::ApplySparse(const Json& sparse, std::size_t componentType, std::size_t width, bool normalized,
                           const std::string& name, std::vector<double>& values) const {
    const std::size_t count = IndexIn(sparse, "count");
    const Json& at = sparse.at("indices");
    const Json& with = sparse.at("values");
    const std::size_t indexType = IndexIn(at, "componentType");
    if (count > c_MaxNumbers / width || ComponentOf(indexType).size == 0) {
        Fail(name + " has unreadable sparse indices");
    }
    const std::vector<double> indices =
        Elements(ViewAt(IndexIn(at, "bufferView")), IndexIn(at, "byteOffset", 0), count, indexType, 1, false, name);
    const std::vector<double> replacements =
        Elements(ViewAt(IndexIn(with, "bufferView")), IndexIn(with, "byteOffset", 0), count, componentType, width,
                 normalized, name);
    const std::size_t numElements = values.size() / width;
    for (std::size_t i = 0; i < count; ++i) {
        if (!(indices[i] >= 0 && indices[i] < static_cast<double>(numElements))) {
            Fail(name + " has a sparse index out of range");
        }
        std::copy_n(replacements.begin() + static_cast<std::ptrdiff_t>(i * width), width,
                    values.begin() + static_cast<std::ptrdiff_t>(indices[i]) * static_cast<std::ptrdiff_t>(width));
    }
}

std::vector<UINT32> GltfFile::Indices(std::size_t accessor, const char* type) const {
    const std::vector<double> values = Numbers(accessor, type);
    std::vector<UINT32> indices;
    indices.reserve(values.size());
    for (const double value : values) {
        if (!(value >= 0 && value <= 4294967295.0)) {
            Fail("accessor " + std::to_string(accessor) + " holds an index below 0");
        }
        indices.push_back(static_cast<UINT32>(value));
    }
    return indices;
}

Picture GltfFile::ImageAt(std::size_t index) const {
    const Json& image = Element("images", index);
    const std::string name = m_Path + ": image " + std::to_string(index);
    if (image.contains("bufferView")) {
        const Span view = ViewAt(IndexIn(image, "bufferView"));
        return {name, std::make_shared<const std::vector<BYTE>>(view.data, view.data + view.size)};
    }
    const std::string uri = image.value("uri", "");
    if (uri.compare(0, 5, "data:") == 0) {
        return {name, std::make_shared<const std::vector<BYTE>>(DataOf(uri, "image " + std::to_string(index)))};
    }
    if (uri.empty()) {
        Fail("image " + std::to_string(index) + " has no data");
    }
    return {PathBeside(m_Path, DecodePercent(uri)), nullptr};
}

}  // namespace Nimb::Authoring
