// Small frames of every kind, cut at every byte and changed at every byte: whatever happens to a frame, nothing is read
// or written out of bounds (the sanitizers see to that), the outcome is the same in memory that held something else
// before, and the frames that follow decode as if it had never been.
#include "Authoring/Codec/TextureTransform.h"
#include "Authoring/Frame/FrameEncoder.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Wire.h"

#include <gtest/gtest.h>

#include <string>

using namespace Nimb::Authoring;
using NimbTest::DecodedFrame;
using NimbTest::EncodeClip;
using NimbTest::FrameReader;
using NimbTest::MakeSheet;
using NimbTest::Moved;

namespace {

/// All frames are tiny; damaged counts should not cost the time of filling large buffers.
constexpr UINT32 c_LargestBuffer = 1u << 16;

struct Subject {
    std::string name;
    UINT32 vertexFormat;
    std::vector<Bytes> before;  // frames that the damaged one needs
    Bytes frame;
    std::vector<Bytes> after;        // a key frame of the same sub-mesh, and a frame that builds on it
    std::size_t fullyChanged = 140;  // bytes that take all values; the ones behind them only a few telling ones
};

DeltaFrameOptions Delta(DeltaCoding coding, bool normals = false) {
    DeltaFrameOptions options;
    options.coding = coding;
    options.normals = normals;
    options.maxError = 0.002;
    return options;
}

Subject KeySubject(const char* name, UINT32 vertexFormat, IndexCoding indices, bool indicesFirst, bool normals) {
    const Mesh mesh = MakeSheet(2, 2);
    KeyFrameOptions key;
    key.indices = indices;
    key.indicesFirst = indicesFirst;
    key.normals = normals;
    const auto clip = EncodeClip(mesh, key, {Delta(DeltaCoding::Plain)});
    return {name, vertexFormat, {}, clip[0], clip};
}

Subject DeltaSubject(const char* name, UINT32 vertexFormat, DeltaCoding coding, bool normals) {
    const Mesh mesh = coding == DeltaCoding::Transform ? MakeSheet(3, 2) : MakeSheet(2, 2);
    const auto clip = EncodeClip(mesh, {}, {Delta(coding), Delta(coding, normals)});
    return {name, vertexFormat, {clip[0], clip[1]}, clip[2], {clip[0], clip[1]}};
}

Subject TemporalSubject(const char* name, UINT32 vertexFormat, bool delta) {
    const NimbTest::TwoSubMeshes how{{0, 1},
                                     {IndexCoding::List2, IndexCoding::EdgeBreaker},
                                     {DeltaCoding::Golomb, DeltaCoding::Plain},
                                     SolveTransform(PlaceInAtlas(0.5f, 0.5f, 0.25f, 0.25f))};
    const Mesh first = MakeSheet(2, 2, 1), second = MakeSheet(2, 2, 2);
    FrameEncoder encoder;
    std::vector<Bytes> frames;
    for (UINT32 time = 0; time < 2; ++time) {
        frames.push_back(how.Encode(encoder, Moved(first, time), Moved(second, time), time > 0).bytes);
    }
    return {name, vertexFormat, delta ? std::vector<Bytes>{frames[0]} : std::vector<Bytes>{}, frames[delta ? 1 : 0],
            frames};
}

/// Most of a Huffman frame is its tables of frequencies, thousands of bytes that all mean the same.
Subject HuffmanSubject() {
    Subject subject = DeltaSubject("DeltaHuffman", 5, DeltaCoding::Huffman, false);
    subject.fullyChanged = 28 + 24 + 12;  // header, range, lengths of the codes
    return subject;
}

std::vector<Subject> MakeSubjects() {
    constexpr UINT32 int16 = 5, int16Normals = 7, floats = 13, floatNormals = 15;
    return {
        KeySubject("KeyList1", floats, IndexCoding::List1, false, false),
        KeySubject("KeyList2", int16Normals, IndexCoding::List2, true, false),
        KeySubject("KeyEdgeBreaker", floatNormals, IndexCoding::EdgeBreaker, true, true),
        KeySubject("KeyStrips1", int16, IndexCoding::Strips1, false, false),
        KeySubject("KeyStrips2", floats, IndexCoding::Strips2, false, false),
        KeySubject("KeyNormalsDropped", int16, IndexCoding::List2, false, true),
        DeltaSubject("DeltaRecords", floats, DeltaCoding::Quantised, true),
        DeltaSubject("DeltaPlain", floatNormals, DeltaCoding::Plain, true),
        DeltaSubject("DeltaGolomb", int16Normals, DeltaCoding::Golomb, true),
        DeltaSubject("DeltaTransform", floats, DeltaCoding::Transform, false),
        DeltaSubject("DeltaTransformNormals", int16Normals, DeltaCoding::Transform, true),
        HuffmanSubject(),
        TemporalSubject("TemporalKeys", int16, false),
        TemporalSubject("TemporalKeysFloat", floatNormals, false),
        TemporalSubject("TemporalDeltas", floats, true),
    };
}

const std::vector<Subject>& Subjects() {
    static const std::vector<Subject> subjects = MakeSubjects();
    return subjects;
}

class HostileInput : public testing::TestWithParam<std::size_t> {
protected:
    HostileInput() {
        FrameReader reader(subject.vertexFormat);
        for (const Bytes& frame : subject.before) {
            EXPECT_EQ(S_OK, reader.Decode(frame).hr);
        }
        EXPECT_EQ(S_OK, reader.Decode(subject.frame).hr);
        for (const Bytes& frame : subject.after) {
            m_Wanted.push_back(reader.Decode(frame));
            EXPECT_EQ(S_OK, m_Wanted.back().hr);
        }
    }

    /// Decodes the damaged frame in its place; `pattern` is what new buffers hold.
    DecodedFrame Decode(IStream& damaged, BYTE pattern, bool goOn) {
        FrameReader reader(subject.vertexFormat, pattern, c_LargestBuffer);
        for (const Bytes& frame : subject.before) {
            reader.Decode(frame);
        }
        const DecodedFrame outcome = reader.Decode(&damaged);
        if (outcome.hr != S_OK) {
            EXPECT_TRUE(outcome.vertices.empty() && outcome.indices.empty()) << "a refused frame hands something out";
        }
        for (std::size_t i = 0; goOn && i < subject.after.size(); ++i) {
            EXPECT_TRUE(m_Wanted[i] == reader.Decode(subject.after[i])) << "frame " << i << " after the damaged one";
        }
        return outcome;
    }

    void Check(const BYTE* data, std::size_t size) {
        NimbTest::MemoryStream first(data, size), second(data, size);
        const DecodedFrame outcome = Decode(first, 0x00, true);
        if (outcome.hr == S_OK) {
            EXPECT_TRUE(outcome == Decode(second, 0xA7, false)) << "the outcome depends on what memory held before";
        }
    }

    const Subject& subject = Subjects()[GetParam()];

private:
    std::vector<DecodedFrame> m_Wanted;
    NimbTest::AssertionRecorder m_Silence;
};

}  // namespace

TEST_P(HostileInput, EveryCut) {
    for (std::size_t size = 0; size < subject.frame.size(); ++size) {
        // An exact copy, so that the sanitizer sees a read beyond the cut.
        const Bytes cut(subject.frame.begin(), subject.frame.begin() + static_cast<std::ptrdiff_t>(size));
        Check(cut.data(), cut.size());
        ASSERT_FALSE(HasFailure()) << "cut after " << size << " bytes";
    }
}

#ifdef NIMB_FEWER_CHANGES
constexpr UINT32 c_ChangeStep = 7;  // the stage release and the fuzz targets try the rest
#else
constexpr UINT32 c_ChangeStep = 1;
#endif

TEST_P(HostileInput, EveryChangedByte) {
    Bytes frame = subject.frame;
    for (std::size_t at = 0; at < frame.size(); ++at) {
        const BYTE good = frame[at];
        for (UINT32 change = 1; change < 256; ++change) {
            const bool telling = change == 0x01 || change == 0x80 || change == 0xFF;
            if ((at >= subject.fullyChanged || change % c_ChangeStep != 0) && !telling) {
                continue;
            }
            frame[at] = static_cast<BYTE>(good ^ change);
            Check(frame.data(), frame.size());
            ASSERT_FALSE(HasFailure()) << "byte " << at << " changed from " << +good << " to " << +frame[at];
        }
        frame[at] = good;
    }
}

TEST_P(HostileInput, EveryFailingRead) {
    // The stream fails at its n-th read; some failures are deliberately survived, none may leave the reader unusable.
    bool complete = false;
    for (std::size_t failAt = 0; !complete; ++failAt) {
        NimbTest::MemoryStream stream(subject.frame.data(), subject.frame.size(), failAt);
        const HRESULT hr = Decode(stream, 0x5A, true).hr;
        complete = hr == S_OK && stream.Left() == 0;
        ASSERT_FALSE(HasFailure()) << "read " << failAt;
        ASSERT_LT(failAt, 2000u);
    }
}

TEST_P(HostileInput, AllocatorsThatRoundOrFallShort) {
    FrameReader exact(subject.vertexFormat), rounding(subject.vertexFormat, 0xCD, c_LargestBuffer, 60);
    for (const Bytes& frame : subject.after) {
        const DecodedFrame wanted = exact.Decode(frame);
        DecodedFrame got = rounding.Decode(frame);
        ASSERT_EQ(got.hr, S_OK);
        got.vertices.resize(wanted.vertices.size());
        got.indices.resize(wanted.indices.size());
        EXPECT_TRUE(got == wanted);
    }
    FrameReader smaller(subject.vertexFormat, 0xCD, c_LargestBuffer, -1);
    EXPECT_EQ(smaller.Decode(subject.after[0]).hr, E_UNEXPECTED);
}

INSTANTIATE_TEST_SUITE_P(AllCodecs, HostileInput, testing::Range(std::size_t{0}, Subjects().size()),
                         [](const auto& subject) { return Subjects()[subject.param].name; });
