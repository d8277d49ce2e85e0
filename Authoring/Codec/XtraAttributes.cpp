// Writer of the file attribute atom: a box of entries, each
//
//     4 bytes   size of the entry, big-endian
//     4 bytes   size of the name, big-endian
//    40 bytes   name: the attribute's id in registry form and two zero bytes
//     4 bytes   number of values, big-endian: 1
//     4 bytes   size of the value, this field and the type included, big-endian
//     2 bytes   type, big-endian
//               value, little-endian
//
// In the wrapped form the type is "blob" and the value is the type proper, little-endian, two zero bytes and the value.
#include "Authoring/Codec/XtraAttributes.h"

#include "NimbCore/FileTail.h"

#include <cstdio>
#include <cstring>

namespace Nimb::Authoring {
namespace {

// Property-variant codes.
constexpr unsigned c_TypeDouble = 5;
constexpr unsigned c_TypeUINT32 = 19;
constexpr unsigned c_TypeBlob = 65;

constexpr std::size_t c_NameSize = 40;
constexpr std::size_t c_EntryOverhead = 4 + 4 + c_NameSize + 4 + 4 + 2;
constexpr std::size_t c_WrapOverhead = 4;
static_assert(8 + 10 * (c_EntryOverhead + c_WrapOverhead) + 4 * sizeof(UINT32) + 6 * sizeof(double) <= c_FileTailBytes,
              "the largest atom fits the window");

class AtomWriter {
public:
    explicit AtomWriter(AtomForm form) : m_Form(form) {
        BigEndian(0, 4);  // the box size, known at the end
        m_Box.insert(m_Box.end(), {'X', 't', 'r', 'a'});
    }

    void Add(const _GUID& attribute, UINT32 value) { AddEntry(attribute, c_TypeUINT32, value, sizeof(value)); }

    void Add(const _GUID& attribute, double value) {
        UINT64 bits = 0;
        std::memcpy(&bits, &value, sizeof(bits));
        AddEntry(attribute, c_TypeDouble, bits, sizeof(bits));
    }

    std::vector<BYTE> Finish() && {
        const std::size_t size = m_Box.size();
        m_Box[2] = static_cast<BYTE>(size >> 8);
        m_Box[3] = static_cast<BYTE>(size);
        return std::move(m_Box);
    }

private:
    void AddEntry(const _GUID& attribute, unsigned type, UINT64 bits, std::size_t width) {
        const bool wrapped = m_Form == AtomForm::Wrapped;
        const std::size_t content = width + (wrapped ? c_WrapOverhead : 0);
        BigEndian(c_EntryOverhead + content, 4);
        BigEndian(c_NameSize, 4);
        Name(attribute);
        BigEndian(1, 4);
        BigEndian(4 + 2 + content, 4);
        BigEndian(wrapped ? c_TypeBlob : type, 2);
        if (wrapped) {
            LittleEndian(type, c_WrapOverhead);
        }
        LittleEndian(bits, width);
    }

    void Name(const _GUID& id) {
        char text[c_NameSize] = {};
        std::snprintf(text, sizeof(text), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", id.Data1, id.Data2,
                      id.Data3, id.Data4[0], id.Data4[1], id.Data4[2], id.Data4[3], id.Data4[4], id.Data4[5],
                      id.Data4[6], id.Data4[7]);
        m_Box.insert(m_Box.end(), text, text + sizeof(text));
    }

    void BigEndian(UINT64 value, std::size_t width) {
        for (std::size_t i = width; i-- != 0;) {
            m_Box.push_back(static_cast<BYTE>(value >> 8 * i));
        }
    }

    void LittleEndian(UINT64 value, std::size_t width) {
        for (std::size_t i = 0; i != width; ++i) {
            m_Box.push_back(static_cast<BYTE>(value >> 8 * i));
        }
    }

    AtomForm m_Form;
    std::vector<BYTE> m_Box;
};

}  // namespace

std::vector<BYTE> WriteAttributeAtom(const FileAttributes& attributes, AtomForm form) {
    AtomWriter atom(form);
    atom.Add(NimbAttrib_FrameCount, attributes.frameCount);
    atom.Add(NimbAttrib_MaxVertexCount, attributes.maxVertexCount);
    atom.Add(NimbAttrib_MaxIndexCount, attributes.maxIndexCount);
    atom.Add(NimbAttrib_BBoxMinX, attributes.bboxMin[0]);
    atom.Add(NimbAttrib_BBoxMaxX, attributes.bboxMax[0]);
    atom.Add(NimbAttrib_BBoxMinY, attributes.bboxMin[1]);
    atom.Add(NimbAttrib_BBoxMaxY, attributes.bboxMax[1]);
    atom.Add(NimbAttrib_BBoxMinZ, attributes.bboxMin[2]);
    atom.Add(NimbAttrib_BBoxMaxZ, attributes.bboxMax[2]);
    if (attributes.hasVertexNormals) {
        atom.Add(NimbAttrib_HasVertexNormals, *attributes.hasVertexNormals);
    }
    return std::move(atom).Finish();
}

}  // namespace Nimb::Authoring
