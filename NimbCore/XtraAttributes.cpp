// ReadXtraAttributes: the file attribute atom, named values whose names are attribute ids in text form.
//
// An entry, offsets from its name; Authoring/Codec/XtraAttributes.cpp writes it:
//
//     0  38 bytes   "{...}", the id in registry form, upper case
//    38  2 bytes    not examined
//    40  4 bytes    number of values, big-endian, 1
//    44  4 bytes    size of the value with this field and its type, big-endian, at least 6
//    48  2 bytes    type, big-endian
//    50             value, little-endian
//
// In the wrapped form the type at 48 says "blob", the type proper is at 50, little-endian, and the value at 54.
#include "Nimb/NimbAssert.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

namespace NimbCrossPlatform {
namespace {

// Property-variant codes.
constexpr int c_TypeDouble = 5;
constexpr int c_TypeUINT32 = 19;
constexpr int c_TypeBlob = 65;

struct Row {
    const char* guidText;
    _GUID attribute;
    int type;
    bool required;
};

/// Bytes from one place to the end of the block.
struct Region {
    const BYTE* data;
    std::size_t size;

    /// From the first occurrence of a text on; none: no bytes.
    Region From(const char* text) const {
        const BYTE* const end = data + size;
        const BYTE* const found = std::search(data, end, text, text + std::strlen(text),
                                              [](BYTE a, char b) { return a == static_cast<BYTE>(b); });
        return {found, static_cast<std::size_t>(end - found)};
    }
};

UINT32 ReadBigEndian32(const BYTE* p) {
    return UINT32{p[0]} << 24 | UINT32{p[1]} << 16 | UINT32{p[2]} << 8 | p[3];
}

/// A value as it stands in the block, `size` bytes of it being there.
struct Value {
    int type;
    const BYTE* data;
    std::size_t size;
};

/// Reads the entry whose name begins at `entry`, of which `size` bytes remain. False when a field is malformed or
/// missing.
bool ReadEntry(const BYTE* entry, std::size_t size, Value* value) {
    if (size < 50 || ReadBigEndian32(entry + 40) != 1 || ReadBigEndian32(entry + 44) < 6) {
        return false;
    }
    *value = {entry[48] << 8 | entry[49], entry + 50, size - 50};
    if (value->type == c_TypeBlob) {
        if (size < 54) {
            return false;
        }
        *value = {entry[50] | entry[51] << 8, entry + 54, size - 54};
    }
    return true;
}

template <class T>
bool Load(const Value& value, T* out) {
    if (value.size < sizeof(T)) {
        return false;
    }
    std::memcpy(out, value.data, sizeof(T));
    return true;
}

bool Store(const Row& row, const Value& value, INimbAttributesCore* attributes) {
    UINT32 integer = 0;
    double real = 0.0;
    switch (row.type) {
        case c_TypeUINT32:
            return Load(value, &integer) && Succeeded(attributes->SetUINT32(row.attribute, integer));
        case c_TypeDouble:
            return Load(value, &real) && Succeeded(attributes->SetDouble(row.attribute, real));
        default:
            NIMB_ASSERT_MSG(false, "0");
    }
}

using Say = std::function<void(const char*)>;

bool ReadRow(const Row& row, const Region& region, INimbAttributesCore* attributes, const Say& say) {
    const Region entry = region.From(row.guidText);
    if (entry.size == 0) {
        if (row.required) {
            say((std::string("ReadXtraAttributes: couldn't find attribute for guid ") + row.guidText).c_str());
        }
        return !row.required;
    }
    Value value;
    if (!ReadEntry(entry.data, entry.size, &value)) {
        return false;
    }
    if (value.type != row.type) {
        const std::string line = "ReadXtraAttributes: expected type " + std::to_string(row.type) + " but got type " +
                                 std::to_string(value.type) + " for attribute " + row.guidText;
        say(line.c_str());
        return false;
    }
    return Store(row, value, attributes);
}

bool ReadAllRows(const Region& block, INimbAttributesCore* attributes, const Say& say) {
    static const Row rows[] = {
        {"{36B53E4E-0A14-42F8-8143-DCA29E480AA8}", NimbAttrib_FrameCount, c_TypeUINT32, true},
        {"{A5E5F089-BA7D-48B3-8145-4C9C2E412D42}", NimbAttrib_MaxVertexCount, c_TypeUINT32, true},
        {"{C0E6118D-A24F-491C-96F7-CC5A8FA70D24}", NimbAttrib_MaxIndexCount, c_TypeUINT32, true},
        {"{EEB82BC6-22FE-426F-85FC-07164EDB31F4}", NimbAttrib_BBoxMinX, c_TypeDouble, true},
        {"{1B717E5A-75CF-4358-8FC7-29AA210A4654}", NimbAttrib_BBoxMaxX, c_TypeDouble, true},
        {"{5928706C-CC40-427C-9B25-93BD5A958E31}", NimbAttrib_BBoxMinY, c_TypeDouble, true},
        {"{C8483604-0704-4EFC-A5A3-3AC719707224}", NimbAttrib_BBoxMaxY, c_TypeDouble, true},
        {"{28111338-A3FB-4C29-8C1B-A90D308BBE4E}", NimbAttrib_BBoxMinZ, c_TypeDouble, true},
        {"{0694A656-DABD-49B1-896C-8FE0880CC276}", NimbAttrib_BBoxMaxZ, c_TypeDouble, true},
        {"{DE7A5734-8816-4C0A-A16E-2B61666EBB02}", NimbAttrib_HasVertexNormals, c_TypeUINT32, false},
    };

    // Deliberate: box sizes are not looked at, and everything after the type is searched.
    const Region region = block.From("Xtra");
    if (region.size == 0) {
        say("ReadXtraAttributes: didn't find Xtra atom");
        return false;
    }
    for (const Row& row : rows) {
        if (!ReadRow(row, region, attributes, say)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool FindXtraAttributes(const void* data, std::size_t size, INimbAttributesCore* attributes, const Say& say) {
    NIMB_ASSERT(data != nullptr || size == 0);
    NIMB_ASSERT(attributes != nullptr);
    return ReadAllRows({static_cast<const BYTE*>(data), size}, attributes, say);
}

bool ReadXtraAttributes(const void* data, std::size_t size, INimbAttributesCore* attributes) try {
    return FindXtraAttributes(data, size, attributes, [](const char* line) { std::printf("%s\n", line); });
} catch (const Nimb::AssertionFailure&) {
    return false;
}

}  // namespace NimbCrossPlatform
