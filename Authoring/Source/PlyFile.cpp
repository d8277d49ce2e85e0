#include "Authoring/Source/PlyFile.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/CornerMesh.h"
#include "Authoring/Source/FileBytes.h"
#include "Authoring/Source/Narrow.h"
#include "Authoring/Source/PictureStore.h"
#include "Authoring/Source/PlyHeader.h"
#include "Authoring/Source/TextScan.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace Nimb::Authoring {
namespace {

constexpr std::size_t c_NoProperty = SIZE_MAX;

/// The values after the header, one after the other.
class PlyValues {
public:
    PlyValues(const std::string& path, const PlyHeader& header, std::string_view file)
        : m_Path(path), m_Format(header.format), m_Rest(file.substr(header.size)), m_Line(header.lines) {}

    void BeginRow(const PlyElement& element, std::size_t row) {
        m_Element = &element;
        m_Row = row;
        if (m_Format == PlyFormat::Text) {
            do {
                ++m_Line;
                if (m_Rest.empty()) {
                    FailAtEnd();
                }
                m_Words = WithoutBlanksAround(TakeLine(m_Rest));
            } while (m_Words.empty());
        }
    }

    void EndRow() {
        if (m_Format == PlyFormat::Text && !WithoutBlanksAround(m_Words).empty()) {
            Fail("more values than the header says");
        }
    }

    double Next(PlyType type) {
        if (m_Format == PlyFormat::Text) {
            const std::string_view word = TakeWord(m_Words);
            double value = 0;
            if (!ParseNumber(word, value)) {
                Fail(word.empty() ? "fewer values than the header says"
                                  : "'" + std::string(word) + "' is not a number");
            }
            return value;
        }
        switch (type) {
            case PlyType::Int8:
                return Binary<std::int8_t>();
            case PlyType::UInt8:
                return Binary<std::uint8_t>();
            case PlyType::Int16:
                return Binary<std::int16_t>();
            case PlyType::UInt16:
                return Binary<std::uint16_t>();
            case PlyType::Int32:
                return Binary<std::int32_t>();
            case PlyType::UInt32:
                return Binary<std::uint32_t>();
            case PlyType::Float:
                return static_cast<double>(Binary<float>());
            case PlyType::Double:
                return Binary<double>();
        }
        return 0;
    }

    /// A whole number from 0 to `limit` - 1.
    std::size_t NextIndex(PlyType type, std::size_t limit, const char* what) {
        const double value = Next(type);
        if (!(value >= 0 && value < static_cast<double>(limit)) || value != std::floor(value)) {
            char text[64];
            std::snprintf(text, sizeof text, "%s %.17g", what, value);
            Fail(std::string(text) + " is out of range: there are " + std::to_string(limit));
        }
        return static_cast<std::size_t>(value);
    }

    std::size_t NextCount(const PlyProperty& list) {
        constexpr std::size_t c_Limit = std::size_t{1} << 32;
        return NextIndex(*list.countType, c_Limit, "the length of a list,");
    }

    [[noreturn]] void Fail(const std::string& text) const { throw InputError(Place() + ": " + text); }

    /// The number of the row's line; in a binary file, of the row.
    UINT32 RowNumber() const { return static_cast<UINT32>(m_Format == PlyFormat::Text ? m_Line : m_Row); }

    /// What comes before such a number in messages.
    std::string PlaceIn(const std::string& element) const {
        return m_Path + (m_Format == PlyFormat::Text ? ":" : ": " + element + " ");
    }

    std::string Place() const { return PlaceIn(m_Element->name) + std::to_string(RowNumber()); }

private:
    [[noreturn]] void FailAtEnd() const {
        throw InputError(m_Path + ": the file ends in " + m_Element->name + " " + std::to_string(m_Row) + " of " +
                         std::to_string(m_Element->count));
    }

    template <class Number>
    Number Binary() {
        char bytes[sizeof(Number)];
        if (m_Rest.size() < sizeof bytes) {
            FailAtEnd();
        }
        std::memcpy(bytes, m_Rest.data(), sizeof bytes);
        m_Rest.remove_prefix(sizeof bytes);
        if (m_Format == PlyFormat::BigEndian) {
            std::reverse(std::begin(bytes), std::end(bytes));
        }
        Number number;
        std::memcpy(&number, bytes, sizeof number);
        return number;
    }

    const std::string& m_Path;
    const PlyFormat m_Format;
    std::string_view m_Rest;
    std::string_view m_Words;
    std::size_t m_Line;
    const PlyElement* m_Element = nullptr;
    std::size_t m_Row = 0;
};

std::size_t FindProperty(const PlyElement& element, std::initializer_list<const char*> names) {
    for (std::size_t i = 0; i < element.properties.size(); ++i) {
        for (const char* const name : names) {
            if (element.properties[i].name == name) {
                return i;
            }
        }
    }
    return c_NoProperty;
}

class PlyReader {
public:
    PlyReader(const std::string& path, std::string_view file, Materials materials)
        : m_Path(path), m_Header(ReadPlyHeader(path, file)), m_Values(path, m_Header, file) {
        m_HasPicture = materials == Materials::Ignore || !m_Header.textureFiles.empty();
        if (m_HasPicture && materials == Materials::Read) {
            for (const std::string& textureFile : m_Header.textureFiles) {
                SourceMaterial material;
                material.name = "texture " + std::to_string(m_Materials.size());
                material.picture = Picture{PathBeside(path, textureFile), nullptr};
                m_Materials.push_back(std::move(material));
            }
        } else {
            m_Materials.resize(1);
        }
        m_MayChooseMaterial = m_HasPicture && materials == Materials::Read;
        m_Corners.resize(m_Materials.size());
        m_Rows.resize(m_Materials.size());
    }

    ImportedFile Read() {
        for (const PlyElement& element : m_Header.elements) {
            for (std::size_t row = 0; row < element.count; ++row) {
                m_Values.BeginRow(element, row);
                if (element.name == "vertex") {
                    ReadVertex(element);
                } else if (element.name == "face") {
                    ReadFace(element);
                } else {
                    SkipRow(element);
                }
                m_Values.EndRow();
            }
        }
        if (!m_HasPicture && m_Arrays.colours.empty()) {
            throw InputError(m_Path +
                             ": has neither a picture (a line \"comment TextureFile NAME\") nor vertex colours; "
                             "use --texture to name a picture");
        }
        ImportedFile file;
        for (std::size_t i = 0; i < m_Materials.size(); ++i) {
            if (!m_Corners[i].empty()) {
                ImportedMesh imported = ImportedMeshOf(m_Arrays, std::move(m_Corners[i]), m_HasPicture);
                imported.material = file.materials.size();
                imported.untextured = m_Untextured;
                imported.rows = std::move(m_Rows[i]);
                imported.place = m_Values.PlaceIn("face");
                if (m_HasAlpha && !m_HasPicture) {
                    m_Materials[i].transparency = Transparency::Always;
                }
                file.materials.push_back(m_Materials[i]);
                file.meshes.push_back(std::move(imported));
            }
        }
        if (file.meshes.empty()) {
            throw InputError(m_Path + ": has no triangles");
        }
        return file;
    }

private:
    struct VertexColumns {
        explicit VertexColumns(const PlyElement& e)
            : columns{FindProperty(e, {"x"}),
                      FindProperty(e, {"y"}),
                      FindProperty(e, {"z"}),
                      FindProperty(e, {"nx"}),
                      FindProperty(e, {"ny"}),
                      FindProperty(e, {"nz"}),
                      FindProperty(e, {"u", "s", "texture_u"}),
                      FindProperty(e, {"v", "t", "texture_v"}),
                      FindProperty(e, {"red", "diffuse_red", "r"}),
                      FindProperty(e, {"green", "diffuse_green", "g"}),
                      FindProperty(e, {"blue", "diffuse_blue", "b"}),
                      FindProperty(e, {"alpha", "a"})} {}

        bool Has(std::size_t first, std::size_t last) const {
            return std::find(columns + first, columns + last, c_NoProperty) == columns + last;
        }

        std::size_t columns[12];
    };

    void SkipValues(const PlyProperty& property) {
        const std::size_t count = property.countType ? m_Values.NextCount(property) : 1;
        for (std::size_t i = 0; i < count; ++i) {
            m_Values.Next(property.type);
        }
    }

    void SkipRow(const PlyElement& element) {
        for (const PlyProperty& property : element.properties) {
            SkipValues(property);
        }
    }

    void ReadVertex(const PlyElement& element) {
        if (m_VertexElement != &element) {
            if (m_VertexElement != nullptr) {
                throw InputError(m_Path + ": has more than one vertex element");
            }
            m_VertexElement = &element;
            m_VertexColumns.emplace(element);
            m_Scalars.assign(element.properties.size(), 0);
            if (!m_VertexColumns->Has(0, 3)) {
                throw InputError(m_Path + ": its vertices have no x, y and z");
            }
        }
        for (std::size_t i = 0; i < element.properties.size(); ++i) {
            if (element.properties[i].countType) {
                SkipValues(element.properties[i]);
            } else {
                m_Scalars[i] = Narrowed(m_Values.Next(element.properties[i].type));
            }
        }
        m_Arrays.positions.push_back(Vector(0, "position"));
        if (m_VertexColumns->Has(3, 6)) {
            m_Arrays.normals.push_back(Vector(3, "normal"));
        }
        if (m_VertexColumns->Has(6, 8)) {
            AddTexCoord(m_Scalars[m_VertexColumns->columns[6]], m_Scalars[m_VertexColumns->columns[7]]);
        }
        if (m_VertexColumns->Has(8, 11)) {
            AddColour(element);
        }
    }

    void AddColour(const PlyElement& element) {
        Colour colour = c_White;
        for (std::size_t i = 0; i < (m_VertexColumns->Has(11, 12) ? 4U : 3U); ++i) {
            const std::size_t column = m_VertexColumns->columns[8 + i];
            const float value = m_Scalars[column] / FullOf(element.properties[column].type);
            if (!std::isfinite(value)) {
                m_Values.Fail("a vertex colour is not a finite number");
            }
            colour[i] = std::clamp(value, 0.0F, 1.0F);
            colour[i] = i == 3 ? colour[i] : LinearOf(colour[i]);
        }
        m_HasAlpha = m_HasAlpha || colour[3] < 1;
        m_Arrays.colours.push_back(colour);
    }

    /// The value that stands for full colour.
    static float FullOf(PlyType type) {
        switch (type) {
            case PlyType::Float:
            case PlyType::Double:
                return 1;
            case PlyType::Int8:
            case PlyType::UInt8:
                return 255;
            default:
                return 65535;
        }
    }

    Vec3 Vector(std::size_t first, const char* what) const {
        const std::size_t* const columns = m_VertexColumns->columns + first;
        const Vec3 v{m_Scalars[columns[0]], m_Scalars[columns[1]], m_Scalars[columns[2]]};
        if (!std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z)) {
            m_Values.Fail(std::string("a ") + what + " is not a finite number");
        }
        return v;
    }

    UINT32 AddTexCoord(float u, float v) {
        if (!std::isfinite(u) || !std::isfinite(v)) {
            m_Values.Fail("a texture coordinate is not a finite number");
        }
        m_Arrays.texCoords.push_back({u, v});
        return static_cast<UINT32>(m_Arrays.texCoords.size() - 1);
    }

    void ReadFace(const PlyElement& element) {
        const std::size_t indices = FindProperty(element, {"vertex_indices", "vertex_index"});
        if (indices == c_NoProperty || !element.properties[indices].countType) {
            m_Values.Fail("faces have no list vertex_indices");
        }
        m_Polygon.clear();
        m_CornerTexCoords.clear();
        std::size_t material = 0;
        for (std::size_t i = 0; i < element.properties.size(); ++i) {
            const PlyProperty& property = element.properties[i];
            if (i == indices) {
                ReadIndices(property);
            } else if (property.name == "texcoord" && property.countType) {
                ReadTexCoords(property);
            } else if (property.name == "texnumber" && !property.countType && m_MayChooseMaterial) {
                material = m_Values.NextIndex(property.type, m_Materials.size(), "texture number");
            } else {
                SkipValues(property);
            }
        }
        AddPolygon(material);
    }

    void ReadIndices(const PlyProperty& list) {
        const std::size_t count = m_Values.NextCount(list);
        for (std::size_t i = 0; i < count; ++i) {
            Corner corner;
            corner.position =
                static_cast<UINT32>(m_Values.NextIndex(list.type, m_Arrays.positions.size(), "face index"));
            corner.normal = m_Arrays.normals.empty() ? Corner::c_None : corner.position;
            corner.texCoord = m_VertexColumns->Has(6, 8) ? corner.position : Corner::c_None;
            m_Polygon.push_back(corner);
        }
    }

    void ReadTexCoords(const PlyProperty& list) {
        const std::size_t count = m_Values.NextCount(list);
        for (std::size_t i = 0; i < count; ++i) {
            m_CornerTexCoords.push_back(Narrowed(m_Values.Next(list.type)));
        }
    }

    void AddPolygon(std::size_t material) {
        if (!m_CornerTexCoords.empty()) {
            if (m_CornerTexCoords.size() != 2 * m_Polygon.size()) {
                m_Values.Fail(std::to_string(m_CornerTexCoords.size()) + " texture coordinates for " +
                              std::to_string(m_Polygon.size()) + " corners");
            }
            for (std::size_t i = 0; i < m_Polygon.size(); ++i) {
                m_Polygon[i].texCoord = AddTexCoord(m_CornerTexCoords[2 * i], m_CornerTexCoords[2 * i + 1]);
            }
        }
        const std::optional<std::vector<Corner>> triangles = Triangulate(m_Polygon, m_Arrays.positions);
        if (!triangles) {
            m_Values.Fail("a concave face with " + std::to_string(m_Polygon.size()) + " corners is too large");
        }
        if (m_Untextured.empty() && !triangles->empty() && m_Polygon.front().texCoord == Corner::c_None) {
            m_Untextured = m_Values.Place() + ": a face without texture coordinates";
        }
        m_Corners[material].insert(m_Corners[material].end(), triangles->begin(), triangles->end());
        m_Rows[material].resize(m_Corners[material].size() / 3, m_Values.RowNumber());
    }

    const std::string& m_Path;
    const PlyHeader m_Header;
    PlyValues m_Values;
    std::vector<SourceMaterial> m_Materials;
    bool m_MayChooseMaterial = false;
    CornerArrays m_Arrays;
    std::vector<std::vector<Corner>> m_Corners;  ///< for each material
    std::vector<std::vector<UINT32>> m_Rows;     ///< likewise: where the triangles are in the file
    bool m_HasPicture = false;
    bool m_HasAlpha = false;
    std::string m_Untextured;

    const PlyElement* m_VertexElement = nullptr;
    std::optional<VertexColumns> m_VertexColumns;
    std::vector<float> m_Scalars;
    std::vector<Corner> m_Polygon;
    std::vector<float> m_CornerTexCoords;
};

}  // namespace

ImportedFile ReadPly(const std::string& path, Materials materials) {
    const std::vector<BYTE> bytes = ReadFileBytes(path, "the mesh");
    return PlyReader(path, AsText(bytes), materials).Read();
}

}  // namespace Nimb::Authoring
