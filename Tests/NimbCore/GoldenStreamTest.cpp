// Fixed streams and what they decode to, byte for byte: on every processor, with every compiler and at every
// optimisation.
//
// The first part hashes clips that the encoders make of meshes of small exact numbers. A change of hashes that is meant
// (an encoder that finds something smaller) shows in the first column as well; decoded bytes must never change for the
// same stream. The second part is written by hand, as no encoder here writes it.
#include "Tests/Support/GoldenClips.h"
#include "Tests/Support/TestSupport.h"
#include "Tests/Support/Wire.h"

#include <gtest/gtest.h>

#include <cstdio>

using NimbTest::DecodedFrame;
using NimbTest::FrameReader;
using NimbTest::Wire;

namespace {

constexpr UINT32 c_Layouts[] = {5, 7, 13, 15};  // 16-bit and float, each without and with normals

class Fnv {
public:
    void Add(const void* data, std::size_t size) {
        const BYTE* p = static_cast<const BYTE*>(data);
        for (std::size_t i = 0; i < size; ++i) {
            m_Hash = (m_Hash ^ p[i]) * 0x100000001B3ull;
        }
    }
    UINT64 Value() const { return m_Hash; }

private:
    UINT64 m_Hash = 0xCBF29CE484222325ull;
};

struct Golden {
    const char* name;
    UINT64 encoded;
    UINT64 decoded[4];  // by layout
};

/// Hashes of a clip as it is, and of all that it decodes to.
Golden HashClip(const char* name, const std::vector<NimbTest::ByteVector>& clip) {
    Golden hashes{name, 0, {}};
    Fnv encoded;
    for (const NimbTest::ByteVector& frame : clip) {
        encoded.Add(frame.data(), frame.size());
    }
    hashes.encoded = encoded.Value();
    for (std::size_t layout = 0; layout < 4; ++layout) {
        FrameReader reader(c_Layouts[layout]);
        Fnv decoded;
        for (const NimbTest::ByteVector& frame : clip) {
            const DecodedFrame out = reader.Decode(frame);
            EXPECT_EQ(S_OK, out.hr) << name;
            decoded.Add(out.vertices.data(), out.vertices.size());
            decoded.Add(out.indices.data(), out.indices.size() * sizeof(UINT32));
        }
        hashes.decoded[layout] = decoded.Value();
    }
    return hashes;
}

std::vector<Golden> HashAll() {
    std::vector<Golden> hashes;
    for (const NimbTest::GoldenClip& clip : NimbTest::MakeGoldenClips()) {
        hashes.push_back(HashClip(clip.name, clip.frames));
    }
    return hashes;
}

constexpr Golden c_Golden[] = {
    {"List1+Records",
     0x2D77D8005DF7B866,
     {0x47E4FB5D1803FB0D, 0x0945C0CBA0AC490D, 0x0F6CD4B20B965326, 0x69B6F15E35F8B1F6}},
    {"List2+Plain",
     0xB279135BBA883381,
     {0x72E1E5A5E8090872, 0x4DBE2C49C2271A52, 0xA8751EEDB87D16A7, 0xDD76B498AFB62BB2}},
    {"EdgeBreaker+Golomb",
     0xF02B330A016007E0,
     {0xD152D11DD7B3375E, 0x6A55A156B6B33C9E, 0xDA01A569247E3DC5, 0x73E27D3FEC20D962}},
    {"EdgeBreaker+Huffman",
     0xF4C2FD2C49C55F12,
     {0xA88D22EF36E44572, 0xC58032BBC92D529A, 0xFA85063C3390BC7B, 0x61A7335AAEBC3FAC}},
    {"Strips1+Golomb",
     0xB04275DE6A66CA26,
     {0x8D19F5197F903DA6, 0x3CF1892D3CBCDD46, 0x1F9EC103A3812CB3, 0x2E0A0EF6F192EE8E}},
    {"Strips2+Huffman",
     0x8B92A24551D5FFC6,
     {0xE72444038492B04E, 0x73552E9D2CB9144E, 0x00BAFEBBC511CC89, 0x409771F919EEBF28}},
    {"List1+Transform",
     0x7F1E2885C413A2B9,
     {0x95CCF4550A87BCB9, 0xE7F2697C1592F379, 0x920CE86EED2870D8, 0x66FD1CB01ACCEFD9}},
    {"Temporal", 0x10811E891A0C5399, {0x1D0BA10A5C0031FB, 0x6DFF9FB351CB8D3B, 0x4B8F6EBCBE55CE0C, 0xB5D631C25746229C}},
};

}  // namespace

TEST(GoldenStreams, DecodeToTheSameBytesEverywhere) {
    const std::vector<Golden> found = HashAll();
    for (std::size_t i = 0; i < found.size(); ++i) {
        const Golden& f = found[i];
        const Golden& g = i < std::size(c_Golden) ? c_Golden[i] : Golden{};
        const bool same =
            g.encoded == f.encoded && std::equal(std::begin(g.decoded), std::end(g.decoded), std::begin(f.decoded));
        if (!same) {
            char row[200];
            std::snprintf(row, sizeof(row), "{\"%s\", 0x%016llX, {0x%016llX, 0x%016llX, 0x%016llX, 0x%016llX}},",
                          f.name, static_cast<unsigned long long>(f.encoded),
                          static_cast<unsigned long long>(f.decoded[0]), static_cast<unsigned long long>(f.decoded[1]),
                          static_cast<unsigned long long>(f.decoded[2]), static_cast<unsigned long long>(f.decoded[3]));
            ADD_FAILURE() << "the " << (g.encoded == f.encoded ? "decoded" : "encoded") << " bytes are others now:\n"
                          << row;
        }
    }
}

// ---- Streams that no encoder here writes.

namespace {

std::vector<float> PositionsOf(const DecodedFrame& frame) {
    std::vector<float> out;
    for (std::size_t at = 0; at < frame.vertices.size(); at += 20) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            out.push_back(frame.Field<float>(at + 4 * axis));
        }
    }
    return out;
}

/// Four vertices at the corners of the unit square's lower left and upper right.
Wire& Square(Wire& wire) {
    return wire.Vertex(-32768, -32768, -32768, 0, 0)
        .Vertex(32767, -32768, -32768, 0, 0)
        .Vertex(32767, 32767, -32768, 0, 0)
        .Vertex(-32768, 32767, 32767, 0, 0);
}

const std::vector<float> c_Square{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 1};

}  // namespace

TEST(HandWrittenStreams, OldKeyFrameThenBothOldDeltaLayouts) {
    // Byte-delta list with the unused bits of the control bytes set, and wider deltas than needed.
    Wire key;
    Square(key.Version(19, 0, 1, 0).UnitBox().U32(4).U32(2)).I64(4 + 7);
    key.Bytes({0xC0, 0, 1, 2});
    key.Bytes({0x80 | 0x01 | 0x08, 0x00, 0x00, 0x01, 0x00, 0x00, 0x01});
    FrameReader reader(13);
    const DecodedFrame frame = reader.Decode(key);
    ASSERT_EQ(S_OK, frame.hr);
    EXPECT_EQ((std::vector<UINT32>{0, 1, 2, 0, 2, 3}), frame.indices);

    // Plain deltas: x moves by 0 or 0.25, z down by 0.5 where its byte is 0.
    Wire plain;
    plain.Version(23, 0, 2, 0).Floats({0, 0, 0, 2, 2, 2}).Floats({0, 0, -0.5f, 0.25f, 0, 0});
    plain.Bytes({255, 9, 255, 0, 9, 255, 255, 9, 255, 0, 9, 0});
    const DecodedFrame second = reader.Decode(plain);
    ASSERT_EQ(S_OK, second.hr);
    EXPECT_EQ((std::vector<float>{0.25f, 0, 0, 1, 0, 0, 1.25f, 1, 0, 0, 1, 0.5f}), PositionsOf(second));
    EXPECT_EQ(frame.indices, second.indices);

    // Golomb codes with m = 1 and m = 3. Motion goes on as before: x of the even vertices +0.25, z of the last -0.5.
    // x: m = 1, centre 0: bytes 0, 1, 0, 255 = values 0, 2, 0, 1. The extra bit of a code is worth 1.
    //    00 | 101 | 00 | 01                                       9 bits: 0010 1000 1
    // y: m = 3, centre 255: values 0, 1, 2, 5 = bytes 255, 254, 0 (wraps), 252.
    //    00 | 010 | 011 | 1011                                   12 bits: 0001 0011 1011
    // z: m = 0 codes nothing but its centre, a 0 bit each: 4 bits.
    Wire golomb;
    golomb.Version(23, 0, 3, 0).Floats({-1, -1, -1, 400, 2, 2}).Floats({0, -1, 0, 255, 0, 0});
    golomb.Bytes({0, 255, 77}).Bytes({1, 3, 0}).U32(9).U32(12).U32(4);
    golomb.U32(0x28800000).U32(0x13B00000).U32(0);
    const DecodedFrame third = reader.Decode(golomb);
    ASSERT_EQ(S_OK, third.hr);
    const auto y = [](float from, float byte) { return from + (1.0f * (byte / 255.0f) + -1.0f); };
    EXPECT_EQ((std::vector<float>{0.5f, y(0, 255), 0, 2, y(0, 254), 0, 1.5f, y(1, 0), 0, 255, y(1, 252), 0}),
              PositionsOf(third));
}
