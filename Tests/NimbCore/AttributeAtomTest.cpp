// The file attribute atom, written and read back, whole, damaged and cut; and the check of streaming locations.
#include "Authoring/Codec/XtraAttributes.h"
#include "NimbCore/FileTail.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Nimb::Authoring::AtomForm;
using Nimb::Authoring::FileAttributes;
using Nimb::Authoring::WriteAttributeAtom;
using NIMBCORE::CComPtr;
using NimbCrossPlatform::Buffer;
using NimbCrossPlatform::IsValidStreamingURL;
using NimbCrossPlatform::ReadXtraAttributes;
using Bytes = std::vector<BYTE>;

constexpr char c_FrameCountName[] = "{36B53E4E-0A14-42F8-8143-DCA29E480AA8}";
constexpr char c_MaxVertexCountName[] = "{A5E5F089-BA7D-48B3-8145-4C9C2E412D42}";
constexpr char c_MinXName[] = "{EEB82BC6-22FE-426F-85FC-07164EDB31F4}";
constexpr char c_MaxZName[] = "{0694A656-DABD-49B1-896C-8FE0880CC276}";
constexpr char c_NormalsName[] = "{DE7A5734-8816-4C0A-A16E-2B61666EBB02}";

FileAttributes SomeAttributes() {
    FileAttributes attributes;
    attributes.frameCount = 0x01020304;
    attributes.maxVertexCount = 0xFFFFFFFF;
    attributes.maxIndexCount = 3;
    attributes.bboxMin = {-1.5, -0.0, -std::numeric_limits<double>::infinity()};
    attributes.bboxMax = {1e300, std::numeric_limits<double>::denorm_min(), 0.1};
    attributes.hasVertexNormals = 1;
    return attributes;
}

struct ReadResult {
    bool success;
    CComPtr<Buffer> store;
    std::string output;
};

/// Reads from a block of exactly the data's size, so that a sanitizer sees the first byte read too many.
ReadResult Read(const Bytes& data) {
    const std::unique_ptr<BYTE[]> block(new BYTE[data.size()]);
    std::copy(data.begin(), data.end(), block.get());
    ReadResult result{false, new Buffer(1), {}};
    testing::internal::CaptureStdout();
    result.success = ReadXtraAttributes(block.get(), data.size(), result.store);
    result.output = testing::internal::GetCapturedStdout();
    return result;
}

/// What a store holds under the atom's ids, absent values left at `absent`. Doubles as bits: -0 and 0 differ.
std::vector<UINT64> Values(Buffer* store) {
    constexpr UINT64 absent = 0xABCDEF0123456789;
    std::vector<UINT64> values;
    for (const _GUID* id : {&NimbAttrib_FrameCount, &NimbAttrib_MaxVertexCount, &NimbAttrib_MaxIndexCount,
                            &NimbAttrib_BBoxMinX, &NimbAttrib_BBoxMinY, &NimbAttrib_BBoxMinZ, &NimbAttrib_BBoxMaxX,
                            &NimbAttrib_BBoxMaxY, &NimbAttrib_BBoxMaxZ, &NimbAttrib_HasVertexNormals}) {
        UINT64 value = absent;
        store->GetUINT64(*id, &value);
        values.push_back(value);
    }
    return values;
}

std::vector<UINT64> Values(const FileAttributes& attributes) {
    const CComPtr<Buffer> store(new Buffer(1));
    store->SetUINT32(NimbAttrib_FrameCount, attributes.frameCount);
    store->SetUINT32(NimbAttrib_MaxVertexCount, attributes.maxVertexCount);
    store->SetUINT32(NimbAttrib_MaxIndexCount, attributes.maxIndexCount);
    store->SetDouble(NimbAttrib_BBoxMinX, attributes.bboxMin[0]);
    store->SetDouble(NimbAttrib_BBoxMinY, attributes.bboxMin[1]);
    store->SetDouble(NimbAttrib_BBoxMinZ, attributes.bboxMin[2]);
    store->SetDouble(NimbAttrib_BBoxMaxX, attributes.bboxMax[0]);
    store->SetDouble(NimbAttrib_BBoxMaxY, attributes.bboxMax[1]);
    store->SetDouble(NimbAttrib_BBoxMaxZ, attributes.bboxMax[2]);
    if (attributes.hasVertexNormals) {
        store->SetUINT32(NimbAttrib_HasVertexNormals, *attributes.hasVertexNormals);
    }
    return Values(store.p);
}

/// Offset of an entry's name.
std::size_t Find(const Bytes& atom, std::string_view name) {
    return std::string_view(reinterpret_cast<const char*>(atom.data()), atom.size()).find(name);
}

/// The atom with some bytes of one entry replaced, `offset` counted from its name.
Bytes Patched(Bytes atom, std::string_view name, std::size_t offset, const Bytes& bytes) {
    std::copy(bytes.begin(), bytes.end(), atom.begin() + static_cast<std::ptrdiff_t>(Find(atom, name) + offset));
    return atom;
}

constexpr AtomForm c_Forms[] = {AtomForm::Plain, AtomForm::Wrapped};

TEST(AttributeAtom, ComesBackBitForBit) {
    for (const AtomForm form : c_Forms) {
        for (const bool normals : {true, false}) {
            FileAttributes attributes = SomeAttributes();
            if (!normals) {
                attributes.hasVertexNormals.reset();
            }
            const Bytes atom = WriteAttributeAtom(attributes, form);
            ASSERT_LE(atom.size(), Nimb::c_FileTailBytes);
            Bytes window(Nimb::c_FileTailBytes - atom.size(), 'X');
            window.insert(window.end(), atom.begin(), atom.end());
            for (const Bytes& data : {atom, window}) {
                const ReadResult result = Read(data);
                EXPECT_TRUE(result.success);
                EXPECT_EQ(result.output, "");
                EXPECT_EQ(Values(result.store.p), Values(attributes));
            }
        }
    }
}

TEST(AttributeAtom, BoxAndEntriesAsBytes) {
    using namespace std::string_literals;
    const std::string plain = "Xtra\0\0\0\x3E\0\0\0\x28"s + c_FrameCountName + "\0\0\0\0\0\1\0\0\0\x0A\0\x13\4\3\2\1"s;
    const std::string wrapped =
        "Xtra\0\0\0\x42\0\0\0\x28"s + c_FrameCountName + "\0\0\0\0\0\1\0\0\0\x0E\0\x41\x13\0\0\0\4\3\2\1"s;
    const Bytes plainAtom = WriteAttributeAtom(SomeAttributes(), AtomForm::Plain);
    const Bytes wrappedAtom = WriteAttributeAtom(SomeAttributes(), AtomForm::Wrapped);
    EXPECT_EQ(Bytes(plainAtom.begin(), plainAtom.begin() + 4), (Bytes{0, 0, 652 >> 8, 652 & 0xFF}));
    EXPECT_EQ(plainAtom.size(), 652u);
    EXPECT_EQ(wrappedAtom.size(), 692u);
    EXPECT_EQ(std::string(plainAtom.begin() + 4, plainAtom.begin() + 8 + 62), plain);
    EXPECT_EQ(std::string(wrappedAtom.begin() + 4, wrappedAtom.begin() + 8 + 66), wrapped);
    // The boxes of the entries chain up to exactly the box.
    for (const Bytes& atom : {plainAtom, wrappedAtom}) {
        std::size_t end = 8;
        while (end + 4 <= atom.size()) {
            ASSERT_NE(atom[end + 3], 0);
            end += atom[end + 3];
        }
        EXPECT_EQ(end, atom.size());
    }
}

TEST(AttributeAtom, CutAnywhereItFailsWithoutTheMissingValue) {
    for (const AtomForm form : c_Forms) {
        const Bytes atom = WriteAttributeAtom(SomeAttributes(), form);
        const std::size_t wrap = form == AtomForm::Wrapped ? 4 : 0;
        const std::size_t requiredEnd = Find(atom, c_MaxZName) + 58 + wrap;
        const std::size_t normals = Find(atom, c_NormalsName);
        for (std::size_t size = 0; size <= atom.size(); ++size) {
            const ReadResult result = Read(Bytes(atom.begin(), atom.begin() + static_cast<std::ptrdiff_t>(size)));
            const bool normalsBegun = size >= normals + 38;
            const bool whole = size == normals + 54 + wrap;
            ASSERT_EQ(result.success, size >= requiredEnd && (!normalsBegun || whole)) << size;
            UINT32 flag = 0;
            ASSERT_EQ(Succeeded(result.store->GetUINT32(NimbAttrib_HasVertexNormals, &flag)), whole) << size;
            const bool countThere = size >= Find(atom, c_FrameCountName) + 54 + wrap;
            ASSERT_EQ(Succeeded(result.store->GetUINT32(NimbAttrib_FrameCount, &flag)), countThere) << size;
        }
    }
}

TEST(AttributeAtom, MissingAtomAndValuesAreNamed) {
    const std::string noAtom = "ReadXtraAttributes: didn't find Xtra atom\n";
    EXPECT_EQ(Read({}).output, noAtom);
    EXPECT_EQ(Read({'X', 't', 'r'}).output, noAtom);

    const std::string noFrameCount =
        "ReadXtraAttributes: couldn't find attribute for guid {36B53E4E-0A14-42F8-8143-DCA29E480AA8}\n";
    EXPECT_EQ(Read({0, 'X', 't', 'r', 'a'}).output, noFrameCount);
    const Bytes atom = WriteAttributeAtom(SomeAttributes());
    EXPECT_EQ(Read(Patched(atom, c_FrameCountName, 3, {'b'})).output, noFrameCount) << "lower case is another name";

    // What is in front of the type bytes is not seen.
    Bytes behind(atom);
    std::rotate(behind.begin() + 4, behind.begin() + 8, behind.end());
    const ReadResult result = Read(behind);
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.output, noFrameCount);

    const ReadResult partial = Read(Patched(atom, c_MaxZName, 0, {'['}));
    EXPECT_FALSE(partial.success);
    EXPECT_EQ(partial.output,
              "ReadXtraAttributes: couldn't find attribute for guid {0694A656-DABD-49B1-896C-8FE0880CC276}\n");
    double maxY = 0.0;
    EXPECT_EQ(partial.store->GetDouble(NimbAttrib_BBoxMaxY, &maxY), S_OK) << "what came before stays";
    EXPECT_EQ(maxY, SomeAttributes().bboxMax[1]);
}

TEST(AttributeAtom, MalformedEntriesFail) {
    for (const AtomForm form : c_Forms) {
        const Bytes atom = WriteAttributeAtom(SomeAttributes(), form);
        const struct {
            std::size_t offset;
            Bytes bytes;
            bool success;
        } patches[] = {
            {38, {0xFF, 0xFF}, true},    {40, {0, 0, 0, 0}, false}, {40, {0, 0, 0, 2}, false},
            {40, {1, 0, 0, 1}, false},   {44, {0, 0, 0, 5}, false}, {44, {0, 0, 0, 6}, true},
            {44, {0x80, 0, 0, 0}, true}, {44, {0, 0, 0, 0}, false},
        };
        for (const auto& patch : patches) {
            for (const char* name : {c_MaxVertexCountName, c_MinXName, c_NormalsName}) {
                const ReadResult result = Read(Patched(atom, name, patch.offset, patch.bytes));
                EXPECT_EQ(result.success, patch.success) << name << ' ' << patch.offset;
                EXPECT_EQ(result.output, "");
            }
        }
    }
}

TEST(AttributeAtom, TypesAreBigEndianOrLittleEndianInABlob) {
    const auto mismatch = [](int expected, int got, const char* name) {
        return "ReadXtraAttributes: expected type " + std::to_string(expected) + " but got type " +
               std::to_string(got) + " for attribute " + name + "\n";
    };
    const Bytes plain = WriteAttributeAtom(SomeAttributes(), AtomForm::Plain);
    const Bytes wrapped = WriteAttributeAtom(SomeAttributes(), AtomForm::Wrapped);
    EXPECT_EQ(Read(Patched(plain, c_MinXName, 48, {0, 19})).output, mismatch(5, 19, c_MinXName));
    EXPECT_EQ(Read(Patched(plain, c_NormalsName, 48, {19, 0})).output, mismatch(19, 19 << 8, c_NormalsName));
    EXPECT_EQ(Read(Patched(plain, c_MinXName, 48, {1, 65})).output, mismatch(5, 256 + 65, c_MinXName));
    EXPECT_EQ(Read(Patched(wrapped, c_MinXName, 50, {0, 5})).output, mismatch(5, 5 << 8, c_MinXName));
    EXPECT_EQ(Read(Patched(wrapped, c_MinXName, 50, {65, 0})).output, mismatch(5, 65, c_MinXName)) << "one wrap only";
    EXPECT_TRUE(Read(Patched(wrapped, c_MinXName, 52, {7, 7})).success) << "between type and value anything goes";
}

TEST(AttributeAtom, FirstEntryOfANameWinsAndTheBoxSizeIsNotLookedAt) {
    FileAttributes second = SomeAttributes();
    second.frameCount = 9;
    Bytes two = WriteAttributeAtom(SomeAttributes());
    const Bytes other = WriteAttributeAtom(second);
    two.insert(two.end(), other.begin(), other.end());
    EXPECT_EQ(Values(Read(two).store.p), Values(SomeAttributes()));

    // With its name spoilt in the first box, the value is taken from beyond that box.
    const ReadResult result = Read(Patched(two, c_FrameCountName, 0, {'['}));
    EXPECT_TRUE(result.success);
    EXPECT_EQ(Values(result.store.p), Values(second));
}

TEST(AttributeAtom, NothingToReadOrToStoreInIsAViolation) {
    const Bytes atom = WriteAttributeAtom(SomeAttributes());
    const CComPtr<Buffer> store(new Buffer(1));
    static int violations;
    violations = 0;
    const Nimb::AssertionSink previous = Nimb::SetAssertionSink([](const Nimb::AssertionInfo&) { ++violations; });
    EXPECT_FALSE(ReadXtraAttributes(atom.data(), atom.size(), nullptr));
    EXPECT_FALSE(ReadXtraAttributes(nullptr, 1024, store));
    Nimb::SetAssertionSink(previous);
    EXPECT_EQ(violations, 2);
}

constexpr struct {
    const char* url;
    bool valid;
} c_Urls[] = {
    {"https://volumetric-streaming.example.com", true},
    {"https://content-cdn.example.com/clips/dance.mp4", true},
    {"https://volumetric.example.com:443/", true},
    {"http://elsewhere.example.net/?from=https://volumetric.example.com", true},
    {"", false},
    {"http://volumetric.example.com/", false},
    {"https://volumetric.example.co", false},
    {"HTTPS://VOLUMETRIC.EXAMPLE.COM", false},
    {"https://example.com/volumetric", false},
    {nullptr, false},
};

/// Checks all locations from four threads at once and ends the process with the number of wrong answers.
[[noreturn]] void CheckUrlsAndExit() {
    std::fflush(stdout);  // what was printed until now is not part of the message
    dup2(STDERR_FILENO, STDOUT_FILENO);
    Nimb::SetAssertionSink([](const Nimb::AssertionInfo&) {});
    std::atomic<int> mistakes{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&mistakes] {
            for (const auto& row : c_Urls) {
                mistakes += IsValidStreamingURL(row.url) != row.valid ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::exit(mistakes);
}

// In a process of its own, because the origins are built once in a process: no other test may do it.
TEST(StreamingUrlDeathTest, ContainsAnOriginBuiltOnceByWhicheverThreadIsFirst) {
    EXPECT_EXIT(CheckUrlsAndExit(), testing::ExitedWithCode(0),
                "^build_string url = https://volumetric-streaming.example.com\n"
                "build_string url = https://content-cdn.example.com\n"
                "build_string url = https://volumetric.example.com\n$");
}

}  // namespace
