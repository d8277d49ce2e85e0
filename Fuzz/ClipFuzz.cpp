// A clip's file. Whatever is in it, each frame is the same in any order, and nothing but a status comes of damage.
#include "Fuzz/Require.h"
#include "NimbClip/nimb_clip.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

constexpr std::uint32_t c_MostFrames = 8;

struct Shown {
    nimb_clip_status status = NIMB_CLIP_OK;
    std::vector<std::uint8_t> vertices;
    std::vector<std::uint32_t> indices;

    bool operator==(const Shown& other) const {
        return status == other.status && vertices == other.vertices && indices == other.indices;
    }
};

Shown Decode(nimb_clip* clip, std::uint32_t frame, nimb_clip_layout layout) {
    nimb_clip_mesh mesh = {};
    Shown shown;
    shown.status = nimb_clip_decode(clip, frame, layout, &mesh, nullptr);
    if (shown.status == NIMB_CLIP_OK) {
        const auto* const bytes = static_cast<const std::uint8_t*>(mesh.vertices);
        shown.vertices.assign(bytes, bytes + std::size_t{mesh.vertex_count} * mesh.stride);
        shown.indices.assign(mesh.indices, mesh.indices + mesh.index_count);
    }
    return shown;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    nimb_clip *forward = nullptr, *back = nullptr;
    if (nimb_clip_open_memory(data, size, &forward, nullptr) != NIMB_CLIP_OK) {
        return 0;
    }
    Require(nimb_clip_open_memory(data, size, &back, nullptr) == NIMB_CLIP_OK);
    nimb_clip_set_limit(forward, 1 << 20);
    nimb_clip_set_limit(back, 1 << 20);
    nimb_clip_set_cache(back, 0);
    const std::uint32_t count = std::min(nimb_clip_sample_count(forward, NIMB_CLIP_PICTURES), c_MostFrames);
    std::vector<Shown> played;
    for (std::uint32_t frame = 0; frame < count; ++frame) {
        played.push_back(Decode(forward, frame, NIMB_CLIP_FLOAT_NORMALS));
    }
    for (std::uint32_t frame = count; frame-- > 0;) {
        Require(Decode(back, frame, NIMB_CLIP_FLOAT_NORMALS) == played[frame]);
        const std::uint8_t* sample = nullptr;
        std::size_t bytes = 0;
        std::uint32_t key = 0;
        nimb_clip_read_sample(back, NIMB_CLIP_PICTURES, frame, NIMB_CLIP_BYTE_STREAM, &sample, &bytes, nullptr);
        nimb_clip_read_sample(back, NIMB_CLIP_SOUND, frame, NIMB_CLIP_AS_STORED, &sample, &bytes, nullptr);
        Require(nimb_clip_find_key(back, frame, &key, nullptr) != NIMB_CLIP_OK || key <= frame);
        nimb_clip_sample info = {};
        nimb_clip_get_sample(back, NIMB_CLIP_PICTURES, frame, &info);
        Require(nimb_clip_frame_at(back, info.time) < nimb_clip_sample_count(back, NIMB_CLIP_PICTURES));
    }
    nimb_clip_close(forward);
    nimb_clip_close(back);
    return 0;
}
