// Transform deltas: encoder against decoder, hand-written sections against hand-computed positions, and what bad
// sections may not do.
#include "Authoring/Codec/BitWriter.h"
#include "Authoring/Codec/GolombVertices.h"
#include "Authoring/Codec/HuffmanVertices.h"
#include "Authoring/Codec/PrefixCode.h"
#include "Authoring/Codec/TransformDeltas.h"
#include "Authoring/Codec/TransformSection.h"
#include "NimbCore/TransformDeltas.h"
#include "Tests/Support/TestSupport.h"
#include "Tests/Support/Wire.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

using namespace Nimb::Authoring;
using namespace Nimb::TransformDeltas;
using Nimb::__vector4;

namespace {

std::vector<Vec3> PositionsOf(const std::vector<__vector4>& history) {
    std::vector<Vec3> positions;
    for (const __vector4& p : history) {
        positions.push_back({p.x, p.y, p.z});
    }
    return positions;
}

/// A reader's context right after a key frame with these positions, and the one operation that is tested on it.
class Decoder : public NimbTest::SectionReader {
public:
    explicit Decoder(const std::vector<Vec3>& key, UINT32 vertexFormat = 13) : SectionReader(vertexFormat) {
        for (const Vec3& p : key) {
            ctx.m_Positions.push_back({p.x, p.y, p.z, 0.0f});
        }
        ctx.m_HistoryPositions.resize(key.size());
        ctx.m_QuantisedVertices.resize(key.size());
        ctx.m_pPrevMesh = &ctx.m_Positions;
        header.m_numVertices = static_cast<UINT32>(key.size());
        std::fill_n(header.m_BBoxMin, 3, -1000.0f);
        std::fill_n(header.m_BBoxMax, 3, 1000.0f);
    }

    HRESULT Decode(const Bytes& section) { return Run(&Nimb::CNimbMeshReader::ReadTransformDeltaVertices, section); }

    std::vector<Vec3> Positions() const { return PositionsOf(*ctx.m_pPrevMesh); }
};

bool SameBits(const std::vector<Vec3>& a, const std::vector<Vec3>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(Vec3)) == 0;
}

void ExpectPositions(const std::vector<Vec3>& actual, const std::vector<Vec3>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        EXPECT_EQ(actual[i].x, expected[i].x) << i;
        EXPECT_EQ(actual[i].y, expected[i].y) << i;
        EXPECT_EQ(actual[i].z, expected[i].z) << i;
    }
}

// ---- A figure: tubes with joints, skinned smoothly around each joint ----

struct Limb {
    Vec3 from, to;
    float radius;
    double swing;  // amplitude about the x axis at `from`, radians
    double bend;   // the same at its middle joint
    double phase;
};

const Limb c_Limbs[] = {
    {{0.0f, 1.0f, 0.0f}, {0.0f, 1.7f, 0.0f}, 0.15f, 0.05, 0.05, 0.0},
    {{0.2f, 1.5f, 0.0f}, {0.8f, 1.4f, 0.0f}, 0.05f, 0.7, 0.5, 0.3},
    {{-0.2f, 1.5f, 0.0f}, {-0.8f, 1.4f, 0.0f}, 0.05f, 0.7, 0.5, 3.4},
    {{0.1f, 1.0f, 0.0f}, {0.15f, 0.0f, 0.0f}, 0.08f, 0.6, 0.5, 3.1},
    {{-0.1f, 1.0f, 0.0f}, {-0.15f, 0.0f, 0.0f}, 0.08f, 0.6, 0.5, 0.0},
};

Vec3 TurnAboutX(const Vec3& p, const Vec3& pivot, double angle) {
    const double y = p.y - pivot.y, z = p.z - pivot.z, c = std::cos(angle), s = std::sin(angle);
    return {p.x, static_cast<float>(pivot.y + c * y - s * z), static_cast<float>(pivot.z + s * y + c * z)};
}

Vec3 Mix(const Vec3& a, const Vec3& b, float t) {
    return {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), a.z + t * (b.z - a.z)};
}

std::vector<Vec3> PosedFigure(int frame, int rings = 40, int sides = 16) {
    constexpr double pi = 3.14159265358979;
    const double time = 0.2 * frame;
    std::vector<Vec3> positions;
    for (const Limb& limb : c_Limbs) {
        const double swing = limb.swing * std::sin(time + limb.phase);
        const double bend = limb.bend * (1 - std::cos(time + limb.phase)) / 2;
        const Vec3 joint = Mix(limb.from, limb.to, 0.5f);
        for (int ring = 0; ring < rings; ++ring) {
            const float along = static_cast<float>(ring) / static_cast<float>(rings - 1);
            const Vec3 center = Mix(limb.from, limb.to, along);
            const float weight = std::clamp((along - 0.4f) / 0.2f, 0.0f, 1.0f);
            for (int side = 0; side < sides; ++side) {
                const double angle = 2 * pi * side / sides;
                const auto c = static_cast<float>(limb.radius * std::cos(angle));
                const auto s = static_cast<float>(limb.radius * std::sin(angle));
                const bool upright = std::abs(limb.to.y - limb.from.y) > std::abs(limb.to.x - limb.from.x);
                const Vec3 rest =
                    upright ? Vec3{center.x + c, center.y, center.z + s} : Vec3{center.x, center.y + c, center.z + s};
                const Vec3 skinned = Mix(rest, TurnAboutX(rest, joint, bend), weight);
                Vec3 p = TurnAboutX(skinned, limb.from, swing);
                p.z += 0.03f * static_cast<float>(frame);
                positions.push_back(p);
            }
        }
    }
    return positions;
}

// ---- Sections by hand ----

/// Bits of a section up to the transforms: step, parts not kept, number of transforms.
BitWriter Begin(float step, bool keep, UINT32 numTransforms) {
    BitWriter bits;
    UINT32 word = 0;
    std::memcpy(&word, &step, 4);
    bits.Write(word, 32);
    bits.Write(keep ? 1 : 0, 1);
    bits.Write(numTransforms, 7);
    return bits;
}

Bytes Finish(const BitWriter& forward, UINT32 numDeltas, const BitWriter& backward = {}) {
    return AssembleTransformSection(numDeltas, forward, backward);
}

/// A code table with one symbol, whose code has no bits: that symbol's predecessors absent, its length 1.
void WriteSingle(BitWriter& bits, UINT32 symbol) {
    bits.Write(symbol, 8);
    if (symbol > 0) {
        bits.Write(0b1110, 4);
        WriteGolombNumber(bits, symbol - 1, 0);
    }
    bits.Write(0b1111, 4);
    bits.Write(1, 4);
}

const std::vector<Vec3> c_Square = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};

/// All four vertices of the square shifted by one translation, no corrections.
Bytes ShiftSquare(bool keep = false) {
    BitWriter bits = Begin(0.5f, keep, 1);
    bits.Write(1, 4);   // translations in half steps
    bits.Write(0, 10);  // both orders 0
    bits.Write(Kind_Translation, 2);
    bits.Write(0, 2);
    WriteGolombNumber(bits, Zigzag(4), 0);
    WriteGolombNumber(bits, Zigzag(-2), 0);
    WriteGolombNumber(bits, Zigzag(0), 0);
    WriteSingle(bits, 0);
    return Finish(bits, 4);
}

}  // namespace

TEST(TransformDelta, EncoderKnowsWhatDecoderMakesAndBeatsTheOtherCodings) {
    constexpr int numFrames = 30;
    constexpr double limit = 0.0005;
    Decoder decoder(PosedFigure(0));
    TransformDeltaEncoder encoder;
    std::vector<__vector4> previous = decoder.ctx.m_Positions, older;
    std::size_t transformBytes = 0, golombBytes = 0, huffmanBytes = 0;
    for (int frame = 1; frame <= numFrames; ++frame) {
        const std::vector<Vec3> targets = PosedFigure(frame);
        // The other codings start each frame from exact positions, which is more than their decoder would have.
        const DeltaHistory exact{&previous, older.empty() ? nullptr : &older};
        const DeltaCorrections corrections = QuantiseCorrections(exact, targets, limit);
        golombBytes += WriteGolombDeltas(corrections).size();
        huffmanBytes += WriteHuffmanDeltas(corrections).size();
        older = previous;
        for (std::size_t i = 0; i < targets.size(); ++i) {
            previous[i] = {targets[i].x, targets[i].y, targets[i].z, 0.0f};
        }

        const TransformDeltaFrame encoded = encoder.Encode(HistoryOf(decoder.ctx), targets, {corrections.maxError, 0});
        encoder.Accept(encoded);
        transformBytes += encoded.section.size();
        ASSERT_EQ(decoder.Decode(encoded.section), S_OK);
        ASSERT_EQ(decoder.left, 0u);
        const std::vector<Vec3> decoded = decoder.Positions();
        ASSERT_TRUE(SameBits(decoded, PositionsOf(encoded.positions))) << frame;
        double worst = 0;
        for (std::size_t i = 0; i < targets.size(); ++i) {
            worst = std::max(worst, std::hypot(double{targets[i].x} - decoded[i].x, double{targets[i].y} - decoded[i].y,
                                               double{targets[i].z} - decoded[i].z));
        }
        EXPECT_LE(worst, corrections.maxError) << "more error than the other codings make";
        EXPECT_NEAR(worst, encoded.maxError, 1e-9);
    }
    RecordProperty("TransformBytes", static_cast<int>(transformBytes));
    RecordProperty("GolombBytes", static_cast<int>(golombBytes));
    RecordProperty("HuffmanBytes", static_cast<int>(huffmanBytes));
    EXPECT_LT(3 * transformBytes, golombBytes);
    EXPECT_LT(3 * transformBytes, huffmanBytes);
}

TEST(TransformDelta, HandWrittenTransformsMoveAsTheFormatSays) {
    // Two parts, two vertices each: the first turns about vertex 0 by a third of a turn that takes x to y to z, the
    // second is mirrored in y.
    BitWriter bits = Begin(0.25f, false, 2);
    bits.Write(0, 4);
    bits.Write(1, 5);  // order of linear numbers
    bits.Write(0, 5);  // order of translations
    bits.Write(Kind_Rigid, 2);
    bits.Write(0, 2);
    bits.Write(0, 5);  // in whole units: the tangent of half the angle is the square root of 3
    for (const INT32 v : {1, 1, 1}) {
        WriteGolombNumber(bits, Zigzag(v), 1);
    }
    for (const INT32 t : {0, 0, 4}) {
        WriteGolombNumber(bits, Zigzag(t), 0);
    }
    bits.Write(Kind_Affine, 2);
    bits.Write(0, 2);
    bits.Write(1, 5);  // in halves
    for (const INT32 m : {0, 0, 0, 0, -4, 0, 2, 0, 0}) {
        WriteGolombNumber(bits, Zigzag(m), 1);
    }
    for (const INT32 t : {0, 4, 0}) {
        WriteGolombNumber(bits, Zigzag(t), 0);
    }
    // Parts: ranks 0 and 1 with one bit each, run lengths all 2.
    bits.Write(1, 8);
    bits.Write(0b11110001, 8);
    bits.Write(0, 1);
    WriteSingle(bits, 1);
    const PrefixCode ranks({1, 1}, c_MaxNumberCodeLength);
    ranks.WriteSymbol(bits, 0);
    ranks.WriteSymbol(bits, 1);
    // Corrections: a run of two zeros; behind the middle, so in the backward stream, two escapes, (-1, 0, 0) and
    // (100, -1, 0), of which each stream has the numbers of one. One code for all axes.
    std::vector<UINT32> counts(c_NumVertexSymbols);
    counts[c_EscapeSymbol] = counts[RunSymbol(1)] = 1;
    const PrefixCode vertexCode(counts, c_MaxVertexCodeLength);
    vertexCode.WriteTable(bits);
    bits.Write(0, 1);
    std::vector<UINT32> numberCounts(c_NumNumberSymbols);
    numberCounts[0] = numberCounts[1] = numberCounts[16 + 3 * 4 + 2] = 1;  // 0, 1, and 192 to 223
    const PrefixCode numbers(numberCounts, c_MaxNumberCodeLength);
    numbers.WriteTable(bits);
    vertexCode.WriteSymbol(bits, RunSymbol(1));
    bits.Write(0, 1);
    numbers.WriteSymbol(bits, 1);
    numbers.WriteSymbol(bits, 0);
    numbers.WriteSymbol(bits, 0);
    BitWriter backward;
    vertexCode.WriteSymbol(backward, c_EscapeSymbol);
    vertexCode.WriteSymbol(backward, c_EscapeSymbol);
    numbers.WriteSymbol(backward, 16 + 3 * 4 + 2);
    backward.Write(200 - 192, 5);
    numbers.WriteSymbol(backward, 1);
    numbers.WriteSymbol(backward, 0);

    Decoder decoder({{0, 0, 0}, {1, 2, 3}, {1, 1, 0}, {0, 1, 0}});
    ASSERT_EQ(decoder.Decode(Finish(bits, 4, backward)), S_OK);
    ExpectPositions(decoder.Positions(), {{0, 0, 1}, {3, 1, 3}, {0.75f, 2, 0}, {25, 1.75f, -1}});
    EXPECT_EQ(decoder.ctx.m_TransformIndices, (std::vector<BYTE>{0, 0, 1, 1}));
    EXPECT_EQ(decoder.Output<float>()[15], 25.0f);
}

TEST(TransformDelta, KeptPartsAndExtrapolation) {
    Decoder decoder(c_Square);
    EXPECT_EQ(decoder.Decode(ShiftSquare(true)), E_UNEXPECTED) << "nothing to keep after a key frame";
    ASSERT_EQ(decoder.Decode(ShiftSquare(false)), S_OK);
    ExpectPositions(decoder.Positions(), {{1, -0.5f, 0}, {2, -0.5f, 0}, {2, 0.5f, 0}, {1, 0.5f, 0}});

    // No transform but identities: three quarters of the motion, one after the other with parts kept.
    BitWriter bits = Begin(1.0f, true, 1);
    bits.Write(0, 14);
    bits.Write(Kind_Identity, 2);
    bits.Write(2, 2);
    WriteSingle(bits, 0);
    ASSERT_EQ(decoder.Decode(Finish(bits, 4)), S_OK);
    ExpectPositions(decoder.Positions(),
                    {{1.75f, -0.875f, 0}, {2.75f, -0.875f, 0}, {2.75f, 0.125f, 0}, {1.75f, 0.125f, 0}});

    // Kept parts without their transforms stand still.
    decoder.ctx.m_TransformIndices = {0, 255, 64, 3};
    const std::vector<Vec3> before = decoder.Positions();
    BitWriter still = Begin(1.0f, true, 0);
    WriteSingle(still, 0);
    ASSERT_EQ(decoder.Decode(Finish(still, 4)), S_OK);
    EXPECT_TRUE(SameBits(decoder.Positions(), before));
}

TEST(TransformDelta, VerticesInOnePlaceKeepTheirParts) {
    // Three vertices without a byte behind them, so all alike, of which the third gets a part of its own.
    const auto frame = [](unsigned vertexVersion, unsigned headerVersion) {
        return NimbTest::Wire().Version(vertexVersion, 1, headerVersion, 1).Floats({-9, -9, -9, 9, 9, 9});
    };
    const auto begin = [](bool keep) {
        BitWriter bits = Begin(1.0f, keep, 2);
        bits.Write(0, 14);  // shift and orders
        bits.Write(0, 4);   // the first stands still
        return bits;
    };
    BitWriter split = begin(false);
    split.Write(0, 4);
    for (int table = 0; table < 2; ++table) {  // of ranks and of lengths: symbols 0 and 1 as one bit each
        split.Write(1, 8);
        split.Write(0b111100010, 9);
    }
    split.Write(0b0110, 4);  // two vertices of part 0, one of part 1
    WriteSingle(split, 0);
    BitWriter move = begin(true);
    move.Write(Kind_Translation, 2);
    move.Write(0, 2);
    for (const INT32 step : {1, 0, 0}) {
        WriteGolombNumber(move, Zigzag(step), 0);
    }
    WriteSingle(move, 0);

    NimbTest::FrameReader reader(13);
    const NimbTest::DecodedFrame key = reader.Decode(frame(2, 5).U32(3).U32(0).U32(0).Data());
    ASSERT_EQ(key.hr, S_OK);
    const float x = key.Field<float>(0);
    float third = x;
    for (const BitWriter& bits : {split, move}) {
        Bytes bytes = frame(5, 6).Data();
        const Bytes section = Finish(bits, 3);
        bytes.insert(bytes.end(), section.begin(), section.end());
        const NimbTest::DecodedFrame decoded = reader.Decode(bytes);
        ASSERT_EQ(decoded.hr, S_OK);
        EXPECT_EQ(decoded.Field<float>(20), x) << "the second vertex";
        EXPECT_EQ(decoded.Field<float>(40), third) << "the third";
        third += 1;
    }
}

TEST(TransformDelta, AsksForDeltasAndForFieldsOfAtMostAWord) {
    NimbTest::AssertionRecorder recorder;
    Decoder decoder(c_Square);
    ByteWriter none;
    none.U64(0);
    EXPECT_EQ(decoder.Decode(none.Take()), E_UNEXPECTED);
    EXPECT_EQ(NimbTest::AssertionRecorder::Text(), "numDeltas > 0");

    BitWriter bits = Begin(1.0f, false, 1);
    bits.Write(0, 14);
    bits.Write(Kind_Translation, 2);
    bits.Write(0, 2);
    bits.WriteUnary(33);
    bits.Write(0, 32);
    EXPECT_EQ(decoder.Decode(Finish(bits, 4)), E_UNEXPECTED);
    EXPECT_EQ(NimbTest::AssertionRecorder::Text(), "numBits <= 32");
}

TEST(TransformDelta, RefusesCodesAndCountsThatDoNotAddUp) {
    const auto decode = [](BitWriter bits, UINT32 numDeltas = 4) {
        for (int i = 0; i < 8; ++i) {
            bits.Write(0, 32);  // so that nothing fails for want of bits
        }
        return Decoder(c_Square).Decode(Finish(bits, numDeltas));
    };
    const auto withTable = [](std::initializer_list<std::pair<UINT32, UINT32>> fields) {
        BitWriter bits = Begin(1.0f, false, 0);
        for (const auto& field : fields) {
            bits.Write(field.first, field.second);
        }
        return bits;
    };
    EXPECT_EQ(decode(withTable({{1, 8}, {0xF1, 8}, {0, 1}})), S_OK) << "two symbols of one bit";
    EXPECT_EQ(decode(withTable({{1, 8}, {0xF1, 8}, {2, 2}})), E_UNEXPECTED) << "lengths 1 and 2 leave a gap";
    EXPECT_EQ(decode(withTable({{2, 8}, {0xF1, 8}, {0, 2}})), E_UNEXPECTED) << "three symbols of one bit";
    EXPECT_EQ(decode(withTable({{1, 8}, {0xF1, 8}, {6, 3}})), E_UNEXPECTED) << "length 0";
    EXPECT_EQ(decode(withTable({{0, 8}, {0xFD, 8}})), E_UNEXPECTED) << "length 13";
    BitWriter longNumber = Begin(1.0f, false, 0);
    WriteSingle(longNumber, c_EscapeSymbol);
    longNumber.Write(0, 1 + 8);
    longNumber.Write(0xFC, 8);
    EXPECT_EQ(decode(longNumber), E_UNEXPECTED) << "length 12 for a number";
    EXPECT_EQ(decode(withTable({{1, 8}, {0xF1, 8}, {0xE, 4}})), E_UNEXPECTED) << "last symbol absent";
    EXPECT_EQ(decode(withTable({{2, 8}, {0xF1, 8}, {0xE, 4}, {0xFFFFFFFF, 32}, {0, 1}, {0, 32}, {2, 2}, {0, 1}})),
              E_UNEXPECTED)
        << "more absent symbols than can be counted";
    EXPECT_EQ(decode(withTable({{c_NumVertexSymbols, 8}, {0, 1}})), E_UNEXPECTED) << "symbol outside the alphabet";
    EXPECT_EQ(decode(Begin(1.0f, false, 65)), E_UNEXPECTED);

    BitWriter longRun = Begin(1.0f, false, 0);
    WriteSingle(longRun, RunSymbol(31));
    EXPECT_EQ(decode(longRun), E_UNEXPECTED);
    // Runs of two are code 0 and go with the backward stream, of which all bits are 0.
    std::vector<UINT32> counts(c_NumVertexSymbols);
    counts[RunSymbol(1)] = counts[RunSymbol(2)] = 1;
    const PrefixCode runs(counts, c_MaxVertexCodeLength);
    for (const UINT32 exponent : {1u, 2u}) {
        BitWriter run = Begin(1.0f, false, 0);
        runs.WriteTable(run);
        runs.WriteSymbol(run, RunSymbol(exponent));
        EXPECT_EQ(decode(run), exponent == 1 ? S_OK : E_UNEXPECTED) << "a run over the middle";
    }
    BitWriter exactRun = Begin(1.0f, false, 0);
    WriteSingle(exactRun, RunSymbol(1));
    EXPECT_EQ(decode(exactRun), S_OK);
    EXPECT_EQ(decode(exactRun, 5), E_UNEXPECTED) << "another vertex count than the mesh has";
}

TEST(TransformDelta, StreamsShareTheBytesThatTheSizeStates) {
    // Four vertices with a bit each, two in each stream.
    BitWriter forward = Begin(1.0f, false, 0);
    forward.Write(1, 8);
    forward.Write(0b111100010, 9);
    forward.Write(0b01, 2);
    BitWriter backward;
    backward.Write(0b10, 2);
    const auto decode = [&](const Bytes& section, std::size_t left = 0) {
        Decoder decoder(c_Square);
        const HRESULT hr = decoder.Decode(section);
        if (hr == S_OK) {
            EXPECT_EQ(decoder.left, left);
            ExpectPositions(decoder.Positions(), {{0, 0, 0}, {0, 0, 0}, {0, 1, 0}, {0, 1, 0}});
        }
        return hr;
    };
    const Bytes whole = Finish(forward, 4, backward);
    EXPECT_EQ(decode(whole), S_OK);
    EXPECT_EQ(decode(Finish(forward, 4)), E_UNEXPECTED) << "the streams overlap";
    Bytes apart = whole;
    ++apart[4];
    apart.insert(apart.end() - 1, BYTE{0xFF});
    EXPECT_EQ(decode(apart), S_OK) << "a byte that neither stream needs";

    const auto sized = [&](std::initializer_list<BYTE> size) {
        Bytes section = whole;
        section.erase(section.begin() + 4);
        section.insert(section.begin() + 4, size);
        return section;
    };
    const auto low = static_cast<BYTE>(whole[4] | 128);
    EXPECT_EQ(decode(sized({low, 0})), S_OK) << "a longer way to say it";
    EXPECT_EQ(decode(sized({low, 128, 128, 128, 0})), S_OK);
    EXPECT_EQ(decode(sized({low, 128, 128, 128, 16})), E_UNEXPECTED) << "2^32 more";
    EXPECT_EQ(decode(sized({low, 128, 128, 128, 128, 0})), E_UNEXPECTED) << "six bytes";
    EXPECT_EQ(decode(sized({static_cast<BYTE>(whole[4] + 1)})), E_UNEXPECTED) << "more than there is";
}

TEST(TransformDelta, BadSectionsLeaveTheHistoryAlone) {
    // Two good frames, so that the new positions would take the place of the older ones; then the third, damaged.
    const int rings = 8, sides = 6;
    Decoder decoder(PosedFigure(0, rings, sides));
    TransformDeltaEncoder encoder;
    TransformDeltaFrame third;
    for (int frame = 1; frame <= 3; ++frame) {
        third = encoder.Encode(HistoryOf(decoder.ctx), PosedFigure(frame, rings, sides), {0.002, 6});
        encoder.Accept(third);
        if (frame < 3) {
            ASSERT_EQ(decoder.Decode(third.section), S_OK);
        }
    }
    const std::vector<__vector4> previous = *decoder.ctx.m_pPrevMesh, older = *decoder.ctx.m_pPrevPrevMesh;
    const std::vector<BYTE> parts = decoder.ctx.m_TransformIndices;
    const auto bytesOf = [](const std::vector<__vector4>& v) {
        const auto* p = reinterpret_cast<const BYTE*>(v.data());
        return Bytes(p, p + v.size() * sizeof(__vector4));
    };
    const auto restore = [&] {
        decoder.ctx.m_pPrevMesh = &decoder.ctx.m_Positions;
        decoder.ctx.m_pPrevPrevMesh = &decoder.ctx.m_HistoryPositions;
        *decoder.ctx.m_pPrevMesh = previous;
        *decoder.ctx.m_pPrevPrevMesh = older;
        decoder.ctx.m_TransformIndices = parts;
    };
    NimbTest::AssertionRecorder recorder;
    std::size_t refused = 0;
    const auto tryDamaged = [&](const Bytes& damaged) {
        restore();
        if (Failed(decoder.Decode(damaged))) {
            ++refused;
            ASSERT_EQ(bytesOf(*decoder.ctx.m_pPrevMesh), bytesOf(previous));
            ASSERT_EQ(bytesOf(*decoder.ctx.m_pPrevPrevMesh), bytesOf(older));
            ASSERT_EQ(decoder.ctx.m_TransformIndices, parts);
        }
    };
    const std::size_t size = third.section.size();
    for (std::size_t length = 0; length < size; ++length) {
        tryDamaged(Bytes(third.section.begin(), third.section.begin() + static_cast<std::ptrdiff_t>(length)));
    }
    EXPECT_EQ(refused, size) << "a section cut short was accepted";
    Bytes damaged = third.section;
    for (std::size_t bit = 0; bit < 8 * size; ++bit) {
        damaged[bit / 8] ^= static_cast<BYTE>(1u << bit % 8);
        tryDamaged(damaged);
        damaged[bit / 8] ^= static_cast<BYTE>(1u << bit % 8);
    }
    EXPECT_GT(refused, size);
    restore();
    ASSERT_EQ(decoder.Decode(third.section), S_OK);
    EXPECT_TRUE(SameBits(decoder.Positions(), PositionsOf(third.positions)));
}

TEST(TransformDelta, EncoderTakesJumpsScatterAndEveryTransformCount) {
    NimbTest::Random random(5);
    std::vector<Vec3> key(3000), targets(3000);
    for (std::size_t i = 0; i < key.size(); ++i) {
        key[i] = {random.Signed(), random.Signed(), random.Signed()};
        targets[i] = {key[i].x + random.Signed() * 8, key[i].y, key[i].z + random.Signed() / 64};
    }
    for (const UINT32 numTransforms : {0u, 1u, 2u, 64u}) {
        Decoder decoder(key);
        const TransformDeltaFrame encoded =
            TransformDeltaEncoder().Encode(HistoryOf(decoder.ctx), targets, {0.0004, numTransforms});
        EXPECT_LE(encoded.maxError, 0.0004);
        EXPECT_LE(encoded.numTransforms, numTransforms == 0 ? 64 : numTransforms);
        ASSERT_EQ(decoder.Decode(encoded.section), S_OK);
        ASSERT_EQ(decoder.left, 0u);
        EXPECT_TRUE(SameBits(decoder.Positions(), PositionsOf(encoded.positions)));
    }
    // Figures of a few vertices, where splitting comes to an end with parts too small to be split again.
    for (std::size_t count = 1; count <= 48; ++count) {
        Decoder decoder({key.begin(), key.begin() + static_cast<std::ptrdiff_t>(count)});
        TransformDeltaEncoder encoder;
        for (int frame = 0; frame < 4; ++frame) {
            std::vector<Vec3> moved(key.begin(), key.begin() + static_cast<std::ptrdiff_t>(count));
            for (Vec3& p : moved) {
                p.z += std::sin(p.x + 0.3f * static_cast<float>(frame)) / 8;
            }
            const TransformDeltaFrame encoded = encoder.Encode(HistoryOf(decoder.ctx), moved, {0.0004, 0});
            ASSERT_EQ(decoder.Decode(encoded.section), S_OK) << count << " vertices";
        }
    }
    // A frame that moves nothing is a handful of bytes.
    Decoder still(key);
    EXPECT_LT(TransformDeltaEncoder().Encode(HistoryOf(still.ctx), key, {0.0004, 0}).section.size(), 32u);
}

TEST(TransformDelta, EncoderRefusesWhatItCannotEncode) {
    Decoder decoder(c_Square);
    const DeltaHistory history = HistoryOf(decoder.ctx);
    TransformDeltaEncoder encoder;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_THROW(encoder.Encode(history, {}, {0.1, 0}), std::invalid_argument);
    EXPECT_THROW(encoder.Encode(history, {{0, 0, 0}}, {0.1, 0}), std::invalid_argument);
    EXPECT_THROW(encoder.Encode(history, c_Square, {0.0, 0}), std::invalid_argument);
    EXPECT_THROW(encoder.Encode(history, c_Square, {0.1, 65}), std::invalid_argument);
    EXPECT_THROW(encoder.Encode(history, {{0, 0, 0}, {1, 0, 0}, {1, nan, 0}, {0, 1, 0}}, {0.1, 0}),
                 std::invalid_argument);
    EXPECT_THROW(encoder.Encode(history, {{0, 0, 0}, {9, 7, 5}, {1, 1, 8}, {-5, 1, 0}}, {1e-6, 0}), std::range_error);
    EXPECT_EQ(decoder.Decode(encoder.Encode(history, c_Square, {1e-6, 0}).section), S_OK);
}

TEST(TransformDelta, PrefixCodesStayWithinTheLengthLimit) {
    std::vector<UINT32> counts = {1, 1};
    while (counts.size() < 40) {
        counts.push_back(counts[counts.size() - 1] + counts[counts.size() - 2]);
    }
    const PrefixCode code(counts, c_MaxVertexCodeLength);
    double kraft = 0;
    for (UINT32 symbol = 0; symbol < counts.size(); ++symbol) {
        ASSERT_GE(code.BitsOf(symbol), 1u);
        ASSERT_LE(code.BitsOf(symbol), c_MaxVertexCodeLength);
        kraft += std::ldexp(1.0, -static_cast<int>(code.BitsOf(symbol)));
        if (symbol > 0) {
            EXPECT_LE(code.BitsOf(symbol), code.BitsOf(symbol - 1));
        }
    }
    EXPECT_EQ(kraft, 1.0);
}
