// Fixed streams and what they decode to, byte for byte: on every processor, with every compiler and at every
// optimisation.
//
// The first part hashes clips that the encoders make of meshes of small exact numbers. A change of hashes that is meant
// (an encoder that finds something smaller) shows in the first column as well; decoded bytes must never change for the
// same stream. The second part is written by hand, as no encoder here writes it.
#include "Authoring/Codec/TextureTransform.h"
#include "Authoring/Frame/FrameEncoder.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/TestSupport.h"
#include "Tests/Support/Wire.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using namespace Nimb::Authoring;
using NimbTest::DecodedFrame;
using NimbTest::FrameReader;
using NimbTest::MakeSheet;
using NimbTest::Moved;
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
Golden HashClip(const char* name, const std::vector<Bytes>& clip) {
    Golden hashes{name, 0, {}};
    Fnv encoded;
    for (const Bytes& frame : clip) {
        encoded.Add(frame.data(), frame.size());
    }
    hashes.encoded = encoded.Value();
    for (std::size_t layout = 0; layout < 4; ++layout) {
        FrameReader reader(c_Layouts[layout]);
        Fnv decoded;
        for (const Bytes& frame : clip) {
            const DecodedFrame out = reader.Decode(frame);
            EXPECT_EQ(S_OK, out.hr) << name;
            decoded.Add(out.vertices.data(), out.vertices.size());
            decoded.Add(out.indices.data(), out.indices.size() * sizeof(UINT32));
        }
        hashes.decoded[layout] = decoded.Value();
    }
    return hashes;
}

/// A key frame and five frames that follow it, in two of which a vertex leaves the box it is clamped to.
std::vector<Bytes> MakeClip(IndexCoding indices, bool indicesFirst, bool normals, DeltaCoding coding, double maxError) {
    KeyFrameOptions key;
    key.indices = indices;
    key.indicesFirst = indicesFirst;
    key.normals = normals;
    std::vector<DeltaFrameOptions> deltas(5);
    for (UINT32 i = 1; i <= 5; ++i) {
        DeltaFrameOptions& delta = deltas[i - 1];
        delta.coding = coding;
        delta.maxError = maxError;
        delta.normals = normals && i % 2 == 0;
        if (i > 3) {
            delta.box = Box{{0.125f, 0, -0.03125f}, {0.75f, 0.4375f, 0.03125f}};
        }
    }
    return NimbTest::EncodeClip(MakeSheet(7, 5), key, deltas);
}

/// Delta frames of version 5 as they stand: how their encoder fits transforms is not the same to the last bit
/// everywhere.
constexpr const char* c_TransformFrames[] = {
    "05010601010070BCE27A14BB40A581BD0000443F0000FE3E40FE773D23000000453A17329303209B19F92FFCF49FF4D1"
    "F85975F5B363E1F1A7F01005635626A112FCD42817968376E6EE3E776E010FFDFBDF1806F1F419EA40434A8D80060000"
    "C3B9B200C208",
    "05010601CDCCECBC90C275BA209281BD0000483F0000FC3E806A733D230000003A3A17329383220F19D07F4860FD576D"
    "C025E6BC1AAA2DB6044B427B5C26830CA77FEFDEF8C0478DE9674879141861A270E5B0008F230279144500",
    "05010601020034BD86EB913BC0A77EBD00004C3FE27A0F3F00D7743D23000000443A17329303229258915E386932C96B"
    "CF63CB2240BCB41BD3C7CFABB3A9F033EF7EF7C413E35EAE392B95D5D5C89030399D637DA0D4E98020869BF4CC81C07C"
    "E6319F5F06",
    "05010601999979BD1F856B3C007A81BD0000503FD8A3343F8043763D23000000433A173293832317186FDC886F7494E2"
    "091996C1B2A29D32975C81F15FDCBCDEBDFB7F1F402BC7D32B75B429FC67173C439659D54984E9A0AB32119B25D3EA7E"
    "4A8B0006",
};

std::vector<Bytes> MakeTransformClip() {
    KeyFrameOptions key;
    key.indices = IndexCoding::List1;
    std::vector<Bytes> clip{FrameEncoder().KeyFrame(MakeSheet(7, 5), key).bytes};
    for (const char* digits : c_TransformFrames) {
        Bytes frame;
        for (; *digits != 0; digits += 2) {
            frame.push_back(static_cast<BYTE>(std::stoi(std::string(digits, 2), nullptr, 16)));
        }
        clip.push_back(frame);
    }
    return clip;
}

std::vector<Bytes> MakeTemporalClip() {
    const NimbTest::TwoSubMeshes how{{7, 6},
                                     {IndexCoding::EdgeBreaker, IndexCoding::List2},
                                     {DeltaCoding::Golomb, DeltaCoding::Quantised},
                                     SolveTransform(PlaceInAtlas(0.3f, 0.7f, 0.6f, 0.1f))};
    const Mesh first = MakeSheet(5, 4, 3), second = MakeSheet(3, 6, 4);
    FrameEncoder encoder;
    std::vector<Bytes> clip;
    for (UINT32 time = 0; time < 3; ++time) {
        clip.push_back(how.Encode(encoder, Moved(first, time), Moved(second, 5 * time), time > 0).bytes);
    }
    return clip;
}

std::vector<Golden> HashAll() {
    using I = IndexCoding;
    using D = DeltaCoding;
    return {
        HashClip("List1+Records", MakeClip(I::List1, false, false, D::Quantised, 0)),
        HashClip("List2+Plain", MakeClip(I::List2, true, false, D::Plain, 0)),
        HashClip("EdgeBreaker+Golomb", MakeClip(I::EdgeBreaker, true, true, D::Golomb, 0.001)),
        HashClip("EdgeBreaker+Huffman", MakeClip(I::EdgeBreaker, false, true, D::Huffman, 0)),
        HashClip("Strips1+Golomb", MakeClip(I::Strips1, false, false, D::Golomb, 0)),
        HashClip("Strips2+Huffman", MakeClip(I::Strips2, false, false, D::Huffman, 0.001)),
        HashClip("List1+Transform", MakeTransformClip()),
        HashClip("Temporal", MakeTemporalClip()),
    };
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
