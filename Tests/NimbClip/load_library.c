/* What hash_frames.c calls of the library, looked up by name in a shared one, as engines do it. */
#include "nimb_clip.h"

#include <stdio.h>
#include <stdlib.h>

#ifdef _WIN32
#include <windows.h>
#define LOAD(name) ((void*)LoadLibraryA(name))
#define FIND(library, name) ((void*)GetProcAddress((HMODULE)(library), name))
#else
#include <dlfcn.h>
#define LOAD(name) dlopen(name, RTLD_NOW)
#define FIND(library, name) dlsym(library, name)
#endif

static void* find(const char* name) {
    static void* library = NULL;
    void* found;
    library = library != NULL ? library : LOAD(NIMB_CLIP_LIBRARY);
    found = library != NULL ? FIND(library, name) : NULL;
    if (found == NULL) {
        printf("%s is not in %s, or that cannot be loaded\n", name, NIMB_CLIP_LIBRARY);
        exit(2);
    }
    return found;
}

#define LOADED(name) ((__typeof__(&name))find(#name))

nimb_clip_status nimb_clip_open_memory(const void* data, size_t size, nimb_clip** clip, nimb_clip_error* error) {
    return LOADED(nimb_clip_open_memory)(data, size, clip, error);
}

void nimb_clip_close(nimb_clip* clip) {
    LOADED(nimb_clip_close)(clip);
}

uint32_t nimb_clip_sample_count(const nimb_clip* clip, nimb_clip_track track) {
    return LOADED(nimb_clip_sample_count)(clip, track);
}

nimb_clip_status nimb_clip_decode(nimb_clip* clip, uint32_t frame, nimb_clip_layout layout, nimb_clip_mesh* mesh,
                                  nimb_clip_error* error) {
    return LOADED(nimb_clip_decode)(clip, frame, layout, mesh, error);
}
