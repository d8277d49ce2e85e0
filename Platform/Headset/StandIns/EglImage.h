// EGL's extensions, of which the stand-in picks the image functions.
#pragma once

#include <EGL/egl.h>
#undef EGLAPI
#define EGLAPI __attribute__((visibility("default")))
#define EGL_EGLEXT_PROTOTYPES
#include <EGL/eglext.h>
