#include "Authoring/Source/PlyHeader.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/TextScan.h"

#include <map>

namespace Nimb::Authoring {
namespace {

class HeaderReader {
public:
    HeaderReader(const std::string& path, std::string_view file)
        : m_Path(path), m_Size(file.size()), m_Rest(WithoutByteOrderMark(file)) {}

    PlyHeader Read() {
        if (NextLine() != "ply") {
            Fail("not a PLY file: it does not begin with \"ply\"");
        }
        for (std::string_view line = NextLine(); line != "end_header"; line = NextLine()) {
            ReadLine(line);
        }
        if (!m_HasFormat) {
            Fail("the header has no format line");
        }
        for (const PlyElement& element : m_Header.elements) {
            if (element.properties.empty()) {
                Fail("the element " + element.name + " has no properties");
            }
        }
        m_Header.size = m_Size - m_Rest.size();
        return m_Header;
    }

private:
    [[noreturn]] void Fail(const std::string& text) const {
        throw InputError(m_Path + ":" + std::to_string(m_Header.lines) + ": " + text);
    }

    std::string_view NextLine() {
        ++m_Header.lines;
        if (m_Rest.empty()) {
            Fail("the header does not end");
        }
        return WithoutBlanksAround(TakeLine(m_Rest));
    }

    void ReadLine(std::string_view line) {
        const std::string_view word = TakeWord(line);
        if (word == "format") {
            ReadFormat(TakeWord(line));
        } else if (word == "comment") {
            if (TakeWord(line) == "TextureFile") {
                m_Header.textureFiles.emplace_back(WithoutBlanksAround(line));
            }
        } else if (word == "element") {
            PlyElement element;
            element.name = TakeWord(line);
            if (!ParseNumber(TakeWord(line), element.count)) {
                Fail("the element " + element.name + " needs a count");
            }
            m_Header.elements.push_back(std::move(element));
        } else if (word == "property") {
            if (m_Header.elements.empty()) {
                Fail("a property before the first element");
            }
            ReadProperty(line);
        } else if (word != "obj_info" && !word.empty()) {
            Fail("unknown word '" + std::string(word) + "' in the header");
        }
    }

    void ReadFormat(std::string_view name) {
        static const std::map<std::string_view, PlyFormat> s_Formats = {
            {"ascii", PlyFormat::Text},
            {"binary_little_endian", PlyFormat::LittleEndian},
            {"binary_big_endian", PlyFormat::BigEndian}};
        const auto format = s_Formats.find(name);
        if (format == s_Formats.end()) {
            Fail("unknown format '" + std::string(name) + "'");
        }
        m_Header.format = format->second;
        m_HasFormat = true;
    }

    void ReadProperty(std::string_view line) {
        PlyProperty property;
        std::string_view type = TakeWord(line);
        if (type == "list") {
            property.countType = TypeOf(TakeWord(line));
            if (*property.countType >= PlyType::Float) {
                Fail("a list's length cannot be a fraction");
            }
            type = TakeWord(line);
        }
        property.type = TypeOf(type);
        property.name = WithoutBlanksAround(line);
        m_Header.elements.back().properties.push_back(std::move(property));
    }

    PlyType TypeOf(std::string_view name) const {
        static const std::map<std::string_view, PlyType> s_Types = {
            {"char", PlyType::Int8},     {"int8", PlyType::Int8},     {"uchar", PlyType::UInt8},
            {"uint8", PlyType::UInt8},   {"short", PlyType::Int16},   {"int16", PlyType::Int16},
            {"ushort", PlyType::UInt16}, {"uint16", PlyType::UInt16}, {"int", PlyType::Int32},
            {"int32", PlyType::Int32},   {"uint", PlyType::UInt32},   {"uint32", PlyType::UInt32},
            {"float", PlyType::Float},   {"float32", PlyType::Float}, {"double", PlyType::Double},
            {"float64", PlyType::Double}};
        const auto type = s_Types.find(name);
        if (type == s_Types.end()) {
            Fail("unknown type '" + std::string(name) + "'");
        }
        return type->second;
    }

    const std::string& m_Path;
    const std::size_t m_Size;
    std::string_view m_Rest;
    PlyHeader m_Header;
    bool m_HasFormat = false;
};

}  // namespace

PlyHeader ReadPlyHeader(const std::string& path, std::string_view file) {
    return HeaderReader(path, file).Read();
}

}  // namespace Nimb::Authoring
