/* Any frame of a clip, anywhere: which samples a clip's file has, and the mesh of each frame, in any order.
 *
 * A clip is an MP4 file: a video track (H.264, the texture atlas) in whose samples the frames' meshes are, and possibly
 * a sound track. This library reads the file's index, decodes meshes, and hands out the samples of picture and sound to
 * whoever decodes them. It has no threads and no files of its own: bytes come through a callback.
 *
 * Any number of clips may be open. Each belongs to one thread at a time, whichever that is. Nothing is printed, nothing
 * aborts: every fault is a status and a text, and after a fault in one frame all others are still to be had.
 *
 * All integers are those of the machine. Times are in units of 1 / `time_scale` of a second. */
#ifndef NIMB_CLIP_H
#define NIMB_CLIP_H

#include <stddef.h>
#include <stdint.h>

#if defined(NIMB_CLIP_EXPORTS) && defined(_WIN32)
#define NIMB_CLIP_API __declspec(dllexport)
#elif defined(NIMB_CLIP_EXPORTS)
#define NIMB_CLIP_API __attribute__((visibility("default")))
#else
#define NIMB_CLIP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct nimb_clip nimb_clip;

typedef enum nimb_clip_status {
    NIMB_CLIP_OK = 0,
    NIMB_CLIP_INVALID_ARGUMENT = 1, /* the caller's fault: a null pointer, a frame that there is not */
    NIMB_CLIP_OUT_OF_MEMORY = 2,
    NIMB_CLIP_READ_FAILED = 3, /* the callback said so */
    NIMB_CLIP_NOT_A_CLIP = 4,  /* another format, or no H.264 track */
    NIMB_CLIP_UNSUPPORTED = 5, /* a fragmented file; `nimb remux` makes one that is not */
    NIMB_CLIP_DAMAGED = 6,     /* the file's index, or this sample */
    NIMB_CLIP_NO_MESH = 7      /* this frame has none: players go on showing what they have */
} nimb_clip_status;

/* What went wrong. Filled in by every function that takes one and fails; may be null. */
typedef struct nimb_clip_error {
    nimb_clip_status status;
    int64_t frame;  /* -1: the file as a whole */
    char text[240]; /* English, without a final newline */
} nimb_clip_error;

/* Puts `size` bytes from `offset` of the file on into `to`. Returns how many: fewer only where the file ends; -1 when
 * reading fails. Called by the thread that called the library, never after nimb_clip_close. */
typedef int64_t (*nimb_clip_read)(void* user, uint64_t offset, void* to, size_t size);

typedef struct nimb_clip_source {
    nimb_clip_read read;
    void* user;    /* handed to `read` */
    uint64_t size; /* of the file */
} nimb_clip_source;

/* Opens a clip: reads the index, and the attributes at the file's end. Sets `*clip` to null when that fails. The source
 * is copied; what `user` points to must live until nimb_clip_close. */
NIMB_CLIP_API nimb_clip_status nimb_clip_open(const nimb_clip_source* source, nimb_clip** clip, nimb_clip_error* error);

/* The same for a file in memory, which must stay where it is until nimb_clip_close. */
NIMB_CLIP_API nimb_clip_status nimb_clip_open_memory(const void* data, size_t size, nimb_clip** clip,
                                                     nimb_clip_error* error);

/* A null clip is fine. */
NIMB_CLIP_API void nimb_clip_close(nimb_clip* clip);

typedef struct nimb_clip_info {
    uint32_t frame_count;
    uint32_t width, height;  /* of the picture, in pixels */
    uint32_t time_scale;     /* above 0 */
    int64_t duration;        /* to the end of the last frame */
    uint32_t has_attributes; /* 0: the file lacks them, and what follows is 0 until nimb_clip_look_through */
    uint32_t max_vertices;   /* of any frame */
    uint32_t max_indices;
    uint32_t has_normals; /* stored in the frames */
    double box_min[3];    /* of the positions of all frames, in metres */
    double box_max[3];
} nimb_clip_info;

NIMB_CLIP_API nimb_clip_status nimb_clip_get_info(const nimb_clip* clip, nimb_clip_info* info);

/* Finds out what the attributes of the file do not say, by decoding all of it. */
NIMB_CLIP_API nimb_clip_status nimb_clip_look_through(nimb_clip* clip, nimb_clip_error* error);

typedef enum nimb_clip_track { NIMB_CLIP_PICTURES = 0, NIMB_CLIP_SOUND = 1 } nimb_clip_track;

/* One sample of a track. Frames are the samples of NIMB_CLIP_PICTURES. */
typedef struct nimb_clip_sample {
    int64_t time;     /* of presentation; the file's edit list is applied, so the first frame shown has time 0 */
    int64_t duration; /* until the next one */
    uint64_t offset;  /* in the file; if that was cut off before the sample's end, the sample is NIMB_CLIP_DAMAGED */
    uint32_t size;
    uint32_t is_key; /* a decoder can begin here */
} nimb_clip_sample;

/* 0 when there is no such track. */
NIMB_CLIP_API uint32_t nimb_clip_sample_count(const nimb_clip* clip, nimb_clip_track track);

/* Of a track: units of its times; the codec's configuration as MP4 keeps it (H.264: AVCDecoderConfigurationRecord, AAC:
 * AudioSpecificConfig), which lives as long as the clip. */
typedef struct nimb_clip_track_info {
    uint32_t time_scale;
    uint32_t sample_rate; /* of sound, a second */
    uint32_t channels;    /* of sound */
    const uint8_t* configuration;
    size_t configuration_size;
} nimb_clip_track_info;

NIMB_CLIP_API nimb_clip_status nimb_clip_get_track(const nimb_clip* clip, nimb_clip_track track,
                                                   nimb_clip_track_info* info);

NIMB_CLIP_API nimb_clip_status nimb_clip_get_sample(const nimb_clip* clip, nimb_clip_track track, uint32_t number,
                                                    nimb_clip_sample* sample);

/* The frame that is shown at a time: the last one that begins at or before it, the first one for earlier times. */
NIMB_CLIP_API uint32_t nimb_clip_frame_at(const nimb_clip* clip, int64_t time);

typedef enum nimb_clip_form {
    NIMB_CLIP_AS_STORED = 0, /* H.264: NAL units behind their lengths; parameter sets are in the configuration */
    NIMB_CLIP_BYTE_STREAM =
        1 /* H.264: NAL units behind start codes, key pictures with the parameter sets before them */
} nimb_clip_form;

/* Reads a sample, for a decoder. `*data` lives until the next call with this clip. Mesh units are left out of pictures:
 * decoders pass over them, but need not be fed with them. */
NIMB_CLIP_API nimb_clip_status nimb_clip_read_sample(nimb_clip* clip, nimb_clip_track track, uint32_t number,
                                                     nimb_clip_form form, const uint8_t** data, size_t* size,
                                                     nimb_clip_error* error);

/* How vertices are laid out. Positions are right-handed, in metres, y up. */
typedef enum nimb_clip_layout {
    NIMB_CLIP_INT16 = 5,         /* 12 bytes: int16 x, y, z, 0, u, v: shares of the box and of the texture, / 65535 */
    NIMB_CLIP_INT16_NORMALS = 7, /* 20 bytes: int16 x, y, z, 0, normal x, y, z, 0, u, v */
    NIMB_CLIP_FLOAT = 13,        /* 20 bytes: float x, y, z, u, v */
    NIMB_CLIP_FLOAT_NORMALS = 15 /* 32 bytes: float x, y, z, normal x, y, z, u, v */
} nimb_clip_layout;

typedef struct nimb_clip_mesh {
    uint32_t frame;
    uint32_t vertex_count;
    uint32_t index_count; /* three for each triangle of a list; strips: see `is_strips` */
    uint32_t stride;      /* bytes of a vertex */
    const void* vertices;
    const uint32_t* indices;
    uint32_t has_same_indices; /* as the mesh before, so they need not be uploaded again */
    uint32_t is_strips;        /* indices are triangle strips */
    uint32_t has_normals;      /* the frame stores them; without, those of the layout are meaningless */
    uint32_t is_key;           /* the frame needs none before it */
    float box_min[3];          /* what int16 positions are shares of */
    float box_max[3];
} nimb_clip_mesh;

/* Decodes the mesh of any frame: from where the clip is if that is before it in the same stretch, otherwise from a
 * state that was kept on the way, or from the key frame before. Exactly what a player shows that has played up to
 * there. The mesh's arrays live until the next call with this clip.
 *
 * A frame without a mesh is NIMB_CLIP_NO_MESH; a damaged one NIMB_CLIP_DAMAGED, as are those that build on it, up to
 * the next key frame. */
NIMB_CLIP_API nimb_clip_status nimb_clip_decode(nimb_clip* clip, uint32_t frame, nimb_clip_layout layout,
                                                nimb_clip_mesh* mesh, nimb_clip_error* error);

/* The last frame at or before this one that playback can begin with: a key picture with a key mesh. Reads some samples
 * the first time that it is asked. NIMB_CLIP_NO_MESH when there is none. */
NIMB_CLIP_API nimb_clip_status nimb_clip_find_key(nimb_clip* clip, uint32_t frame, uint32_t* key,
                                                  nimb_clip_error* error);

/* How many bytes states for stepping back may take, 64 MiB unless said otherwise; 0: none are kept. */
NIMB_CLIP_API void nimb_clip_set_cache(nimb_clip* clip, size_t bytes);

/* The largest array that a frame may decode to; frames beyond it are NIMB_CLIP_DAMAGED. The format's own limit, 256
 * MiB, unless said otherwise. For where memory is short: a few bytes may claim millions of vertices. */
NIMB_CLIP_API void nimb_clip_set_limit(nimb_clip* clip, size_t bytes);

#ifdef __cplusplus
}
#endif

#endif
