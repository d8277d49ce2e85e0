/* Prints a hash of each frame's mesh in every layout, decoded in an order that jumps about, or why a file is no clip:
 * to compare what processors and compilers make of the same files. */
#include "nimb_clip.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

static uint64_t hash(uint64_t value, const void* data, size_t size) {
    const unsigned char* bytes = (const unsigned char*)data;
    size_t i;
    for (i = 0; i < size; ++i) {
        value = (value ^ bytes[i]) * 0x100000001B3u; /* FNV-1a */
    }
    return value;
}

static void hash_clip(const void* data, size_t size) {
    static const nimb_clip_layout layouts[] = {NIMB_CLIP_INT16, NIMB_CLIP_INT16_NORMALS, NIMB_CLIP_FLOAT,
                                               NIMB_CLIP_FLOAT_NORMALS};
    nimb_clip* clip = NULL;
    nimb_clip_error error;
    uint32_t i, count;
    if (nimb_clip_open_memory(data, size, &clip, &error) != NIMB_CLIP_OK) {
        printf("%s\n", error.text);
        return;
    }
    count = nimb_clip_sample_count(clip, NIMB_CLIP_PICTURES);
    for (i = 0; i < 4 * count; ++i) {
        const uint32_t frame = i * 7919u % count;
        nimb_clip_mesh mesh;
        const nimb_clip_status status = nimb_clip_decode(clip, frame, layouts[i / count], &mesh, NULL);
        uint64_t sum = 0xCBF29CE484222325u;
        if (status == NIMB_CLIP_OK) {
            sum = hash(sum, mesh.vertices, (size_t)mesh.vertex_count * mesh.stride);
            sum = hash(sum, mesh.indices, (size_t)mesh.index_count * sizeof(uint32_t));
        }
        printf("%u %d %016" PRIx64 "\n", frame, (int)status, sum);
    }
    nimb_clip_close(clip);
}

int main(int argc, char** argv) {
    void* data = malloc(1 << 24);
    int i;
    for (i = 1; i < argc; ++i) {
        FILE* file = fopen(argv[i], "rb");
        if (file == NULL) {
            printf("%s cannot be opened\n", argv[i]);
            return 1;
        }
        hash_clip(data, fread(data, 1, 1 << 24, file));
        fclose(file);
    }
    free(data);
    return 0;
}
