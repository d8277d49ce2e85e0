// Prints, as Markdown, how long the mesh of a frame takes that is asked for out of order. The argument names a clip.
#include "NimbClip/nimb_clip.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

/// Milliseconds of each decode; a frame without a mesh counts like the others.
std::vector<double> Decode(nimb_clip* clip, const std::vector<std::uint32_t>& frames) {
    std::vector<double> times;
    for (const std::uint32_t frame : frames) {
        nimb_clip_mesh mesh = {};
        const auto start = Clock::now();
        nimb_clip_decode(clip, frame, NIMB_CLIP_FLOAT, &mesh, nullptr);
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    return times;
}

void Print(const char* what, std::vector<double> times) {
    std::sort(times.begin(), times.end());
    std::printf("| %s | %.3f | %.3f | %.3f |\n", what, times[times.size() / 2], times[times.size() * 95 / 100],
                times.back());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: nimb_clip_bench CLIP.mp4\n");
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    nimb_clip* clip = nullptr;
    nimb_clip_error error = {};
    if (nimb_clip_open_memory(bytes.data(), bytes.size(), &clip, &error) != NIMB_CLIP_OK) {
        std::fprintf(stderr, "%s: %s\n", argv[1], error.text);
        return 1;
    }
    nimb_clip_info info = {};
    nimb_clip_get_info(clip, &info);
    std::vector<std::uint32_t> forward, back, random;
    std::mt19937 bits(1);
    for (std::uint32_t i = 0; i < info.frame_count; ++i) {
        forward.push_back(i);
        random.push_back(static_cast<std::uint32_t>(bits() % info.frame_count));
    }
    back.assign(forward.rbegin(), forward.rend());
    std::printf("%u frames of at most %u vertices\n\n", info.frame_count, info.max_vertices);
    std::printf("| Milliseconds | Median | 95th of 100 | Largest |\n|---|--:|--:|--:|\n");
    nimb_clip_set_cache(clip, 0);
    Print("any frame, without kept states", Decode(clip, random));
    nimb_clip_set_cache(clip, std::size_t{64} << 20);
    Print("the next frame", Decode(clip, forward));
    Print("the frame before", Decode(clip, back));
    Print("any frame, with kept states", Decode(clip, random));
    nimb_clip_close(clip);
    return 0;
}
