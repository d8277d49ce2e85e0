// The stages of a frame by themselves: vertex streams, index streams, and finding the payload in a video sample.
#include "Bench/EncodedClip.h"

#include "Authoring/Codec/MeshPayload.h"
#include "NimbCore/Codings.h"
#include "NimbCore/NimbCrossPlatform.h"

namespace Bench {
namespace {

/// A frame whose header has been read, ready to have its sections decoded one by one and again.
struct OpenFrame {
    explicit OpenFrame(const Bytes& bytes) : stream(bytes) {
        header.Read(&stream);
        headerEnd = stream.Position();
    }

    MemoryStream stream;
    CStreamingMeshHeader header;
    std::size_t headerEnd = 0;
};

std::size_t ReadKeyVertices(Nimb::CNimbMeshReader& reader, Nimb::CNimbMeshReaderCtx& context, OpenFrame& frame) {
    frame.stream.Seek(frame.headerEnd);
    INimbBuffer* buffer = nullptr;
    return Failed(reader.ReadVertices(&context, &frame.stream, &frame.header, &buffer)) ? 0 : TakeSize(buffer);
}

void KeyVertices(benchmark::State& state, const Subject& subject, bool storedNormals, UINT32 vertexFormat) {
    const Bytes& bytes = EncodeKeyFrame(subject, IndexCoding::List1, storedNormals);
    OpenFrame frame(bytes);
    const auto reader = MakeReader(vertexFormat);
    Nimb::CNimbMeshReaderCtx context;
    std::size_t size = 0;
    for (auto _ : state) {
        size = ReadKeyVertices(*reader, context, frame);
    }
    if (size == 0) {
        state.SkipWithError("the vertices were refused");
        return;
    }
    Report(state, subject.Vertices(), size, frame.stream.Position() - frame.headerEnd);
}

void Indices(benchmark::State& state, const Subject& subject, IndexCoding coding) {
    const Bytes& bytes = EncodeKeyFrame(subject, coding, false);
    OpenFrame frame(bytes);
    const auto reader = MakeReader(13);
    Nimb::CNimbMeshReaderCtx context;
    ReadKeyVertices(*reader, context, frame);
    const std::size_t section = frame.stream.Position();
    std::size_t size = 0;
    for (auto _ : state) {
        frame.stream.Seek(section);
        INimbBuffer* buffer = nullptr;
        size = Failed(reader->ReadIndices(&context, &frame.stream, &frame.header, &buffer)) ? 0 : TakeSize(buffer);
        if (size == 0) {
            state.SkipWithError("the indices were refused");
            return;
        }
    }
    Report(state, subject.Faces(), size, frame.stream.Position() - section);
}

/// As DeltaFrames of the whole-frame benchmarks: real successive frames, restarted off the clock.
void DeltaVertices(benchmark::State& state, const Subject& subject, DeltaCoding coding, UINT32 vertexFormat) {
    const EncodedClip& clip = EncodeClip(subject, coding);
    const auto reader = MakeReader(vertexFormat);
    const Nimb::VertexDecoder decode = Nimb::FindVertexCoding(static_cast<BYTE>(coding))->decode;
    Nimb::CNimbMeshReaderCtx context;
    std::vector<std::unique_ptr<OpenFrame>> frames;
    std::size_t encoded = 0, size = 0;
    for (const Bytes& bytes : clip.frames) {
        frames.push_back(std::make_unique<OpenFrame>(bytes));
        frames.back()->header.m_numVertices = static_cast<UINT32>(subject.Vertices());
        encoded += frames.size() == 1 ? 0 : bytes.size() - frames.back()->headerEnd;
    }
    std::size_t next = frames.size();
    for (auto _ : state) {
        if (next == frames.size()) {
            state.PauseTiming();
            ReadKeyVertices(*reader, context, *frames[0]);
            next = 1;
            state.ResumeTiming();
        }
        OpenFrame& frame = *frames[next++];
        frame.stream.Seek(frame.headerEnd);
        INimbBuffer* buffer = nullptr;
        if (Failed(((*reader).*decode)(&context, &frame.stream, &frame.header, &buffer))) {
            state.SkipWithError("the vertices were refused");
            return;
        }
        size = TakeSize(buffer);
    }
    Report(state, subject.Vertices(), size, encoded / (frames.size() - 1));
}

/// A mesh unit behind a picture of a size that is usual for an atlas of this kind.
Bytes MakeVideoSample(const Bytes& frame) {
    constexpr std::size_t pictureBytes = 40000;
    Bytes sample{0, 0, 0, 1, 0x65};
    UINT32 random = 1;
    for (std::size_t i = 0; i < pictureBytes; ++i) {
        random = random * 1664525u + 1013904223u;
        sample.push_back(static_cast<BYTE>(random >> 24 | 1));  // never zero: coded pictures hardly ever are
    }
    const Bytes unit =
        Nimb::Authoring::WriteMeshNalUnit(frame.data(), frame.size(), Nimb::Authoring::NalFraming::AnnexB);
    sample.insert(sample.end(), unit.begin(), unit.end());
    return sample;
}

void FindPayload(benchmark::State& state, const Subject& subject, const Bytes& frame) {
    const Bytes sample = MakeVideoSample(frame);
    for (auto _ : state) {
        NimbCrossPlatform::Stream* const stream = NimbCrossPlatform::FindCompressedMesh(sample.data(), sample.size());
        if (stream == nullptr) {
            state.SkipWithError("the payload was not found");
            return;
        }
        stream->AddRef();
        stream->Release();
    }
    Report(state, subject.Vertices(), frame.size(), sample.size());
}

}  // namespace

void RegisterCodecBenchmarks(const Subject& subject) {
    const std::string prefix = "Codec/" + subject.name + "/";
    for (const auto& [layout, format] : c_Layouts) {
        for (const bool normals : {false, true}) {
            Register(prefix + "KeyVertices/" + (normals ? "stored-normals/" : "") + layout,
                     [&subject, normals, f = format](auto& state) { KeyVertices(state, subject, normals, f); });
        }
    }
    for (const auto& [name, coding] : DeltaCodings()) {
        Register(prefix + "DeltaVertices/" + name + "/float",
                 [&subject, c = coding](auto& state) { DeltaVertices(state, subject, c, 13); });
    }
    for (const auto& [name, coding] : c_IndexCodings) {
        Register(prefix + "Indices/" + name, [&subject, c = coding](auto& state) { Indices(state, subject, c); });
    }
    Register(prefix + "FindCompressedMesh/Key", [&subject](auto& state) {
        FindPayload(state, subject, EncodeKeyFrame(subject, IndexCoding::EdgeBreaker, false));
    });
    Register(prefix + "FindCompressedMesh/Delta", [&subject](auto& state) {
        FindPayload(state, subject, EncodeClip(subject, DeltaCoding::Golomb).frames[1]);
    });
}

}  // namespace Bench
