// Files that mean harm: each ends in a status or in frames, after no more reading than the file is long a few times,
// and in no more memory than the caller's limit calls for.
#include "NimbClip/nimb_clip.h"
#include "Tests/NimbClip/Allocated.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Meshes.h"
#include "Tests/Support/TestClip.h"
#include "Tests/Support/TestSupport.h"
#include "Tests/Support/TinyMp4.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using NimbTest::g_Allocated;
using NimbTest::g_Peak;

namespace {

using File = std::vector<unsigned char>;

constexpr std::size_t c_Limit = std::size_t{1} << 20;  // of an array

/// What became of all files.
struct Tally {
    std::size_t refused = 0, opened = 0, frames = 0, lost = 0;
};

class HostileFile {
public:
    HostileFile(const File& file, Tally& tally) : m_File(file) {
        const std::size_t before = g_Allocated;
        g_Peak = before;
        const nimb_clip_source source = {&Read, this, file.size()};
        const bool isOpen = Call([&] { return nimb_clip_open(&source, &m_Clip, &m_Error); });
        ++(isOpen ? tally.opened : tally.refused);
        if (isOpen) {
            Use(tally);
        }
        nimb_clip_close(m_Clip);
        // Arrays in and out, what the decoder remembers, and the index.
        EXPECT_LE(g_Peak - before, 4 * c_Limit + 64 * file.size());
        EXPECT_EQ(g_Allocated, before);
    }

private:
    static std::int64_t Read(void* user, std::uint64_t offset, void* to, std::size_t size) {
        HostileFile& self = *static_cast<HostileFile*>(user);
        const bool isInside = offset <= self.m_File.size() && size <= self.m_File.size() - offset;
        EXPECT_TRUE(isInside) << size << " bytes at " << offset << " of " << self.m_File.size();
        self.m_BytesRead += size;
        return isInside ? (std::memcpy(to, self.m_File.data() + offset, size), static_cast<std::int64_t>(size)) : -1;
    }

    template <class Function>
    bool Call(Function&& function) {
        m_BytesRead = 0;
        m_Error = {};
        const nimb_clip_status status = function();
        EXPECT_LE(m_BytesRead, 4 * m_File.size() + 4096);
        EXPECT_TRUE(status == NIMB_CLIP_OK || status >= NIMB_CLIP_NOT_A_CLIP) << m_Error.text;
        EXPECT_EQ(m_Error.text[0] == '\0', status == NIMB_CLIP_OK);
        return status == NIMB_CLIP_OK;
    }

    void Use(Tally& tally) {
        nimb_clip_set_limit(m_Clip, c_Limit);
        nimb_clip_set_cache(m_Clip, c_Limit);
        EXPECT_TRUE(Call([&] { return nimb_clip_look_through(m_Clip, &m_Error); }));
        for (const nimb_clip_track track : {NIMB_CLIP_PICTURES, NIMB_CLIP_SOUND}) {
            for (std::uint32_t i = 0; i < std::min(nimb_clip_sample_count(m_Clip, track), 16u); ++i) {
                const std::uint8_t* data = nullptr;
                std::size_t size = 0;
                const auto form = NIMB_CLIP_BYTE_STREAM;
                Call([&] { return nimb_clip_read_sample(m_Clip, track, i, form, &data, &size, &m_Error); });
            }
        }
        const std::uint32_t last = nimb_clip_sample_count(m_Clip, NIMB_CLIP_PICTURES) - 1;
        std::uint32_t key = 0;
        Call([&] { return nimb_clip_find_key(m_Clip, last, &key, &m_Error); });
        EXPECT_LE(key, last);
        for (std::uint32_t i = 0; i <= std::min(2 * last + 1, 32u); ++i) {
            const std::uint32_t frame = i % 2 == 0 ? i / 2 : last - i / 2;
            nimb_clip_mesh mesh = {};
            const auto layout = NIMB_CLIP_FLOAT_NORMALS;
            ++(Call([&] { return nimb_clip_decode(m_Clip, frame, layout, &mesh, &m_Error); }) ? tally.frames
                                                                                              : tally.lost);
            EXPECT_LE(std::size_t{mesh.vertex_count} * mesh.stride, c_Limit);
            EXPECT_LE(mesh.index_count * sizeof(std::uint32_t), c_Limit);
        }
    }

    const File& m_File;
    std::uint64_t m_BytesRead = 0;
    nimb_clip* m_Clip = nullptr;
    nimb_clip_error m_Error = {};
};

using Random = NimbTest::Random;

void PutBig(File& file, std::size_t at, UINT32 value) {
    for (std::size_t i = 0; i < 4 && at + i < file.size(); ++i) {
        file[at + i] = static_cast<unsigned char>(value >> (24 - 8 * i));
    }
}

/// Where one of these words begins, any of its places; 0 when there is none.
std::size_t Find(const File& file, const std::vector<std::string>& words, Random& random) {
    std::vector<std::size_t> places;
    for (const std::string& word : words) {
        for (auto at = file.begin(); (at = std::search(at, file.end(), word.begin(), word.end())) != file.end(); ++at) {
            places.push_back(static_cast<std::size_t>(at - file.begin()));
        }
    }
    return places.empty() ? 0 : places[random.Below(static_cast<UINT32>(places.size()))];
}

/// One of eight ways to make a file hostile.
void Spoil(File& file, int way, Random& random) {
    const auto size = static_cast<UINT32>(file.size());
    const auto oneOf = [&](const std::vector<UINT32>& values) {
        return values[random.Below(static_cast<UINT32>(values.size()))];
    };
    const auto anyByte = [&] { return static_cast<unsigned char>(random.Below(256)); };
    const UINT32 hugeCount = oneOf({0xFFFFFFFF, 0x7FFFFFFF, 0x00400000, 0x00100000});
    const std::vector<std::string> tables{"stsz", "stts", "stss", "stsc", "stco", "co64", "ctts", "elst", "stsd"};
    const std::vector<std::string> boxes{"ftyp", "mdat", "moov", "trak", "mdia", "minf", "stbl", "avc1",
                                         "avcC", "mp4a", "esds", "edts", "mvhd", "mdhd", "hdlr"};
    switch (way) {
        case 0:  // bytes changed
        case 1:  // of the index
            for (int i = 0; i < 8; ++i) {
                file[way == 0 ? random.Below(size) : Find(file, tables, random) + random.Below(40)] = anyByte();
            }
            break;
        case 2:  // cut off
            file.resize(random.Below(size));
            break;
        case 3: {  // counts that nothing backs
            const std::size_t table =
                Find(file, random.Below(2) == 0 ? std::vector<std::string>{"stsz"} : tables, random);
            const bool isSizes = file[table + 3] == 'z';
            PutBig(file, table + (isSizes ? 12 : 8), hugeCount);
            if (isSizes) {
                PutBig(file, table + 8, random.Below(2));  // samples of 1 byte each, or a table
            }
            break;
        }
        case 4: {  // boxes of no size, without an end, or that reach into others
            const std::size_t box = Find(file, random.Below(2) == 0 ? boxes : tables, random);
            PutBig(file, box - 4, oneOf({0, 1, 2, 7, 8, 16, 0xFFFFFFFF, 0x7FFFFFFF}));
            break;
        }
        case 5: {  // samples of a track that lie one on the other, each in a chunk of its own
            const std::string text(file.begin(), file.end());
            const std::size_t sizes = Find(file, {"stsz"}, random);
            const UINT32 large = size / (1 + random.Below(2)), offset = random.Below(size - large + 1);
            PutBig(file, text.rfind("stsc", sizes) + 16, 1);
            for (std::size_t i = 0; i < 12; ++i) {
                PutBig(file, sizes + 16 + 4 * i, large);
                PutBig(file, std::min(text.find("stco", sizes), text.find("co64", sizes)) + 12 + 4 * i, offset);
            }
            break;
        }
        case 6: {  // other codings: of tracks, and in the headers of meshes
            const std::size_t name = Find(file, {"avc1", "mp4a", "vide", "avcC", "esds"}, random);
            const std::size_t mesh = Find(file, {"TARN"}, random) + 30;
            if (random.Below(3) == 0) {
                file[name + random.Below(16)] = anyByte();
            } else {
                file[mesh + random.Below(4)] = static_cast<unsigned char>(random.Below(9));
                std::memcpy(&file[mesh + 28 + 4 * random.Below(3)], &hugeCount, sizeof(hugeCount));
            }
            break;
        }
        default: {  // a part repeated, or missing
            const std::size_t begin = Find(file, boxes, random), count = random.Below(200);
            const auto at = file.begin() + static_cast<std::ptrdiff_t>(begin);
            const File part(at, at + static_cast<std::ptrdiff_t>(std::min<std::size_t>(count, size - begin)));
            if (random.Below(2) == 0) {
                file.insert(at, part.begin(), part.end());
            } else {
                file.erase(at, at + static_cast<std::ptrdiff_t>(part.size()));
            }
        }
    }
}

TEST(HostileFiles, EndInAStatusWithinBounds) {
    ClipTest::TemporaryFolder folder;
    ClipTest::ClipRecipe recipe;
    recipe.frameCount = 12;
    recipe.meshKeyInterval = 6;
    recipe.audioSeconds = 0.4;
    ClipTest::MakeClip(folder / "clip.mp4", recipe);
    const File clip = ClipTest::ReadFile(folder / "clip.mp4");
    const NimbTest::TinyMp4 form{true, true, 700, 3};
    const std::vector<File> good{clip,
                                 form.Make(NimbTest::EncodeClip(NimbTest::MakeSheet(9, 9), {},
                                                                std::vector<Nimb::Authoring::DeltaFrameOptions>(11)))};

    Tally tally;
    for (int i = 0; i < 200; ++i) {
        SCOPED_TRACE(i);
        Random random(static_cast<UINT32>(i));
        File file = good[static_cast<std::size_t>(i / 8 % 2)];
        Spoil(file, i % 8, random);
        HostileFile(file, tally);
    }
    EXPECT_GT(tally.refused, 60u);
    EXPECT_GT(tally.opened, 60u);
    EXPECT_GT(tally.frames, 1000u);
    EXPECT_GT(tally.lost, 100u);

    // Every byte of an index.
    File file = good[1];
    Random random(1);
    const std::size_t end = Find(file, {"mdat"}, random);
    for (std::size_t at = 0; at < end; ++at) {
        for (const int change : {0x01, 0x80, 0xFF}) {
            SCOPED_TRACE(at);
            file[at] = static_cast<unsigned char>(file[at] ^ change);
            HostileFile(file, tally);
            file[at] = static_cast<unsigned char>(file[at] ^ change);
        }
    }
    EXPECT_EQ(nimb_clip_decode(nullptr, 0, NIMB_CLIP_FLOAT, nullptr, nullptr), NIMB_CLIP_INVALID_ARGUMENT);
}

}  // namespace
