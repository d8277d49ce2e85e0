// Any bytes as a file's end: reading is repeatable, what it calls complete is complete, and nothing of it depends on
// what stands in front of the atom. And any bytes as attributes: what is written comes back bit for bit, from between
// other bytes, and never with wrong values when the end is cut off.
#include "Authoring/Codec/XtraAttributes.h"
#include "Fuzz/Require.h"
#include "NimbCore/FileTail.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

using Nimb::Authoring::FileAttributes;
using Bytes = std::vector<BYTE>;

const _GUID* const c_Ids[] = {&NimbAttrib_FrameCount,      &NimbAttrib_MaxVertexCount, &NimbAttrib_MaxIndexCount,
                              &NimbAttrib_BBoxMinX,        &NimbAttrib_BBoxMaxX,       &NimbAttrib_BBoxMinY,
                              &NimbAttrib_BBoxMaxY,        &NimbAttrib_BBoxMinZ,       &NimbAttrib_BBoxMaxZ,
                              &NimbAttrib_HasVertexNormals};
constexpr std::size_t c_Required = 9;

/// Eight bytes for each id that the store has, in the order of the table.
struct Contents {
    bool success = false;
    std::vector<std::optional<UINT64>> values;

    bool operator==(const Contents& other) const { return success == other.success && values == other.values; }
};

Contents Read(const Bytes& bytes) {
    const std::unique_ptr<BYTE[]> block(new BYTE[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), block.get());
    const NIMBCORE::CComPtr<NimbCrossPlatform::Buffer> store(new NimbCrossPlatform::Buffer(1));
    Contents contents;
    contents.success = NimbCrossPlatform::ReadXtraAttributes(block.get(), bytes.size(), store);
    for (const _GUID* id : c_Ids) {
        UINT64 value = 0;
        contents.values.push_back(Succeeded(store->GetUINT64(*id, &value)) ? std::make_optional(value) : std::nullopt);
    }
    return contents;
}

/// Rows are read in the table's order up to the first failure, so a missing required value has no successors.
void CheckAnyBlock(const Bytes& block) {
    const Contents contents = Read(block);
    const auto firstMissing = std::find(contents.values.begin(), contents.values.end(), std::nullopt);
    const auto required = contents.values.begin() + c_Required;
    Require(std::all_of(firstMissing, contents.values.end(), [](const auto& value) { return !value; }));
    Require(!contents.success || firstMissing >= required);
    Require(Read(block) == contents);

    Bytes shifted(7, '.');
    shifted.insert(shifted.end(), block.begin(), block.end());
    Require(Read(shifted) == contents);
}

FileAttributes TakeAttributes(const BYTE* data) {
    FileAttributes attributes;
    const auto take = [&](auto* field) {
        std::memcpy(field, data, sizeof(*field));
        data += sizeof(*field);
    };
    take(&attributes.frameCount);
    take(&attributes.maxVertexCount);
    take(&attributes.maxIndexCount);
    take(&attributes.bboxMin);
    take(&attributes.bboxMax);
    UINT32 normals = 0;
    take(&normals);
    if ((normals & 1) != 0) {
        attributes.hasVertexNormals = normals;
    }
    return attributes;
}
constexpr std::size_t c_AttributeBytes = 3 * sizeof(UINT32) + 6 * sizeof(double) + sizeof(UINT32);

Contents Expected(const FileAttributes& attributes) {
    Contents contents;
    contents.success = true;
    contents.values = {attributes.frameCount, attributes.maxVertexCount, attributes.maxIndexCount};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (const double bound : {attributes.bboxMin[axis], attributes.bboxMax[axis]}) {
            UINT64 bits = 0;
            std::memcpy(&bits, &bound, sizeof(bits));
            contents.values.emplace_back(bits);
        }
    }
    contents.values.push_back(attributes.hasVertexNormals);
    return contents;
}

void CheckRoundTrip(const FileAttributes& attributes, Nimb::Authoring::AtomForm form, const Bytes& around,
                    std::size_t cut) {
    const Bytes atom = Nimb::Authoring::WriteAttributeAtom(attributes, form);
    Require(atom.size() <= Nimb::c_FileTailBytes);
    const Contents expected = Expected(attributes);

    // A brace may begin a name, and a name in front of the atom, behind other bytes that read "Xtra", would win; one
    // behind it may supply the optional value.
    Bytes block(around);
    std::replace(block.begin(), block.end(), BYTE{'{'}, BYTE{'('});
    const Bytes behind(block);
    block.insert(block.end(), atom.begin(), atom.end());
    block.insert(block.end(), behind.begin(), behind.end());
    Require(Read(block) == expected);

    const Contents part = Read(Bytes(atom.begin(), atom.begin() + static_cast<std::ptrdiff_t>(cut % atom.size())));
    for (std::size_t i = 0; i < part.values.size(); ++i) {
        Require(!part.values[i] || part.values[i] == expected.values[i]);
    }
    Require(!part.success || !part.values[c_Required]);
}

/// Overwrites bytes of an atom, three bytes of `patches` each (position, value): blocks that pass most checks.
void CheckDamaged(Bytes atom, const Bytes& patches) {
    for (std::size_t i = 0; i + 3 <= patches.size(); i += 3) {
        atom[static_cast<std::size_t>(patches[i] << 8 | patches[i + 1]) % atom.size()] = patches[i + 2];
    }
    CheckAnyBlock(atom);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The reader explains itself on standard output, millions of times here.
    return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CheckAnyBlock(Bytes(data, data + size));
    if (size > c_AttributeBytes + 2) {
        const std::size_t cut = static_cast<std::size_t>(data[0] << 8 | data[1]);
        const Bytes around(data + 2 + c_AttributeBytes, data + size);
        for (const Nimb::Authoring::AtomForm form :
             {Nimb::Authoring::AtomForm::Plain, Nimb::Authoring::AtomForm::Wrapped}) {
            CheckRoundTrip(TakeAttributes(data + 2), form, around, cut);
            CheckDamaged(Nimb::Authoring::WriteAttributeAtom(TakeAttributes(data + 2), form), around);
        }
    }
    return 0;
}
