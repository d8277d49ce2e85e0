// The C interface: every entry turns faults into a status and a text, and lets no exception out.
#include "NimbClip/nimb_clip.h"

#include "Nimb/NimbAssert.h"
#include "NimbClip/Attributes.h"
#include "NimbClip/AvcSamples.h"
#include "NimbClip/ByteSource.h"
#include "NimbClip/ClipFault.h"
#include "NimbClip/MeshAccess.h"
#include "NimbClip/Mp4Index.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

using Nimb::Clip::Bytes;
using Nimb::Clip::ClipFault;

struct nimb_clip {
    explicit nimb_clip(const nimb_clip_source& from)
        : source(from), index(Nimb::Clip::ReadMp4Index(source)), meshes(source, index.video) {
        const std::vector<Nimb::Clip::Sample>& frames = index.video.samples;
        info.frame_count = static_cast<std::uint32_t>(frames.size());
        info.width = index.video.width;
        info.height = index.video.height;
        info.time_scale = index.video.timeScale;
        for (std::uint32_t i = 0; i < info.frame_count; ++i) {
            info.duration = std::max(info.duration, frames[i].time + frames[i].duration);
            byTime.push_back(i);
        }
        std::stable_sort(byTime.begin(), byTime.end(),
                         [&](std::uint32_t a, std::uint32_t b) { return frames[a].time < frames[b].time; });
        Nimb::Clip::ReadAttributes(source, info);
    }

    const Nimb::Clip::Track& TrackOf(nimb_clip_track track) const {
        return track == NIMB_CLIP_SOUND ? index.sound : index.video;
    }

    const Nimb::Clip::ByteSource source;
    const Nimb::Clip::Mp4Index index;
    std::vector<std::uint32_t> byTime;  // frames, in the order in which they are shown
    nimb_clip_info info = {};
    Nimb::Clip::MeshAccess meshes;
    Bytes sample, picture;
};

namespace {

nimb_clip_status Fail(nimb_clip_error* error, nimb_clip_status status, std::int64_t frame, const char* text) {
    if (error != nullptr) {
        error->status = status;
        error->frame = frame;
        const std::size_t length = std::min(std::strlen(text), sizeof(error->text) - 1);
        std::copy_n(text, length, error->text);
        error->text[length] = '\0';
    }
    return status;
}

template <class Operation>
nimb_clip_status Guarded(nimb_clip_error* error, std::int64_t frame, Operation operation) {
    try {
        operation();
        return NIMB_CLIP_OK;
    } catch (const ClipFault& fault) {
        return Fail(error, fault.status, fault.frame >= 0 ? fault.frame : frame, fault.text.c_str());
    } catch (const std::bad_alloc&) {
        return Fail(error, NIMB_CLIP_OUT_OF_MEMORY, frame, "out of memory");
    } catch (const std::length_error&) {  // more than a vector can ever hold, where addresses have 32 bits
        return Fail(error, NIMB_CLIP_OUT_OF_MEMORY, frame, "out of memory");
    } catch (const Nimb::AssertionFailure& failure) {
        return Fail(error, NIMB_CLIP_DAMAGED, frame, failure.Info().text);
    }
}

nimb_clip_status InvalidArgument(nimb_clip_error* error, const char* text) {
    return Fail(error, NIMB_CLIP_INVALID_ARGUMENT, -1, text);
}

bool IsTrack(nimb_clip_track track) {
    return track == NIMB_CLIP_PICTURES || track == NIMB_CLIP_SOUND;
}

bool IsLayout(nimb_clip_layout layout) {
    return layout == NIMB_CLIP_INT16 || layout == NIMB_CLIP_INT16_NORMALS || layout == NIMB_CLIP_FLOAT ||
           layout == NIMB_CLIP_FLOAT_NORMALS;
}

std::int64_t ReadMemory(void* user, std::uint64_t offset, void* to, std::size_t size) {
    std::memcpy(to, static_cast<const BYTE*>(user) + offset, size);  // within the size that was given
    return static_cast<std::int64_t>(size);
}

/// Lengthens the box by the positions of a mesh of floats.
void Enclose(const nimb_clip_mesh& mesh, bool isFirst, nimb_clip_info& info) {
    for (std::uint32_t i = 0; i < mesh.vertex_count; ++i) {
        float position[3];
        std::memcpy(position, static_cast<const BYTE*>(mesh.vertices) + std::size_t(i) * mesh.stride, sizeof(position));
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double value = position[axis];
            const bool begins = isFirst && i == 0;
            info.box_min[axis] = begins ? value : std::min(info.box_min[axis], value);
            info.box_max[axis] = begins ? value : std::max(info.box_max[axis], value);
        }
    }
}

}  // namespace

nimb_clip_status nimb_clip_open(const nimb_clip_source* source, nimb_clip** clip, nimb_clip_error* error) {
    if (clip != nullptr) {
        *clip = nullptr;
    }
    if (source == nullptr || source->read == nullptr || clip == nullptr) {
        return InvalidArgument(error, "a source with a callback, and a place for the clip, are needed");
    }
    return Guarded(error, -1, [&] {
        const Nimb::AssertionCapture assertions;
        *clip = new nimb_clip(*source);
    });
}

nimb_clip_status nimb_clip_open_memory(const void* data, size_t size, nimb_clip** clip, nimb_clip_error* error) {
    const nimb_clip_source source = {data != nullptr || size == 0 ? ReadMemory : nullptr, const_cast<void*>(data),
                                     size};
    return nimb_clip_open(&source, clip, error);
}

void nimb_clip_close(nimb_clip* clip) {
    delete clip;
}

nimb_clip_status nimb_clip_get_info(const nimb_clip* clip, nimb_clip_info* info) {
    if (clip == nullptr || info == nullptr) {
        return NIMB_CLIP_INVALID_ARGUMENT;
    }
    *info = clip->info;
    return NIMB_CLIP_OK;
}

nimb_clip_status nimb_clip_look_through(nimb_clip* clip, nimb_clip_error* error) {
    if (clip == nullptr) {
        return InvalidArgument(error, "there is no clip");
    }
    return Guarded(error, -1, [&] {
        nimb_clip_info found = clip->info;
        found.max_vertices = found.max_indices = found.has_normals = 0;
        bool isFirst = true;
        for (std::uint32_t frame = 0; frame < found.frame_count; ++frame) {
            nimb_clip_mesh mesh = {};
            try {
                mesh = clip->meshes.Decode(frame, NIMB_CLIP_FLOAT);
            } catch (const ClipFault& fault) {
                if (fault.status == NIMB_CLIP_NO_MESH || fault.status == NIMB_CLIP_DAMAGED) {
                    continue;  // what players pass over, too
                }
                throw;
            }
            found.max_vertices = std::max(found.max_vertices, mesh.vertex_count);
            found.max_indices = std::max(found.max_indices, mesh.index_count);
            found.has_normals = found.has_normals != 0 || mesh.has_normals != 0 ? 1 : 0;
            Enclose(mesh, isFirst, found);
            isFirst = isFirst && mesh.vertex_count == 0;
        }
        found.has_attributes = 1;
        clip->info = found;
    });
}

uint32_t nimb_clip_sample_count(const nimb_clip* clip, nimb_clip_track track) {
    return clip != nullptr && IsTrack(track) ? static_cast<uint32_t>(clip->TrackOf(track).samples.size()) : 0;
}

nimb_clip_status nimb_clip_get_track(const nimb_clip* clip, nimb_clip_track track, nimb_clip_track_info* info) {
    if (info == nullptr || nimb_clip_sample_count(clip, track) == 0) {
        return NIMB_CLIP_INVALID_ARGUMENT;
    }
    const Nimb::Clip::Track& found = clip->TrackOf(track);
    *info = {found.timeScale, found.sampleRate, found.channels, found.configuration.data(), found.configuration.size()};
    return NIMB_CLIP_OK;
}

nimb_clip_status nimb_clip_get_sample(const nimb_clip* clip, nimb_clip_track track, uint32_t number,
                                      nimb_clip_sample* sample) {
    if (sample == nullptr || number >= nimb_clip_sample_count(clip, track)) {
        return NIMB_CLIP_INVALID_ARGUMENT;
    }
    const Nimb::Clip::Sample& found = clip->TrackOf(track).samples[number];
    *sample = {found.time, found.duration, found.offset, found.size, found.isKey ? 1u : 0u};
    return NIMB_CLIP_OK;
}

uint32_t nimb_clip_frame_at(const nimb_clip* clip, int64_t time) {
    if (clip == nullptr) {
        return 0;
    }
    const std::vector<Nimb::Clip::Sample>& frames = clip->index.video.samples;
    const auto later = std::upper_bound(clip->byTime.begin(), clip->byTime.end(), time,
                                        [&](std::int64_t t, std::uint32_t frame) { return t < frames[frame].time; });
    return later != clip->byTime.begin() ? *(later - 1) : clip->byTime.front();
}

nimb_clip_status nimb_clip_read_sample(nimb_clip* clip, nimb_clip_track track, uint32_t number, nimb_clip_form form,
                                       const uint8_t** data, size_t* size, nimb_clip_error* error) {
    if (data == nullptr || size == nullptr || number >= nimb_clip_sample_count(clip, track) ||
        (form != NIMB_CLIP_AS_STORED && form != NIMB_CLIP_BYTE_STREAM)) {
        return InvalidArgument(error, "the clip has no such sample, or there is no place for it");
    }
    return Guarded(error, number, [&] {
        const Nimb::Clip::Track& from = clip->TrackOf(track);
        const Nimb::Clip::Sample& sample = from.samples[number];
        clip->source.Read(sample.offset, sample.size, clip->sample);
        const Bytes* result = &clip->sample;
        if (track == NIMB_CLIP_PICTURES) {
            Nimb::Clip::ToPicture(clip->sample, from, sample.isKey, form, clip->picture);
            result = &clip->picture;
        }
        *data = result->data();
        *size = result->size();
    });
}

nimb_clip_status nimb_clip_decode(nimb_clip* clip, uint32_t frame, nimb_clip_layout layout, nimb_clip_mesh* mesh,
                                  nimb_clip_error* error) {
    if (mesh == nullptr || !IsLayout(layout) || frame >= nimb_clip_sample_count(clip, NIMB_CLIP_PICTURES)) {
        return InvalidArgument(error, "the clip has no such frame, there is no such layout, or no place for the mesh");
    }
    return Guarded(error, frame, [&] { *mesh = clip->meshes.Decode(frame, layout); });
}

nimb_clip_status nimb_clip_find_key(nimb_clip* clip, uint32_t frame, uint32_t* key, nimb_clip_error* error) {
    if (key == nullptr || frame >= nimb_clip_sample_count(clip, NIMB_CLIP_PICTURES)) {
        return InvalidArgument(error, "the clip has no such frame, or there is no place for the key");
    }
    return Guarded(error, frame, [&] {
        for (std::uint32_t i = frame + 1; i-- > 0;) {
            if (clip->index.video.samples[i].isKey && clip->meshes.IsKey(i)) {
                *key = i;
                return;
            }
        }
        throw ClipFault(NIMB_CLIP_NO_MESH, "no frame up to this one has a key picture with a key mesh", frame);
    });
}

void nimb_clip_set_limit(nimb_clip* clip, size_t bytes) {
    if (clip != nullptr) {
        clip->meshes.SetLimit(bytes);
    }
}

void nimb_clip_set_cache(nimb_clip* clip, size_t bytes) {
    if (clip != nullptr) {
        clip->meshes.SetCache(bytes);
    }
}
