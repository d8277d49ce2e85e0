#include "Authoring/Source/ObjFile.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/CornerMesh.h"
#include "Authoring/Source/FileBytes.h"
#include "Authoring/Source/Narrow.h"
#include "Authoring/Source/PictureStore.h"
#include "Authoring/Source/SkippedNames.h"
#include "Authoring/Source/TextScan.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <string_view>

namespace Nimb::Authoring {
namespace {

/// Logical lines of a text: without comments, and with lines joined that end in a backslash.
class Lines {
public:
    Lines(const std::string& path, std::string_view text) : m_Path(path), m_Rest(WithoutByteOrderMark(text)) {}

    bool Next(std::string_view& line) {
        m_Line += m_Extra + 1;
        m_Extra = 0;
        if (m_Rest.empty()) {
            return false;
        }
        line = TakeLine(m_Rest);
        if (!line.empty() && line.back() == '\\') {
            m_Joined = line;
            while (!m_Joined.empty() && m_Joined.back() == '\\') {
                m_Joined.back() = ' ';
                m_Joined += TakeLine(m_Rest);
                ++m_Extra;
            }
            line = m_Joined;
        }
        line = line.substr(0, line.find('#'));
        return true;
    }

    std::string Place() const { return m_Path + ":" + std::to_string(m_Line); }

    std::size_t Number() const { return m_Line; }

    [[noreturn]] void Fail(const std::string& text) const { throw InputError(Place() + ": " + text); }

private:
    const std::string& m_Path;
    std::string_view m_Rest;
    std::string m_Joined;
    std::size_t m_Line = 0;
    std::size_t m_Extra = 0;
};

template <std::size_t N>
std::array<float, N> TakeFloats(std::string_view text, const Lines& lines, const char* what) {
    std::array<float, N> values{};
    for (float& value : values) {
        const std::string_view word = TakeWord(text);
        if (word.empty()) {
            lines.Fail(std::string(what) + " needs " + std::to_string(N) + " numbers");
        }
        // As a double: numbers too small for a float are zero, not wrong.
        double number = 0;
        const bool isNumber = ParseNumber(word, number);
        value = Narrowed(number);
        if (!isNumber || !std::isfinite(value)) {
            lines.Fail("'" + std::string(word) + "' in " + what + " is not a finite number");
        }
    }
    return values;
}

/// The file of a map_Kd line. Its options come first. Those that move the picture are refused; the others do not matter
/// here.
std::string MapFile(std::string_view text, const Lines& lines) {
    static const std::map<std::string_view, int> s_OptionWords = {
        {"-blendu", 1},  {"-blendv", 1}, {"-boost", 1}, {"-mm", 2}, {"-texres", 1},    {"-clamp", 1},
        {"-imfchan", 1}, {"-type", 1},   {"-bm", 1},    {"-cc", 1}, {"-colorspace", 1}};
    for (text = WithoutBlanksAround(text); !text.empty() && text.front() == '-'; text = WithoutBlanksAround(text)) {
        const std::string_view option = TakeWord(text);
        const auto known = s_OptionWords.find(option);
        if (known == s_OptionWords.end()) {
            lines.Fail("map_Kd with the option " + std::string(option) + " is not supported");
        }
        for (int i = 0; i < known->second; ++i) {
            TakeWord(text);
        }
    }
    if (text.empty()) {
        lines.Fail("map_Kd without a file");
    }
    return std::string(text);
}

using Library = std::map<std::string, SourceMaterial>;

void ReadMaterialLibrary(const std::string& path, Library& library) {
    const std::vector<BYTE> bytes = ReadFileBytes(path, "the material library");
    Lines lines(path, AsText(bytes));
    SourceMaterial* material = nullptr;
    for (std::string_view line; lines.Next(line);) {
        const std::string_view word = TakeWord(line);
        if (word == "newmtl") {
            const std::string name(WithoutBlanksAround(line));
            material = &(library[name] = SourceMaterial{});
            material->name = name;
            continue;
        }
        if (word != "Kd" && word != "map_Kd" && word != "d" && word != "Tr" && word != "map_d") {
            continue;
        }
        if (material == nullptr) {
            lines.Fail(std::string(word) + " before the first newmtl");
        }
        if (word == "map_Kd") {
            material->picture = Picture{PathBeside(path, MapFile(line, lines)), nullptr};
            material->colour = {1, 1, 1, 1};
        } else if (word == "d" || word == "Tr") {
            std::string_view value = TakeWord(line);
            value = value == "-halo" ? TakeWord(line) : value;
            double number = 0;
            if (ParseNumber(value, number) && (word == "d" ? number < 1 : number > 0 && number < 1)) {
                material->transparency = Transparency::Always;
            }
        } else if (word == "map_d") {
            material->transparency = Transparency::Always;
        } else if (!material->picture) {
            const std::array<float, 3> kd = TakeFloats<3>(line, lines, "Kd");
            material->colour = {LinearOf(kd[0]), LinearOf(kd[1]), LinearOf(kd[2]), 1};
        }
    }
}

class ObjReader {
public:
    ObjReader(const std::string& path, std::string_view text, Materials materials, SkippedNames& skipped)
        : m_Path(path), m_Lines(path, text), m_Materials(materials), m_Skipped(skipped) {}

    ImportedFile Read() {
        for (std::string_view line; m_Lines.Next(line);) {
            ReadLine(line);
        }
        m_Skipped.Check(m_Path);
        FinishColours();
        ImportedFile file;
        for (Group& group : m_Groups) {
            if (!group.corners.empty()) {
                file.materials.push_back(group.material);
                file.meshes.push_back(FinishGroup(group, file.meshes.size()));
            }
        }
        if (file.meshes.empty()) {
            throw InputError(m_Path + ": has no triangles");
        }
        return file;
    }

private:
    struct Group {
        SourceMaterial material;
        bool hasMaterial = false;
        std::vector<Corner> corners;
        std::vector<UINT32> lines;  ///< for each triangle
        std::string untextured;
    };

    void ReadLine(std::string_view line) {
        const std::string_view word = TakeWord(line);
        if (word == "v") {
            const auto [x, y, z] = TakeFloats<3>(line, m_Lines, "a position");
            m_Arrays.positions.push_back({x, y, z});
            ReadColour(line);
        } else if (word == "vt") {
            const auto [u, v] = TakeFloats<2>(line, m_Lines, "a texture coordinate");
            m_Arrays.texCoords.push_back({u, v});
        } else if (word == "vn") {
            const auto [x, y, z] = TakeFloats<3>(line, m_Lines, "a normal");
            m_Arrays.normals.push_back({x, y, z});
        } else if (word == "f") {
            ReadFace(line);
        } else if (word == "o") {
            m_IsObjectSkipped = m_Skipped.Contains(std::string(WithoutBlanksAround(line)));
            m_IsGroupSkipped = false;
        } else if (word == "g") {
            ReadGroupNames(line);
        } else if (word == "usemtl") {
            UseMaterial(std::string(WithoutBlanksAround(line)));
        } else if (word == "mtllib" && m_Materials == Materials::Read) {
            ReadLibrary(line);
        }
    }

    /// What many scanners' software appends to a position: red, green and blue.
    void ReadColour(std::string_view line) {
        for (int i = 0; i < 3; ++i) {
            TakeWord(line);
        }
        const std::string_view colour = line;
        TakeWord(line);
        TakeWord(line);
        if (!TakeWord(line).empty()) {
            const auto [red, green, blue] = TakeFloats<3>(colour, m_Lines, "a vertex colour");
            m_MaxColour = std::max({m_MaxColour, red, green, blue});
            m_Arrays.colours.resize(m_Arrays.positions.size() - 1, {-1, -1, -1, 1});
            m_Arrays.colours.push_back({std::max(red, 0.0F), std::max(green, 0.0F), std::max(blue, 0.0F), 1});
        }
    }

    /// From sRGB, as fractions in some files and as numbers up to 255 in others; vertices without a colour are white.
    void FinishColours() {
        const float full = m_MaxColour > 1 ? 255 : 1;
        for (Colour& colour : m_Arrays.colours) {
            for (std::size_t i = 0; i < 3; ++i) {
                colour[i] = colour[i] < 0 ? 1 : LinearOf(std::min(colour[i] / full, 1.0F));
            }
        }
    }

    void ReadGroupNames(std::string_view line) {
        m_IsGroupSkipped = false;
        for (std::string_view name = TakeWord(line); !name.empty(); name = TakeWord(line)) {
            const bool isSkipped = m_Skipped.Contains(std::string(name));
            m_IsGroupSkipped = m_IsGroupSkipped || isSkipped;
        }
    }

    /// Names may have blanks in them, so a line names one file.
    void ReadLibrary(std::string_view line) {
        const std::string whole = PathBeside(m_Path, std::string(WithoutBlanksAround(line)));
        try {
            ReadMaterialLibrary(whole, m_Library);
        } catch (const InputError& e) {
            m_Lines.Fail(e.what());
        }
    }

    void UseMaterial(const std::string& name) {
        const auto [known, isNew] = m_GroupOf.try_emplace(name, m_Groups.size());
        m_Current = known->second;
        if (!isNew) {
            return;
        }
        Group group;
        group.hasMaterial = true;
        group.material.name = name;
        if (m_Materials == Materials::Read) {
            const auto found = m_Library.find(name);
            if (found == m_Library.end()) {
                m_Lines.Fail("no material library read so far has the material '" + name + "'");
            }
            group.material = found->second;
        }
        m_Groups.push_back(std::move(group));
    }

    void ReadFace(std::string_view line) {
        std::vector<Corner> polygon;
        for (std::string_view word = TakeWord(line); !word.empty(); word = TakeWord(line)) {
            polygon.push_back(CornerOf(word));
        }
        if (polygon.size() < 3) {
            m_Lines.Fail("a face needs at least three corners");
        }
        if (m_IsObjectSkipped || m_IsGroupSkipped) {
            return;
        }
        const std::optional<std::vector<Corner>> triangles = Triangulate(polygon, m_Arrays.positions);
        if (!triangles) {
            m_Lines.Fail("a concave face with " + std::to_string(polygon.size()) + " corners is too large");
        }
        if (m_Current == c_NoGroup) {
            m_Current = m_Groups.size();
            m_Groups.emplace_back();
        }
        Group& group = m_Groups[m_Current];
        group.corners.insert(group.corners.end(), triangles->begin(), triangles->end());
        group.lines.resize(group.corners.size() / 3, static_cast<UINT32>(m_Lines.Number()));
        if (group.untextured.empty() && !triangles->empty()) {
            for (const Corner& corner : polygon) {
                if (corner.texCoord == Corner::c_None) {
                    group.untextured = m_Lines.Place() + ": a face without texture coordinates";
                }
            }
        }
    }

    /// v, v/vt, v//vn or v/vt/vn.
    Corner CornerOf(std::string_view word) const {
        Corner corner;
        UINT32* const fields[] = {&corner.position, &corner.texCoord, &corner.normal};
        const std::size_t counts[] = {m_Arrays.positions.size(), m_Arrays.texCoords.size(), m_Arrays.normals.size()};
        const char* const names[] = {"positions", "texture coordinates", "normals"};
        std::string_view rest = word;
        for (std::size_t i = 0; i < 3 && !rest.empty(); ++i) {
            const std::size_t slash = rest.find('/');
            const std::string_view number = rest.substr(0, slash);
            rest.remove_prefix(slash == std::string_view::npos ? rest.size() : slash + 1);
            if (!number.empty()) {
                *fields[i] = IndexOf(number, counts[i], names[i]);
            }
        }
        if (!rest.empty() || corner.position == Corner::c_None) {
            m_Lines.Fail("'" + std::string(word) + "' is not a face corner");
        }
        return corner;
    }

    /// From 1, or from the end of what has been read so far when negative.
    UINT32 IndexOf(std::string_view word, std::size_t count, const char* what) const {
        std::int64_t index = 0;
        if (!ParseNumber(word, index)) {
            m_Lines.Fail("'" + std::string(word) + "' in a face is not a whole number");
        }
        const std::int64_t signedCount = static_cast<std::int64_t>(count);
        if (index == 0 || index > signedCount || index < -signedCount) {
            m_Lines.Fail("face index " + std::to_string(index) + " is out of range: there are " +
                         std::to_string(count) + " " + what + " so far");
        }
        return static_cast<UINT32>(index > 0 ? index - 1 : signedCount + index);
    }

    ImportedMesh FinishGroup(Group& group, std::size_t material) const {
        if (m_Materials == Materials::Read && !group.hasMaterial && m_Arrays.colours.empty()) {
            throw InputError(m_Path + ": faces without a material have no picture; use --texture to name one");
        }
        const bool hasPicture = m_Materials == Materials::Ignore || group.material.picture.has_value();
        ImportedMesh imported = ImportedMeshOf(m_Arrays, std::move(group.corners), hasPicture);
        imported.material = material;
        imported.untextured = group.untextured;
        imported.rows = std::move(group.lines);
        imported.place = m_Path + ":";
        return imported;
    }

    static constexpr std::size_t c_NoGroup = SIZE_MAX;

    const std::string& m_Path;
    Lines m_Lines;
    const Materials m_Materials;
    SkippedNames& m_Skipped;
    bool m_IsObjectSkipped = false;
    bool m_IsGroupSkipped = false;
    CornerArrays m_Arrays;
    float m_MaxColour = 0;
    Library m_Library;
    std::vector<Group> m_Groups;
    std::map<std::string, std::size_t> m_GroupOf;
    std::size_t m_Current = c_NoGroup;
};

}  // namespace

ImportedFile ReadObj(const std::string& path, Materials materials, SkippedNames& skipped) {
    const std::vector<BYTE> bytes = ReadFileBytes(path, "the mesh");
    return ObjReader(path, AsText(bytes), materials, skipped).Read();
}

}  // namespace Nimb::Authoring
