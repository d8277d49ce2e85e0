// EGL 1.4, which is what the player may use of it: a call of 1.5 must not link.
#pragma once

#define EGL_VERSION_1_5 1
#define EGLAPI __attribute__((visibility("default")))
#include <EGL/egl.h>
