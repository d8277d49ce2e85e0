// Any frame in any order is what a player shows that has played up to there. The reference is the core, fed with all
// frames in order as another reader finds them.
#include "Clip/Read/ClipReader.h"
#include "NimbClip/nimb_clip.h"
#include "Tests/Support/CounterFrame.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/TestClip.h"
#include "Tests/Support/TestSupport.h"
#include "Tests/Support/TinyMp4.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

using namespace Nimb::Authoring;
using ClipTest::ReadFile;

namespace {

using File = std::vector<unsigned char>;
constexpr nimb_clip_layout c_Layouts[] = {NIMB_CLIP_INT16, NIMB_CLIP_INT16_NORMALS, NIMB_CLIP_FLOAT,
                                          NIMB_CLIP_FLOAT_NORMALS};

struct CloseClip {
    void operator()(nimb_clip* clip) const { nimb_clip_close(clip); }
};
using Clip = std::unique_ptr<nimb_clip, CloseClip>;

Clip Open(const File& file, nimb_clip_status wanted = NIMB_CLIP_OK, const std::string& text = "") {
    nimb_clip* clip = nullptr;
    nimb_clip_error error = {};
    EXPECT_EQ(nimb_clip_open_memory(file.data(), file.size(), &clip, &error), wanted) << error.text;
    EXPECT_EQ(clip != nullptr, wanted == NIMB_CLIP_OK);
    EXPECT_NE(std::string(error.text).find(text), std::string::npos) << error.text;
    return Clip(clip);
}

/// A frame as its status and, where it is OK, its bytes.
struct Shown {
    nimb_clip_status status = NIMB_CLIP_NO_MESH;
    std::vector<BYTE> vertices;
    std::vector<UINT32> indices;

    bool operator==(const Shown& other) const {
        return status == other.status && vertices == other.vertices && indices == other.indices;
    }
};

Shown Decode(nimb_clip* clip, std::uint32_t frame, nimb_clip_layout layout) {
    nimb_clip_mesh mesh = {};
    nimb_clip_error error = {};
    Shown shown;
    shown.status = nimb_clip_decode(clip, frame, layout, &mesh, &error);
    if (shown.status == NIMB_CLIP_OK) {
        const auto* const bytes = static_cast<const BYTE*>(mesh.vertices);
        shown.vertices.assign(bytes, bytes + std::size_t{mesh.vertex_count} * mesh.stride);
        shown.indices.assign(mesh.indices, mesh.indices + mesh.index_count);
        EXPECT_EQ(mesh.frame, frame);
    } else {
        EXPECT_EQ(error.frame, frame);
        EXPECT_STRNE(error.text, "");
    }
    return shown;
}

/// What a player has to show, frame by frame. Damage ends with the next frame that is a key frame by its header.
std::vector<Shown> Play(const std::string& path, nimb_clip_layout layout) {
    ClipReader reader(path);
    NimbTest::FrameReader core(static_cast<UINT32>(layout));
    std::vector<Shown> frames;
    ClipSample sample;
    bool isDamaged = false;
    while (reader.Read(sample)) {
        if (sample.track != reader.VideoTrack()) {
            continue;
        }
        Shown& shown = frames.emplace_back();
        const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> stream(
            NimbCrossPlatform::FindCompressedMesh(sample.byteStream.data(), sample.byteStream.size()));
        if (stream == nullptr) {
            continue;
        }
        Bytes mesh(sample.byteStream.size());
        UINT32 size = 0;
        stream->Read(mesh.data(), static_cast<UINT32>(mesh.size()), &size);
        mesh.resize(size);
        const NimbTest::DecodedFrame decoded = core.Decode(mesh);
        isDamaged = decoded.hr != S_OK || (isDamaged && mesh[2] == 6);
        shown.status = isDamaged ? NIMB_CLIP_DAMAGED : NIMB_CLIP_OK;
        if (!isDamaged) {
            shown.vertices = decoded.vertices;
            shown.indices = decoded.indices;
        }
    }
    return frames;
}

/// In any order, forward and back, in all layouts, with a small cache and without one.
void ExpectAnyOrder(const std::string& path) {
    const File file = ReadFile(path);
    std::vector<std::vector<Shown>> played;
    for (const nimb_clip_layout layout : c_Layouts) {
        played.push_back(Play(path, layout));
    }
    const auto count = static_cast<std::uint32_t>(played[0].size());
    NimbTest::Random random(5);
    for (const std::size_t cache : {std::size_t{0}, std::size_t{50000}, std::size_t{64} << 20}) {
        const Clip clip = Open(file);
        ASSERT_EQ(nimb_clip_sample_count(clip.get(), NIMB_CLIP_PICTURES), count);
        nimb_clip_set_cache(clip.get(), cache);
        std::uint32_t frame = 0;
        for (int i = 0; i < 300; ++i) {
            const UINT32 step = random.Below(8);
            frame = step < 3 ? (frame + 1) % count : step < 5 ? (frame + count - 1) % count : random.Below(count);
            const std::size_t layout = random.Below(4);
            ASSERT_TRUE(Decode(clip.get(), frame, c_Layouts[layout]) == played[layout][frame])
                << "frame " << frame << ", layout " << c_Layouts[layout] << ", cache " << cache << ", step " << i;
        }
    }
}

class NimbClipTest : public testing::Test {
protected:
    /// 90 frames, key frames at 0, 37 and 74.
    ClipTest::ClipRecipe Recipe() const {
        ClipTest::ClipRecipe recipe;
        recipe.frameCount = 90;
        recipe.meshKeyInterval = 37;
        recipe.pictureKeyInterval = 37;
        recipe.storeNormals = true;
        return recipe;
    }
    File Make(const ClipTest::ClipRecipe& recipe) {
        MakeClip(m_Path, recipe);
        return ReadFile(m_Path);
    }

    const ClipTest::TemporaryFolder m_Folder;
    const std::string m_Path = m_Folder / "clip.mp4";
};

TEST_F(NimbClipTest, AnyFrameInAnyOrderIsWhatPlayingShows) {
    Make(Recipe());
    ExpectAnyOrder(m_Path);

    ClipTest::ClipRecipe untracked = Recipe();
    untracked.delta = std::nullopt;
    untracked.pictureKeyInterval = 80;
    Make(untracked);
    ExpectAnyOrder(m_Path);

    FrameEncoder temporal, mixed;
    std::vector<EncodedFrame> sheets, ids;
    for (int i = 0; i < 40; ++i) {
        sheets.push_back(ClipTest::EncodeTemporal(temporal, i, i % 20 != 0));
        // Two sub-meshes by turns: frames of the one build on key frames before those of the other.
        CodingOptions options;
        options.frame.subMeshId = static_cast<UINT32>(i % 2);
        options.keyFrameInterval = i % 2 == 0 ? 7 : 20;
        ids.push_back(mixed.NextFrame(ClipTest::MakeNumberedMesh(i), options));
    }
    ClipTest::WriteClip(m_Path, sheets);
    ExpectAnyOrder(m_Path);
    ClipTest::WriteClip(m_Path, ids);
    ExpectAnyOrder(m_Path);
}

TEST_F(NimbClipTest, DamageStaysWithinItsFrames) {
    ClipTest::ClipRecipe recipe = Recipe();
    recipe.damage = [](int number, Bytes& mesh) {
        if (number == 20 || number == 37) {
            mesh.resize(60);
            mesh[0] = 99;  // no vertex coding
        } else if (number == 50) {
            mesh.clear();
        }
    };
    const File file = Make(recipe);
    ExpectAnyOrder(m_Path);
    const Clip clip = Open(file);
    EXPECT_EQ(Decode(clip.get(), 19, NIMB_CLIP_FLOAT).status, NIMB_CLIP_OK);
    EXPECT_EQ(Decode(clip.get(), 36, NIMB_CLIP_FLOAT).status, NIMB_CLIP_DAMAGED);
    EXPECT_EQ(Decode(clip.get(), 50, NIMB_CLIP_FLOAT).status, NIMB_CLIP_NO_MESH);
    EXPECT_EQ(Decode(clip.get(), 74, NIMB_CLIP_FLOAT).status, NIMB_CLIP_OK);
}

TEST_F(NimbClipTest, IndexAndSamplesAreThoseOfTheFile) {
    ClipTest::ClipRecipe recipe = Recipe();
    recipe.audioSeconds = 3;
    recipe.pictureKeyInterval = 1;
    const File file = Make(recipe);
    const auto expectAlike = [&](const std::string& path) {
        SCOPED_TRACE(path);
        const File bytes = ReadFile(path);
        const Clip clip = Open(bytes);
        nimb_clip_info info = {};
        nimb_clip_get_info(clip.get(), &info);
        EXPECT_EQ(info.width, 64u);
        EXPECT_EQ(info.frame_count, 90u);
        EXPECT_NEAR(static_cast<double>(info.duration) / info.time_scale, 3, 0.001);
        ClipReader reader(path);
        ClipSample sample;
        std::size_t samples = 0;
        while (reader.Read(sample)) {
            const bool isVideo = sample.track == reader.VideoTrack();
            const nimb_clip_track track = isVideo ? NIMB_CLIP_PICTURES : NIMB_CLIP_SOUND;
            const auto number = static_cast<std::uint32_t>(sample.number);
            nimb_clip_sample found = {};
            ASSERT_EQ(nimb_clip_get_sample(clip.get(), track, number, &found), NIMB_CLIP_OK);
            EXPECT_EQ(found.offset, sample.offset);
            EXPECT_EQ(found.size, sample.bytes.size());
            EXPECT_EQ(found.is_key != 0, sample.isKeyPicture || !isVideo);
            const std::uint8_t* data = nullptr;
            std::size_t size = 0;
            ASSERT_EQ(nimb_clip_read_sample(clip.get(), track, number, NIMB_CLIP_AS_STORED, &data, &size, nullptr),
                      NIMB_CLIP_OK);
            Bytes wanted = sample.bytes;
            if (isVideo) {
                EXPECT_EQ(nimb_clip_frame_at(clip.get(), found.time), number);
                EXPECT_EQ(nimb_clip_frame_at(clip.get(), found.time + found.duration - 1), number);
                wanted.clear();
                for (std::size_t at = 0; at < sample.bytes.size();) {
                    const BYTE* const unit = sample.bytes.data() + at;
                    const std::size_t end = 4 + (std::size_t{unit[1]} << 16 | std::size_t{unit[2]} << 8 | unit[3]);
                    if (unit[4] != 0x18) {
                        wanted.insert(wanted.end(), unit, unit + end);
                    }
                    at += end;
                }
                EXPECT_LT(wanted.size(), sample.bytes.size());
            }
            EXPECT_TRUE(wanted == Bytes(data, data + size)) << number;
            ++samples;
        }
        EXPECT_EQ(samples, nimb_clip_sample_count(clip.get(), NIMB_CLIP_PICTURES) +
                               nimb_clip_sample_count(clip.get(), NIMB_CLIP_SOUND));
        nimb_clip_track_info sound = {};
        EXPECT_EQ(nimb_clip_get_track(clip.get(), NIMB_CLIP_SOUND, &sound), NIMB_CLIP_OK);
        EXPECT_EQ(sound.sample_rate, 48000u);
        EXPECT_EQ(sound.channels, 2u);
        EXPECT_GE(sound.configuration_size, 2u) << "AAC's configuration";
        std::uint32_t key = 99;
        EXPECT_EQ(nimb_clip_find_key(clip.get(), 73, &key, nullptr), NIMB_CLIP_OK);
        EXPECT_EQ(key, 37u);
    };
    expectAlike(m_Path);
    const auto ffmpeg = [&](const std::string& how, const std::string& name) {
        const auto result = ClipTest::RunCommand(
            "cd " + (m_Folder / "") + " && ffmpeg -nostdin -v error -y -i clip.mp4 " + how + " -c copy " + name);
        EXPECT_EQ(result.status, 0) << result.output;
        return ReadFile(m_Folder / name);
    };
    ffmpeg("-movflags faststart", "fast.mp4");
    expectAlike(m_Folder / "fast.mp4");

    // Cut off behind its index, a file still has the frames before that.
    const File fast = ReadFile(m_Folder / "fast.mp4"), half(fast.begin(), fast.begin() + fast.size() / 2);
    const Clip whole = Open(fast), cut = Open(half);
    std::uint32_t lost = 0;
    for (std::uint32_t i = 90; i-- > 0;) {
        nimb_clip_sample sample = {};
        ASSERT_EQ(nimb_clip_get_sample(cut.get(), NIMB_CLIP_PICTURES, i, &sample), NIMB_CLIP_OK);
        const Shown shown = Decode(cut.get(), i, NIMB_CLIP_FLOAT);
        if (sample.offset + sample.size > half.size()) {
            ++lost;
            EXPECT_EQ(shown.status, NIMB_CLIP_DAMAGED) << i;
        } else {
            EXPECT_TRUE(shown == Decode(whole.get(), i, NIMB_CLIP_FLOAT)) << i;
        }
    }
    EXPECT_TRUE(lost > 20 && lost < 70) << lost;
    std::uint32_t key = 0;
    EXPECT_EQ(nimb_clip_find_key(cut.get(), 89, &key, nullptr), NIMB_CLIP_OK);
    EXPECT_EQ(key, lost > 90 - 37 ? 0u : 37u);

    Open(ffmpeg("-movflags frag_keyframe+empty_moov", "fragments.mp4"), NIMB_CLIP_UNSUPPORTED, "nimb remux");
    Open(ffmpeg("", "matroska.mkv"), NIMB_CLIP_NOT_A_CLIP);
    Open(ffmpeg("-vn", "sound.mp4"), NIMB_CLIP_NOT_A_CLIP, "no H.264");
    Open(File(3000, 'x'), NIMB_CLIP_NOT_A_CLIP);
    Open(File(), NIMB_CLIP_NOT_A_CLIP);
    Open(File(file.begin(), file.end() - 3000), NIMB_CLIP_DAMAGED);

    // Shifted by an edit list, and without attributes, which looking through finds again.
    const File shifted = ffmpeg("-itsoffset 0.5 -i clip.mp4 -map 1:v -map 0:a", "shifted.mp4");
    const Clip clip = Open(shifted), original = Open(file);
    nimb_clip_sample first = {};
    nimb_clip_info info = {}, wanted = {};
    nimb_clip_get_info(original.get(), &wanted);
    nimb_clip_get_info(clip.get(), &info);
    nimb_clip_get_sample(clip.get(), NIMB_CLIP_PICTURES, 0, &first);
    EXPECT_NEAR(static_cast<double>(first.time) / info.time_scale, 0.5, 0.002);
    EXPECT_EQ(info.has_attributes, 0u);
    EXPECT_EQ(wanted.has_attributes, 1u);
    EXPECT_EQ(nimb_clip_look_through(clip.get(), nullptr), NIMB_CLIP_OK);
    nimb_clip_get_info(clip.get(), &info);
    EXPECT_EQ(info.max_vertices, wanted.max_vertices);
    EXPECT_EQ(info.max_indices, wanted.max_indices);
    EXPECT_EQ(info.has_normals, 1u);
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(info.box_min[axis], wanted.box_min[axis], 1e-3);
        EXPECT_NEAR(info.box_max[axis], wanted.box_max[axis], 1e-3);
    }
}

TEST_F(NimbClipTest, IndicesOfEveryFormAreRead) {
    const NimbTest::TinyMp4 forms[] = {{}, {true, false, 0, 3}, {false, true, 700, 1}, {true, true, 250, 2}};
    KeyFrameOptions key;
    const std::vector<Bytes> frames =
        NimbTest::EncodeClip(NimbTest::MakeSheet(4, 3), key, {DeltaFrameOptions(), DeltaFrameOptions()});
    for (const NimbTest::TinyMp4& form : forms) {
        const File file = form.Make(frames);
        const Clip clip = Open(file);
        NimbTest::FrameReader core(NIMB_CLIP_FLOAT);
        for (std::uint32_t i = 0; i < frames.size(); ++i) {
            nimb_clip_sample sample = {};
            ASSERT_EQ(nimb_clip_get_sample(clip.get(), NIMB_CLIP_PICTURES, i, &sample), NIMB_CLIP_OK);
            EXPECT_EQ(sample.time, form.emptyEdit + 100 * i);
            EXPECT_EQ(sample.is_key != 0, i % form.keyInterval == 0);
            EXPECT_EQ(Decode(clip.get(), i, NIMB_CLIP_FLOAT).vertices, core.Decode(frames[i]).vertices);
        }
        nimb_clip_set_limit(clip.get(), 100);
        EXPECT_EQ(Decode(clip.get(), 0, NIMB_CLIP_FLOAT).status, NIMB_CLIP_DAMAGED) << "beyond the caller's limit";
        const std::uint8_t* data = nullptr;
        std::size_t size = 0;
        nimb_clip_read_sample(clip.get(), NIMB_CLIP_PICTURES, 0, NIMB_CLIP_BYTE_STREAM, &data, &size, nullptr);
        nimb_clip_track_info track = {};
        EXPECT_EQ(nimb_clip_get_track(clip.get(), NIMB_CLIP_SOUND, &track), NIMB_CLIP_INVALID_ARGUMENT)
            << "there is none";
        EXPECT_EQ(nimb_clip_get_track(clip.get(), NIMB_CLIP_PICTURES, &track), NIMB_CLIP_OK);
        EXPECT_EQ(track.time_scale, 1000u);
        EXPECT_EQ(track.configuration_size, 17u);
        EXPECT_EQ(track.configuration[1], 66);
        const std::vector<BYTE> wanted{0, 0,    0,    1, 0x67, 66, 0, 10,   0,    0,   0,
                                       1, 0x68, 0xCE, 0, 0,    0,  1, 0x65, 0x88, 0x84};
        EXPECT_EQ(std::vector<BYTE>(data, data + size), wanted);
    }
    // The first sample's size, and the offset of the chunk.
    for (const auto& [table, field] : {std::pair{"stsz", 16}, std::pair{"stco", 12}}) {
        File damaged = forms[0].Make(frames);
        const auto at = std::search(damaged.begin(), damaged.end(), table, table + 4);
        *(at + field) = 0x7F;
        Open(damaged, NIMB_CLIP_DAMAGED, "beyond the end");
    }
}

/// Fails from its n-th read on, until it is told not to.
struct FailingFile {
    const File* file;
    int readsLeft;

    static std::int64_t Read(void* user, std::uint64_t offset, void* to, std::size_t size) {
        FailingFile& self = *static_cast<FailingFile*>(user);
        if (self.readsLeft-- <= 0) {
            return -1;
        }
        std::memcpy(to, self.file->data() + offset, size);
        return static_cast<std::int64_t>(size);
    }
};

TEST_F(NimbClipTest, AReadThatFailsIsAStatusAndTheClipGoesOn) {
    const File file = Make(Recipe());
    const std::vector<Shown> played = Play(m_Path, NIMB_CLIP_FLOAT);
    for (int reads = 0; reads < 60; ++reads) {
        FailingFile failing{&file, reads};
        const nimb_clip_source source = {&FailingFile::Read, &failing, file.size()};
        nimb_clip* opened = nullptr;
        nimb_clip_error error = {};
        if (nimb_clip_open(&source, &opened, &error) != NIMB_CLIP_OK) {
            EXPECT_EQ(error.status, NIMB_CLIP_READ_FAILED) << reads;
            continue;
        }
        const Clip clip(opened);
        const nimb_clip_status status = Decode(clip.get(), 70, NIMB_CLIP_FLOAT).status;
        EXPECT_EQ(status, failing.readsLeft < 0 ? NIMB_CLIP_READ_FAILED : NIMB_CLIP_OK) << reads;
        failing.readsLeft = 10000;
        EXPECT_TRUE(Decode(clip.get(), 71, NIMB_CLIP_FLOAT) == played[71]) << reads;
    }
}

#ifdef NIMB_CLIP_RUNS
TEST_F(NimbClipTest, CompilersAndProcessorsAgree) {
    File damaged = Make(Recipe());
    ClipTest::WriteFile(m_Folder / "cut.mp4", File(damaged.begin(), damaged.end() - 3000));
    for (std::size_t at = damaged.size() / 4; at < damaged.size() / 2; at += 50) {
        damaged[at] ^= 0x55;
    }
    ClipTest::WriteFile(m_Folder / "damaged.mp4", damaged);
    const std::string files = m_Path + " " + m_Folder / "damaged.mp4" + " " + m_Folder / "cut.mp4";
    const std::vector<std::string> runs{NIMB_CLIP_RUNS};
    std::string first;
    for (const std::string& run : runs) {
        const auto result = ClipTest::RunCommand("WINEDEBUG=-all WINEPREFIX=" + (m_Folder / "wine") + " " + run + " " +
                                                 files + " 2>&1");
        EXPECT_EQ(result.status, 0) << run << ": " << result.output;
        std::string hashes;  // wine ends lines in its own way, and greets
        for (const char c : result.output.substr(std::min(result.output.find("0 0 "), result.output.size()))) {
            hashes += c == '\r' ? "" : std::string(1, c);
        }
        first = first.empty() ? hashes : first;
        EXPECT_EQ(hashes, first) << run;
        EXPECT_EQ(std::count(hashes.begin(), hashes.end(), '\n'), 2 * 4 * 90 + 1) << run;
    }
    EXPECT_NE(first.find(" 6 "), std::string::npos) << "some frames are damaged";
}
#endif

}  // namespace
