// The library for random access, as a WebAssembly module sees it: one clip for each instance of the module, plain
// numbers in and out. Called by src/clip/NimbClip.ts alone, which knows the order of the numbers.
//
// Results lie in s_Numbers as doubles (exact up to 2^53, which no offset of a file that a browser can hold exceeds),
// faults in s_Error.
#include "nimb_clip.h"

#define NIMB_WEB_EXPORT(name) extern "C" __attribute__((export_name(#name), used))

extern "C" {
/// Puts bytes of the file into memory: returns how many, or -1 when they are not there yet.
__attribute__((import_module("env"), import_name("nimb_web_read"))) double nimb_web_read(double offset, void* to,
                                                                                         double size);
}

namespace {

double s_Numbers[16];
nimb_clip_error s_Error;
nimb_clip* s_Clip;

int64_t Read(void*, uint64_t offset, void* to, size_t size) {
    return static_cast<int64_t>(nimb_web_read(static_cast<double>(offset), to, static_cast<double>(size)));
}

/// Pointers are 32 bits here.
double AddressOf(const void* pointer) {
    return static_cast<double>(reinterpret_cast<uintptr_t>(pointer));
}

}  // namespace

NIMB_WEB_EXPORT(numbers) double* Numbers() {
    return s_Numbers;
}
NIMB_WEB_EXPORT(error_text) const char* ErrorText() {
    return s_Error.text;
}

/// Opens the one clip. `cache`: see nimb_clip_set_cache; `limit`: see nimb_clip_set_limit.
NIMB_WEB_EXPORT(open) int Open(double size, double cache, double limit) {
    const nimb_clip_source source = {Read, nullptr, static_cast<uint64_t>(size)};
    const nimb_clip_status status = nimb_clip_open(&source, &s_Clip, &s_Error);
    if (status == NIMB_CLIP_OK) {
        nimb_clip_set_cache(s_Clip, static_cast<size_t>(cache));
        nimb_clip_set_limit(s_Clip, static_cast<size_t>(limit));
    }
    return status;
}

NIMB_WEB_EXPORT(close) void Close() {
    nimb_clip_close(s_Clip);
    s_Clip = nullptr;
}

NIMB_WEB_EXPORT(look_through) int LookThrough() {
    return nimb_clip_look_through(s_Clip, &s_Error);
}

NIMB_WEB_EXPORT(info) void Info() {
    nimb_clip_info info = {};
    nimb_clip_get_info(s_Clip, &info);
    const double numbers[] = {double(info.frame_count),  double(info.width),       double(info.height),
                              double(info.time_scale),   double(info.duration),    double(info.has_attributes),
                              double(info.max_vertices), double(info.max_indices), double(info.has_normals),
                              info.box_min[0],           info.box_min[1],          info.box_min[2],
                              info.box_max[0],           info.box_max[1],          info.box_max[2]};
    double* to = s_Numbers;
    for (const double number : numbers) {
        *to++ = number;
    }
}

/// Count of samples, time scale, sample rate, channels, and where the codec's configuration is. No track: a count of 0.
NIMB_WEB_EXPORT(track) void Track(int track) {
    nimb_clip_track_info info = {};
    const nimb_clip_track which = static_cast<nimb_clip_track>(track);
    s_Numbers[0] = 0;
    if (nimb_clip_get_track(s_Clip, which, &info) == NIMB_CLIP_OK) {
        s_Numbers[0] = nimb_clip_sample_count(s_Clip, which);
        s_Numbers[1] = info.time_scale;
        s_Numbers[2] = info.sample_rate;
        s_Numbers[3] = info.channels;
        s_Numbers[4] = AddressOf(info.configuration);
        s_Numbers[5] = static_cast<double>(info.configuration_size);
    }
}

/// Time, duration, offset, size, whether a decoder can begin here.
NIMB_WEB_EXPORT(sample) int Sample(int track, unsigned number) {
    nimb_clip_sample sample = {};
    const nimb_clip_status status = nimb_clip_get_sample(s_Clip, static_cast<nimb_clip_track>(track), number, &sample);
    s_Numbers[0] = static_cast<double>(sample.time);
    s_Numbers[1] = static_cast<double>(sample.duration);
    s_Numbers[2] = static_cast<double>(sample.offset);
    s_Numbers[3] = sample.size;
    s_Numbers[4] = sample.is_key;
    return status;
}

/// Where the sample is, and its size, as the decoders of browsers take it.
NIMB_WEB_EXPORT(read_sample) int ReadSample(int track, unsigned number) {
    const uint8_t* data = nullptr;
    size_t size = 0;
    const nimb_clip_status status = nimb_clip_read_sample(s_Clip, static_cast<nimb_clip_track>(track), number,
                                                          NIMB_CLIP_AS_STORED, &data, &size, &s_Error);
    s_Numbers[0] = AddressOf(data);
    s_Numbers[1] = static_cast<double>(size);
    return status;
}

/// Vertex count, index count, stride, where vertices and indices are, same indices, strips, normals, key frame.
NIMB_WEB_EXPORT(decode) int Decode(unsigned frame, int layout) {
    nimb_clip_mesh mesh = {};
    const nimb_clip_status status =
        nimb_clip_decode(s_Clip, frame, static_cast<nimb_clip_layout>(layout), &mesh, &s_Error);
    s_Numbers[0] = mesh.vertex_count;
    s_Numbers[1] = mesh.index_count;
    s_Numbers[2] = mesh.stride;
    s_Numbers[3] = AddressOf(mesh.vertices);
    s_Numbers[4] = AddressOf(mesh.indices);
    s_Numbers[5] = mesh.has_same_indices;
    s_Numbers[6] = mesh.is_strips;
    s_Numbers[7] = mesh.has_normals;
    s_Numbers[8] = mesh.is_key;
    return status;
}
