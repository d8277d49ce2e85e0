#include "Tests/NimbUnityPluginML/PluginTest.h"

#include "Authoring/Codec/MeshPayload.h"
#include "Authoring/Codec/XtraAttributes.h"
#include "Authoring/Frame/FrameEncoder.h"
#include "Tests/Support/TestSupport.h"
#include "Tests/Support/TinyMp4.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>

#include <unistd.h>

namespace PluginTest {
namespace {

Nimb::Authoring::Mesh MeshOf(std::size_t frame) {
    Nimb::Authoring::Mesh mesh = NimbTest::MakeSheet(3, 3);
    for (Nimb::Authoring::Vec3& position : mesh.positions) {
        position.x += static_cast<float>(frame);
    }
    return mesh;
}

Nimb::Authoring::Bytes EncodeMesh(Nimb::Authoring::FrameEncoder& encoder, std::size_t frame,
                                  const ClipOptions& options) {
    const Nimb::Authoring::Mesh mesh = MeshOf(frame);
    const bool isKey = frame == 0 || (options.meshKeyInterval > 0 && frame % options.meshKeyInterval == 0);
    if (options.deltaFrames && !isKey) {
        Nimb::Authoring::DeltaFrameOptions delta;
        delta.frameId = static_cast<UINT32>(frame);
        delta.coding = Nimb::Authoring::DeltaCoding::Huffman;
        return encoder.DeltaFrame(mesh, delta).bytes;
    }
    Nimb::Authoring::KeyFrameOptions key;
    key.frameId = static_cast<UINT32>(frame);
    return encoder.KeyFrame(mesh, key).bytes;
}

std::vector<std::string>& TemporaryFiles() {
    static std::vector<std::string> files;
    return files;
}

}  // namespace

Fake::Clip MakeClip(const ClipOptions& options) {
    Fake::Clip clip;
    const auto duration = static_cast<std::int64_t>(options.frames) * options.intervalUs;
    clip.tracks.push_back({"video/avc", 640, 480, duration});
    if (options.audioSamples > 0) {
        clip.tracks.push_back({"audio/mp4a-latm", 0, 0, duration});
    }
    Nimb::Authoring::FrameEncoder encoder;
    std::size_t audio = 0;
    std::uint32_t counter = 0;
    for (std::size_t frame = 0; frame < options.frames; ++frame) {
        const std::int64_t time = static_cast<std::int64_t>(frame) * options.intervalUs;
        Fake::Bytes unit;
        if (options.withoutMesh.count(frame) == 0) {
            Nimb::Authoring::Bytes mesh = EncodeMesh(encoder, frame, options);
            if (options.damagedMesh.count(frame) != 0) {
                mesh.resize(mesh.size() / 2);
            }
            unit = Nimb::Authoring::WriteMeshNalUnit(mesh.data(), mesh.size(), Nimb::Authoring::NalFraming::AnnexB);
        }
        const bool isKey = frame % options.pictureKeyInterval == 0;
        clip.samples.push_back({0, time, Fake::MakeVideoSample(static_cast<std::uint32_t>(frame), unit, isKey)});
        for (; audio * options.frames < (frame + 1) * options.audioSamples; ++audio) {
            Fake::Bytes bytes(options.audioBytes);
            for (std::uint8_t& byte : bytes) {
                byte = static_cast<std::uint8_t>(counter++ % 251 % 200);  // never what the fakes fill buffers with
            }
            clip.samples.push_back({1, time, bytes});
        }
    }
    return clip;
}

Fake::Bytes SoundOf(const Fake::Clip& clip) {
    Fake::Bytes sound;
    for (const Fake::Sample& sample : clip.samples) {
        if (sample.track == 1) {
            sound.insert(sound.end(), sample.bytes.begin(), sample.bytes.end());
        }
    }
    return sound;
}

Fake::Bytes TailWithAtom() {
    const std::vector<BYTE> atom = Nimb::Authoring::WriteAttributeAtom({});
    Fake::Bytes contents(2048 + atom.size());
    std::copy(atom.begin(), atom.end(), contents.end() - static_cast<std::ptrdiff_t>(atom.size()));
    return contents;
}

std::string AddFile(const Fake::Clip& clip, const Fake::Bytes& contents) {
    static std::atomic<int> number{0};
    const std::string path =
        testing::TempDir() + "nimb_plugin_test_" + std::to_string(getpid()) + "_" + std::to_string(number++) + ".mp4";
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    EXPECT_NE(file, nullptr);
    if (file != nullptr) {
        EXPECT_EQ(std::fwrite(contents.data(), 1, contents.size(), file), contents.size());
        std::fclose(file);
    }
    Fake::AddClip(path, clip);
    TemporaryFiles().push_back(path);
    return path;
}

std::string AddIndexedFile(const ClipOptions& options) {
    NimbTest::TinyMp4 file;
    file.keyInterval = static_cast<UINT32>(options.pictureKeyInterval);
    file.frameDuration = static_cast<UINT32>(options.intervalUs / 1000);
    Fake::Bytes contents = file.Make(std::vector<Fake::Bytes>(options.frames));
    const Fake::Bytes tail = Nimb::Authoring::WriteAttributeAtom({});
    contents.insert(contents.end(), tail.begin(), tail.end());
    return AddFile(MakeClip(options), contents);
}

std::string Text(const char* format, ...) {
    char text[2048];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return text;
}

int Logged(MLLogLevel level, const std::string& text) {
    const std::vector<Fake::LogLine> log = Fake::Log();
    return static_cast<int>(std::count(log.begin(), log.end(), Fake::LogLine{level, text}));
}

int LoggedWith(const std::string& part) {
    const std::vector<Fake::LogLine> log = Fake::Log();
    return static_cast<int>(std::count_if(log.begin(), log.end(), [&part](const Fake::LogLine& line) {
        return line.text.find(part) != std::string::npos;
    }));
}

Screen::Screen(Player& player, std::size_t vertexCount, std::size_t indexCount)
    : texture(FakeGl::MakeTexture()),
      vertexBuffer(FakeGl::MakeBuffer(vertexCount * 32)),
      indexBuffer(FakeGl::MakeBuffer(indexCount * 4)),
      vertices(vertexCount),
      indices(indexCount),
      m_Player(player) {
    HandOver();
}

void Screen::HandOver() {
    const auto pointer = [](GLuint name) { return reinterpret_cast<void*>(static_cast<std::uintptr_t>(name)); };
    EXPECT_EQ(SetUnityBuffers(m_Player.Id(), pointer(texture), 640, 480, pointer(vertexBuffer),
                              static_cast<int>(vertices), pointer(indexBuffer), static_cast<int>(indices)),
              1);
}

void Screen::Render() {
    // The mesh of a picture is on its way before the picture is: with all of them decoded and no further picture
    // coming, the event finds the mesh of whichever picture it takes.
    const std::lock_guard<std::mutex> noPicture(Fake::PictureGate());
    EXPECT_TRUE(AwaitMeshes(m_Player.Id()));
    Event();
}

void Screen::Event() {
    const std::pair<std::int64_t, std::int64_t> before(Picture(), Mesh());
    OnUnityRenderModeEvent(m_Player.Id());
    const std::pair<std::int64_t, std::int64_t> now(Picture(), Mesh());
    const NimbShownFrame record = Record();
    if (now.first >= 0 && (shown.empty() || shown.back() != now)) {
        shown.push_back(now);
    }
    if (arePicturesFrames && now.first >= 0 && (now != before || record.frame >= 0)) {
        EXPECT_EQ(record.frame, now.first);
    }
}

NimbShownFrame Screen::Record() const {
    NimbShownFrame record{};
    EXPECT_EQ(GetShownFrame(m_Player.Id(), &record), 1);
    return record;
}

std::int64_t Screen::Picture() const {
    return FakeGl::PictureIn(texture);
}

std::int64_t Screen::Mesh() const {
    const Fake::Bytes bytes = FakeGl::BufferBytes(vertexBuffer);
    float smallest = std::numeric_limits<float>::max();
    for (std::size_t i = 0; i + 32 <= bytes.size(); i += 32) {
        float x;
        std::memcpy(&x, &bytes[i], sizeof(x));
        smallest = std::min(smallest, x);
    }
    return smallest < -0.5f ? -1 : std::llround(smallest);
}

void PluginFixture::SetUp() {
    Fake::Reset();
    FakeGl::Reset();
    FakeGl::MakeCurrent(FakeGl::TheContext());
    UnitySetGraphicsDevice(nullptr, 11, 0);
    Fake::ClearLog();
    FakeGl::ClearCalls();
}

void PluginFixture::TearDown() {
    for (const Fake::Kind kind :
         {Fake::Kind::Extractor, Fake::Kind::Format, Fake::Kind::Codec, Fake::Kind::NativeBuffer, Fake::Kind::Sound}) {
        EXPECT_EQ(Fake::Live(kind), 0) << "handles of kind " << static_cast<int>(kind) << " were left behind";
    }
    EXPECT_EQ(FakeGl::LiveImages(), 0);
    EXPECT_EQ(FakeGl::ImagesOfReleasedBuffers(), 0);
    EXPECT_EQ(Fake::CodecsDestroyedUnderAFrame(), 0);
    EXPECT_EQ(Fake::LinesOfOtherTags(), 0);
    for (const std::string& file : TemporaryFiles()) {
        std::remove(file.c_str());
    }
    TemporaryFiles().clear();
}

Pairs Matching(std::int64_t first, std::int64_t last) {
    Pairs pairs;
    for (std::int64_t i = first; i <= last; ++i) {
        pairs.emplace_back(i, i);
    }
    return pairs;
}

}  // namespace PluginTest
