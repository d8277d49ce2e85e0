// Small clips in every coding, whose bytes and what they decode to are the same everywhere.
#pragma once

#include "Authoring/Codec/TextureTransform.h"
#include "Authoring/Frame/FrameEncoder.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Meshes.h"

#include <string>
#include <vector>

namespace NimbTest {

struct GoldenClip {
    const char* name;
    std::vector<Nimb::Authoring::Bytes> frames;
};

/// A key frame and five frames that follow it, in two of which a vertex leaves the box it is clamped to.
inline std::vector<Nimb::Authoring::Bytes> MakeGoldenClip(Nimb::Authoring::IndexCoding indices, bool indicesFirst,
                                                          bool normals, Nimb::Authoring::DeltaCoding coding,
                                                          double maxError) {
    using namespace Nimb::Authoring;
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
    return EncodeClip(MakeSheet(7, 5), key, deltas);
}

/// Delta frames of version 5 as they stand: how their encoder fits transforms is not the same to the last bit
/// everywhere.
inline constexpr const char* c_TransformFrames[] = {
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

inline std::vector<Nimb::Authoring::Bytes> MakeTransformClip() {
    using namespace Nimb::Authoring;
    KeyFrameOptions key;
    key.indices = IndexCoding::List1;
    std::vector<Nimb::Authoring::Bytes> clip{FrameEncoder().KeyFrame(MakeSheet(7, 5), key).bytes};
    for (const char* digits : c_TransformFrames) {
        Bytes frame;
        for (; *digits != 0; digits += 2) {
            frame.push_back(static_cast<BYTE>(std::stoi(std::string(digits, 2), nullptr, 16)));
        }
        clip.push_back(frame);
    }
    return clip;
}

inline std::vector<Nimb::Authoring::Bytes> MakeTemporalClip() {
    using namespace Nimb::Authoring;
    const TwoSubMeshes how{{7, 6},
                           {IndexCoding::EdgeBreaker, IndexCoding::List2},
                           {DeltaCoding::Golomb, DeltaCoding::Quantised},
                           SolveTransform(PlaceInAtlas(0.3f, 0.7f, 0.6f, 0.1f))};
    const Mesh first = MakeSheet(5, 4, 3), second = MakeSheet(3, 6, 4);
    FrameEncoder encoder;
    std::vector<Nimb::Authoring::Bytes> clip;
    for (UINT32 time = 0; time < 3; ++time) {
        clip.push_back(how.Encode(encoder, Moved(first, time), Moved(second, 5 * time), time > 0).bytes);
    }
    return clip;
}

inline std::vector<GoldenClip> MakeGoldenClips() {
    using I = Nimb::Authoring::IndexCoding;
    using D = Nimb::Authoring::DeltaCoding;
    return {
        {"List1+Records", MakeGoldenClip(I::List1, false, false, D::Quantised, 0)},
        {"List2+Plain", MakeGoldenClip(I::List2, true, false, D::Plain, 0)},
        {"EdgeBreaker+Golomb", MakeGoldenClip(I::EdgeBreaker, true, true, D::Golomb, 0.001)},
        {"EdgeBreaker+Huffman", MakeGoldenClip(I::EdgeBreaker, false, true, D::Huffman, 0)},
        {"Strips1+Golomb", MakeGoldenClip(I::Strips1, false, false, D::Golomb, 0)},
        {"Strips2+Huffman", MakeGoldenClip(I::Strips2, false, false, D::Huffman, 0.001)},
        {"List1+Transform", MakeTransformClip()},
        {"Temporal", MakeTemporalClip()},
    };
}

}  // namespace NimbTest
